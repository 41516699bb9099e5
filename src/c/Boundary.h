// What every operation of the C face passes through: no exception leaves, bad arguments become a
// status with a reason, texts and JSON become the types of the C++ face and back.
#pragma once

#include <QuarnelTvOsLib/Value.h>
#include <QuarnelTvOsLib/quarnel_types.h>

#include <optional>
#include <stdexcept>
#include <string>

namespace quarnel::c {

// Why an operation does not do what it is told.
struct Refusal : std::runtime_error {
  Refusal(quarnel_status code, const std::string& why) : std::runtime_error(why), status(code) {}
  quarnel_status status;
};

// In a catch block: keeps the reason for quarnel_last_error and returns the status that it has.
quarnel_status statusOfException() noexcept;

// Runs an operation.
template <typename Operation>
quarnel_status guarded(const Operation& operation) noexcept {
  try {
    operation();
    return QUARNEL_OK;
  } catch (...) {
    return statusOfException();
  }
}

// Runs an operation with a result; `otherwise` is the result on failure.
template <typename Result, typename Operation>
Result guardedResult(Result otherwise, const Operation& operation) noexcept {
  Result result = otherwise;
  return guarded([&] { result = operation(); }) == QUARNEL_OK ? result : otherwise;
}

// Whether an argument that must be there is.
template <typename T>
T& required(T* argument, const char* name) {
  if (argument != nullptr) return *argument;
  throw Refusal(QUARNEL_INVALID_ARGUMENT, std::string(name) + " must not be NULL.");
}

std::string requiredText(const char* text, const char* name);
std::optional<std::string> optionalText(const char* text);

// NULL and the JSON null are absent; anything else but the kind of value asked for is refused.
std::optional<Value> optionalJson(const char* json, const char* name);
std::optional<Dictionary> optionalDictionary(const char* json, const char* name);
std::optional<Value::Array> optionalArray(const char* json, const char* name);

// A copy for quarnel_string_free.
char* ownedText(const std::string& text);
char* ownedText(const std::optional<std::string>& text);

}  // namespace quarnel::c
