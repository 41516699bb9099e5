// Marks what the shared library exports; everything else in it is hidden, also what
// is declared within a class that is exported.
#pragma once

// Stands in front of what applications may use.
#if defined(__GNUC__)
#define QUARNEL_EXPORT __attribute__((visibility("default")))
#define QUARNEL_INTERNAL __attribute__((visibility("hidden")))
#else
#define QUARNEL_EXPORT
#define QUARNEL_INTERNAL
#endif
