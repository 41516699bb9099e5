#include "platform/apple/Sheltered.h"

#include <exception>

namespace quarnel {
namespace {

void complain(LogSink& log, const char* what, const char* why) noexcept try {
  log.write("Quarnel: exception in " + std::string(what) + why);
} catch (...) {  // Nothing is left to say it with.
}

}  // namespace

void sheltered(LogSink& log, const char* what, const std::function<void()>& function) noexcept {
  try {
    function();
  } catch (const std::exception& exception) {
    complain(log, what, (std::string(": ") + exception.what()).c_str());
  } catch (...) {
    complain(log, what, "");
  }
}

}  // namespace quarnel
