// Marks what the shared library exports; everything else in it is hidden.
#pragma once

#if defined(__GNUC__)
#define QUARNEL_EXPORT __attribute__((visibility("default")))
#else
#define QUARNEL_EXPORT
#endif
