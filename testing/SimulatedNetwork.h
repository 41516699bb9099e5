#pragma once

#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SimulatedDispatcher.h"
#include "platform/HttpSession.h"

namespace quarnel::testing {

// Records requests and answers them by the test's script, on queues called "session" and
// "background session". Requests that are not HTTPS fail, as on every platform.
class SimulatedNetwork : public Network, public HttpSession {
 public:
  using Script = std::function<ScriptedAnswer(const RecordedRequest&)>;

  explicit SimulatedNetwork(SimulatedDispatcher& dispatcher) : dispatcher_(dispatcher) {}

  HttpSession& sharedSession() override { return *this; }
  std::shared_ptr<BackgroundSession> makeBackgroundSession(BackgroundSessionConfiguration,
                                                           DownloadDelegate delegate) override;
  void startDataTask(HttpRequest request, HttpCompletion completion) override;

  // Starts a request; `completion` runs on the queue of the label unless the script stays silent.
  void start(HttpRequest request, const char* label, HttpCompletion completion);

  void setScript(Script script) { script_ = std::move(script); }
  // What a host answers, whatever the script says; absent: the script decides again.
  void setAnswer(const std::string& host, std::optional<ScriptedAnswer> answer);
  const std::vector<RecordedRequest>& requests() const { return requests_; }
  // How each background session was asked for.
  const std::vector<BackgroundSessionConfiguration>& backgroundSessions() const {
    return backgroundSessions_;
  }

 private:
  ScriptedAnswer answerTo(const RecordedRequest& request) const;

  SimulatedDispatcher& dispatcher_;
  Script script_ = [](const RecordedRequest&) { return ScriptedAnswer::response(200); };
  std::map<std::string, ScriptedAnswer> answers_;  // By "https://host/".
  std::vector<RecordedRequest> requests_;
  std::vector<BackgroundSessionConfiguration> backgroundSessions_;
};

}  // namespace quarnel::testing
