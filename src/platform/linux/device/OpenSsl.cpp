#include "platform/linux/device/OpenSsl.h"

#include <openssl/crypto.h>

namespace quarnel {

void initialiseOpenSsl() { ::OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); }

}  // namespace quarnel
