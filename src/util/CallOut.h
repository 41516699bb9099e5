#pragma once

#include <exception>
#include <string_view>

#include "util/DebugLog.h"

namespace quarnel {

// Calls code of the application. Whatever it throws is logged and goes no further.
template <typename Function>
void callOut(const DebugLog& log, std::string_view operation, const Function& function) {
  try {
    function();
  } catch (const std::exception& exception) {
    log(operation, "exception in the application's code: ", exception.what());
  } catch (...) {
    log(operation, "exception in the application's code");
  }
}

}  // namespace quarnel
