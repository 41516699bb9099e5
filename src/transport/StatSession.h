#pragma once

#include <memory>
#include <string>

#include "platform/DeviceFacts.h"
#include "platform/HttpSession.h"
#include "util/DebugLog.h"

namespace quarnel {

// The background session for session statistics and uninstall registrations. Nothing is retried or
// cached; outcomes are only logged. Operating systems before version 8 have no such session: what
// is started there goes nowhere.
class StatSession {
 public:
  StatSession(Network& network, const Device& device, const std::string& vendorPrefix,
              const DebugLog& log);

  void start(HttpRequest request);

 private:
  std::shared_ptr<BackgroundSession> session_;
};

}  // namespace quarnel
