#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>

#include "platform/Keychain.h"

namespace quarnel {

// Small byte values in the keychain, as generic-password items of one service. Every failure is a
// false or an absent value. Synchronous; callable from any thread.
class QuarnelKeychainWrapper {
 public:
  QuarnelKeychainWrapper(Keychain& keychain, std::string identifier,
                         std::optional<std::string> group);

  // The query that finds the item.
  Dictionary prepareForKeychain(const std::string& key) const;

  // Adds a new item; false when there is one already, which then stays as it was.
  bool setObject(const std::string& key, Bytes data);

  std::optional<Bytes> getObject(const std::string& key) const;

  // Replaces the bytes of an existing item.
  bool update(const std::string& key, Bytes data);

  bool remove(const std::string& key);

 private:
  Keychain& keychain_;
  const std::string identifier_;
  const std::optional<std::string> accessGroup_;
};

}  // namespace quarnel
