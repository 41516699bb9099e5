#pragma once

#include "platform/Keychain.h"
#include "platform/LogSink.h"

namespace quarnel {

// The system's keychain. A status that says neither success nor which item there is or is not, as
// before the first unlock, is logged and counts as a failure.
class AppleKeychain final : public Keychain {
 public:
  explicit AppleKeychain(LogSink& log) : log_(log) {}

  KeychainStatus add(const Dictionary& attributes) override;
  KeychainStatus copyMatching(const Dictionary& query, Bytes* data) override;
  KeychainStatus update(const Dictionary& query, const Dictionary& changes) override;
  KeychainStatus remove(const Dictionary& query) override;

 private:
  KeychainStatus meaningOf(int status, const char* operation);

  LogSink& log_;
};

}  // namespace quarnel
