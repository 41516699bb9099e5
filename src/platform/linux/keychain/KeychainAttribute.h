#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// An attribute of a keychain query. It comes as text or as bytes; both name the same item. Absent
// for other types.
inline std::optional<std::string_view> keychainAttribute(const Dictionary& query,
                                                         std::string_view name) {
  const Value* const value = query.find(name);
  if (value == nullptr) return std::nullopt;
  if (const std::string* text = value->text()) return *text;
  if (const Bytes* bytes = value->bytes()) {
    return std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  }
  return std::nullopt;
}

}  // namespace quarnel
