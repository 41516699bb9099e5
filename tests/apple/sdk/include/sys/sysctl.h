// What the library uses of the kernel's variables.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C"
#endif
    int
    sysctlbyname(const char *name, void *value, size_t *size, void *newValue, size_t newSize);
