// The library's version, for the preprocessor and for asking the library that is loaded.
#pragma once

#include <QuarnelTvOsLib/Export.h>

// The version of these headers. The build takes the library's from here.
#define QUARNEL_VERSION_MAJOR 1
#define QUARNEL_VERSION_MINOR 0
#define QUARNEL_VERSION_PATCH 0
// The same as one text.
#define QUARNEL_VERSION "1.0.0"

#ifdef __cplusplus
extern "C" {
#endif

// The version of the library that is loaded, such as "1.0.0". It may be newer than QUARNEL_VERSION,
// the version that the application was compiled with. Never NULL; belongs to the library.
QUARNEL_EXPORT const char* quarnel_library_version(void);

#ifdef __cplusplus
}

namespace quarnel {

// The version of the library that is loaded, such as "1.0.0"; see quarnel_library_version.
inline const char* libraryVersion() { return quarnel_library_version(); }

}  // namespace quarnel
#endif
