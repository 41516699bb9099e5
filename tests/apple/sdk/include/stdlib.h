// The C library's, and what the platform's has beyond it.
#pragma once

#include_next <stdlib.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C"
#endif
    uint32_t arc4random_uniform(uint32_t bound);
