// What the library uses of libdispatch.
#pragma once

#include <stdint.h>

typedef struct dispatch_queue_s *dispatch_queue_t;
typedef struct dispatch_queue_attr_s *dispatch_queue_attr_t;
typedef uint64_t dispatch_time_t;
typedef void (*dispatch_function_t)(void *);

#define DISPATCH_QUEUE_SERIAL ((dispatch_queue_attr_t)0)
#define DISPATCH_TIME_NOW (0ull)

#ifdef __cplusplus
extern "C" {
#endif
extern struct dispatch_queue_s _dispatch_main_q;
dispatch_queue_t dispatch_queue_create(const char *label, dispatch_queue_attr_t attributes);
void dispatch_retain(dispatch_queue_t queue);
void dispatch_release(dispatch_queue_t queue);
void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work);
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void *context,
                      dispatch_function_t work);
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);
static inline dispatch_queue_t dispatch_get_main_queue(void) { return &_dispatch_main_q; }
#ifdef __cplusplus
}
#endif
