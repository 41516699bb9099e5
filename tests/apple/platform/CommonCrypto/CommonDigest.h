// What the library uses of CommonCrypto.
#pragma once

#include <stdint.h>

typedef uint32_t CC_LONG;

#ifdef __cplusplus
extern "C" {
#endif
unsigned char *CC_SHA1(const void *data, CC_LONG length, unsigned char *digest);
unsigned char *CC_MD5(const void *data, CC_LONG length, unsigned char *digest);
#ifdef __cplusplus
}
#endif
