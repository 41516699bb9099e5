#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/Keychain.h"

namespace quarnel {

class SecretServiceSession;

// Keychain items in the keyring of the user's desktop session (the freedesktop.org Secret Service).
//
// Nothing here shows a user interface or starts a service: what is locked, or would ask the user,
// is a failure. Each operation is over within the time limit, and one that ran into it ends the use
// of the service: the later ones fail at once.
class SecretServiceKeychain final : public Keychain {
 public:
  SecretServiceKeychain(std::string busAddress, std::string ownAccessGroup,
                        std::chrono::milliseconds timeLimit);

  KeychainStatus add(const Dictionary& attributes) override;
  KeychainStatus copyMatching(const Dictionary& query, Bytes* data) override;
  KeychainStatus update(const Dictionary& query, const Dictionary& changes) override;
  KeychainStatus remove(const Dictionary& query) override;

 private:
  // Talks to the service about the item that the query names.
  KeychainStatus talk(const Dictionary& query,
                      const std::function<KeychainStatus(SecretServiceSession&)>& about);

  const std::string busAddress_;
  const std::string ownAccessGroup_;
  const std::chrono::milliseconds timeLimit_;
  std::atomic<bool> isGivenUp_ = false;
};

// The keychain of the session that this process belongs to; null when it belongs to none.
std::unique_ptr<Keychain> makeSessionKeychain(std::string ownAccessGroup);

}  // namespace quarnel
