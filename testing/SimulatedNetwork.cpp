#include "SimulatedNetwork.h"

namespace quarnel::testing {
namespace {

constexpr const char* kQueue = "session";
constexpr const char* kBackgroundQueue = "background session";

class SimulatedBackgroundSession : public BackgroundSession {
 public:
  SimulatedBackgroundSession(SimulatedNetwork& network, DownloadDelegate delegate)
      : network_(network), delegate_(std::move(delegate)) {}

  void startDownloadTask(HttpRequest request) override {
    const std::string task = request.method + " " + request.url;
    network_.start(std::move(request), kBackgroundQueue, [this, task](const HttpResult& result) {
      if (result.response) delegate_.didFinishDownloading();
      delegate_.didComplete(task, result.error);
    });
  }

 private:
  SimulatedNetwork& network_;
  const DownloadDelegate delegate_;
};

std::string outcomeOf(const HttpResult& result) {
  return result.response ? std::to_string(result.response->status) : std::string("failure");
}

HttpResult resultOf(const ScriptedAnswer& answer) {
  if (answer.kind == ScriptedAnswer::Kind::kFailure) return {std::nullopt, answer.error};
  return {HttpResponse{answer.status, answer.body}, std::nullopt};
}

}  // namespace

ScriptedAnswer ScriptedAnswer::response(int status, std::string body) {
  ScriptedAnswer answer;
  answer.status = status;
  answer.body = std::move(body);
  return answer;
}

ScriptedAnswer ScriptedAnswer::failure(Error error) {
  ScriptedAnswer answer;
  answer.kind = Kind::kFailure;
  answer.error = std::move(error);
  return answer;
}

ScriptedAnswer ScriptedAnswer::silence() {
  ScriptedAnswer answer;
  answer.kind = Kind::kSilence;
  return answer;
}

ScriptedAnswer ScriptedAnswer::after(std::chrono::nanoseconds wait) && {
  delay = wait;
  return std::move(*this);
}

std::shared_ptr<BackgroundSession> SimulatedNetwork::makeBackgroundSession(
    BackgroundSessionConfiguration configuration, DownloadDelegate delegate) {
  backgroundSessions_.push_back(std::move(configuration));
  return std::make_shared<SimulatedBackgroundSession>(*this, std::move(delegate));
}

void SimulatedNetwork::startDataTask(HttpRequest request, HttpCompletion completion) {
  start(std::move(request), kQueue, std::move(completion));
}

void SimulatedNetwork::start(HttpRequest request, const char* label, HttpCompletion completion) {
  const std::string line = request.method + ' ' + request.url;
  dispatcher_.record(Journal::Kind::kHttp, line);
  requests_.push_back({std::move(request.method), std::move(request.url),
                       std::move(request.headers), std::move(request.body),
                       label == kBackgroundQueue, dispatcher_.currentQueue()});
  const ScriptedAnswer answer = answerTo(requests_.back());
  if (answer.kind == ScriptedAnswer::Kind::kSilence) return;
  dispatcher_.post(label, answer.delay,
                   [this, line, number = requests_.size() - 1, result = resultOf(answer),
                    completion = std::move(completion)] {
                     dispatcher_.record(Journal::Kind::kHttp, outcomeOf(result) + ' ' + line);
                     requests_[number].isAnswered = result.response.has_value();
                     completion(result);
                   });
}

void SimulatedNetwork::setAnswer(const std::string& host, std::optional<ScriptedAnswer> answer) {
  const std::string origin = "https://" + host + "/";
  answers_.erase(origin);
  if (answer) answers_.emplace(origin, *std::move(answer));
}

ScriptedAnswer SimulatedNetwork::answerTo(const RecordedRequest& request) const {
  constexpr std::string_view kScheme = "https://";
  if (request.url.rfind(kScheme, 0) != 0) {
    return ScriptedAnswer::failure({"SimulatedNetwork", 1, "The URL is not supported."});
  }
  const std::size_t path = request.url.find('/', kScheme.size());
  const auto own = answers_.find(request.url.substr(0, path) + "/");
  return own != answers_.end() ? own->second : script_(request);
}

}  // namespace quarnel::testing
