#include "c/Boundary.h"

#include <QuarnelTvOsLib/Error.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "c/Handles.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel::c {
namespace {

// Plain bytes: an operation may fail in the last moments of a thread, or when memory is short.
thread_local std::array<char, 256> lastError{};

quarnel_status refuse(quarnel_status status, const char* why) noexcept {
  std::snprintf(lastError.data(), lastError.size(), "%s", why);
  return status;
}

[[noreturn]] void refuseJson(const char* name, const std::string& why) {
  throw Refusal(QUARNEL_INVALID_JSON, std::string(name) + ": " + why);
}

}  // namespace

quarnel_status statusOfException() noexcept {
  try {
    throw;
  } catch (const Refusal& refusal) {
    return refuse(refusal.status, refusal.what());
  } catch (const std::exception& exception) {
    return refuse(QUARNEL_FAILED, exception.what());
  } catch (...) {
    return refuse(QUARNEL_FAILED, "An exception of the application's.");
  }
}

std::string requiredText(const char* text, const char* name) { return &required(text, name); }

std::optional<std::string> optionalText(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<Value> optionalJson(const char* json, const char* name) {
  if (json == nullptr) return std::nullopt;
  JsonReadResult read = readTaggedJson(validUtf8(std::string(json)));
  if (!read.value) refuseJson(name, read.error.description);
  if (read.value->isNull()) return std::nullopt;
  return std::move(read.value);
}

std::optional<Dictionary> optionalDictionary(const char* json, const char* name) {
  const auto value = optionalJson(json, name);
  if (!value) return std::nullopt;
  if (value->dictionary() == nullptr) refuseJson(name, "A JSON object is needed.");
  return *value->dictionary();
}

std::optional<Value::Array> optionalArray(const char* json, const char* name) {
  const auto value = optionalJson(json, name);
  if (!value) return std::nullopt;
  if (value->array() == nullptr) refuseJson(name, "A JSON array is needed.");
  return *value->array();
}

char* ownedText(const std::string& text) {
  char* copy = strdup(text.c_str());
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

char* ownedText(const std::optional<std::string>& text) {
  return text ? ownedText(*text) : nullptr;
}

}  // namespace quarnel::c

const char* quarnel_last_error() { return quarnel::c::lastError.data(); }

void quarnel_string_free(char* text) { std::free(text); }

const char* quarnel_error_domain(const quarnel_error* error) {
  return error != nullptr ? quarnel::c::errorOf(*error).domain.c_str() : "";
}

int32_t quarnel_error_code(const quarnel_error* error) {
  return error != nullptr ? quarnel::c::errorOf(*error).code : 0;
}

const char* quarnel_error_description(const quarnel_error* error) {
  return error != nullptr ? quarnel::c::errorOf(*error).description.c_str() : "";
}
