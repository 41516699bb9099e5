// The C library's, and what the platform's has beyond it.
#pragma once

#include <stdint.h>
#include_next <stdlib.h>

#ifdef __cplusplus
extern "C"
#endif
    uint32_t
    arc4random_uniform(uint32_t bound);
