// In the place of SecretServiceKeychain.cpp when the library is built without it.
#include "platform/linux/SecretServiceKeychain.h"

namespace quarnel {

std::unique_ptr<Keychain> makeSessionKeychain(std::string /*ownAccessGroup*/) { return nullptr; }

}  // namespace quarnel
