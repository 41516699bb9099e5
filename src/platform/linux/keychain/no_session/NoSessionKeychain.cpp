// In the place of SecretServiceKeychain.cpp when the library is built without it.
#include "platform/linux/keychain/session/SecretServiceKeychain.h"

namespace quarnel {

std::unique_ptr<Keychain> makeSessionKeychain(std::string /*ownAccessGroup*/) { return nullptr; }

}  // namespace quarnel
