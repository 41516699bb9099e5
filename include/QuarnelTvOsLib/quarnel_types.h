// What all operations of the C face share: results, texts, JSON and errors.
#pragma once

#include <QuarnelTvOsLib/Export.h>
#include <QuarnelTvOsLib/Version.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// How an operation went. Further values may be added: treat every value but QUARNEL_OK as failure.
typedef int32_t quarnel_status;
enum {
  // The library has taken what it was told.
  QUARNEL_OK = 0,
  // A handle or a required argument is NULL, or a number is none of those that the operation knows.
  // Nothing was done.
  QUARNEL_INVALID_ARGUMENT = 1,
  // An argument that must be JSON is not, or is of another kind, such as an array for an object.
  // Nothing was done.
  QUARNEL_INVALID_JSON = 2,
  // The operation has to come earlier. Nothing was done.
  QUARNEL_TOO_LATE = 3,
  // The time was over first.
  QUARNEL_TIMED_OUT = 4,
  // The process lacks what the operation needs, such as memory.
  QUARNEL_FAILED = 5
};

// Why the last operation that failed on this thread did so: an English sentence for logs, for JSON
// with the place, as in "values: Missing a comma or '}' after an object member. (around byte 17)".
// Empty when none has failed. Never NULL; belongs to the library, valid until the next failure on
// this thread.
QUARNEL_EXPORT const char* quarnel_last_error(void);

// Releases a text that an operation returned. NULL is allowed.
QUARNEL_EXPORT void quarnel_string_free(char* text);

// What went wrong, as failure callbacks receive it. Belongs to the library and is valid until the
// callback returns, and so are its texts.
typedef struct quarnel_error quarnel_error;

// The layer that failed. Never NULL; empty for a NULL error.
QUARNEL_EXPORT const char* quarnel_error_domain(const quarnel_error* error);
// That layer's own number: an HTTP status, a transport error. 0 for a NULL error.
QUARNEL_EXPORT int32_t quarnel_error_code(const quarnel_error* error);
// An English sentence for logs. Never NULL; empty for a NULL error.
QUARNEL_EXPORT const char* quarnel_error_description(const quarnel_error* error);

#ifdef __cplusplus
}
#endif
