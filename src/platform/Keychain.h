#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <string_view>

namespace quarnel {

// Attribute keys and values of keychain queries, as the platform spells them.
inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecAttrGeneric = "gena";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecAttrService = "svce";
inline constexpr std::string_view kSecAttrAccessible = "pdmn";
inline constexpr std::string_view kSecAttrAccessibleAlwaysThisDeviceOnly = "dku";
inline constexpr std::string_view kSecAttrAccessGroup = "agrp";
inline constexpr std::string_view kSecValueData = "v_Data";
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";
inline constexpr std::string_view kSecReturnData = "r_Data";

enum class KeychainStatus { kSuccess, kItemNotFound, kDuplicateItem, kFailure };

// A store of small byte values that outlives removal of the application. Items are found by class,
// service, account and access group. Synchronous; callable from any thread.
class Keychain {
 public:
  virtual ~Keychain() = default;
  virtual KeychainStatus add(const Dictionary& attributes) = 0;
  virtual KeychainStatus copyMatching(const Dictionary& query, Bytes* data) = 0;
  virtual KeychainStatus update(const Dictionary& query, const Dictionary& changes) = 0;
  virtual KeychainStatus remove(const Dictionary& query) = 0;
};

}  // namespace quarnel
