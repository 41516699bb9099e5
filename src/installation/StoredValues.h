// Typed access to the persistent settings. Stored values are foreign data: one of another type is
// converted as the platform converts it, or counts as absent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/UserDefaults.h"

namespace quarnel {

std::optional<std::string> storedText(const UserDefaults& defaults, std::string_view key);
std::int64_t storedInteger(const std::optional<Value>& stored);                  // 0 when absent.
std::int64_t storedInteger(const UserDefaults& defaults, std::string_view key);  // 0 when absent.
// Brought into the range of 32 bits: what lies beyond is no counter of ours.
std::int32_t storedCounter(const std::optional<Value>& stored);
double storedDouble(const std::optional<Value>& stored);                  // 0 when absent.
double storedDouble(const UserDefaults& defaults, std::string_view key);  // 0 when absent.
bool storedBoolean(const UserDefaults& defaults, std::string_view key);   // False when absent.

// Stores the text, or removes the key when it is absent.
void storeText(UserDefaults& defaults, std::string_view key,
               const std::optional<std::string>& text);

}  // namespace quarnel
