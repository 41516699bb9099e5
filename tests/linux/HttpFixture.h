#pragma once

#include <gtest/gtest.h>

#include <future>

#include "Support.h"
#include "TlsServer.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/http/CurlEngine.h"
#include "platform/linux/http/CurlNetwork.h"

namespace quarnel::test {

inline const Certificate& authority() {
  static const Certificate* const made = new Certificate("Test authority", nullptr);
  return *made;
}

inline const Certificate& localhost() {
  static const Certificate* const made = new Certificate("localhost", &authority());
  return *made;
}

inline std::string reply(const std::string& status, const std::string& body = "") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

inline std::string redirection(const std::string& to) {
  return "HTTP/1.1 302 Found\r\nLocation: " + to + "\r\nContent-Length: 0\r\n\r\n";
}

inline HttpRequest post(const std::string& url, const std::string& body = "{}") {
  return {"POST", url, {{"Accept", "application/json"}}, body};
}

class HttpTest : public testing::Test {
 protected:
  HttpTest() { authority().writePem(directory_ / "ca.pem"); }
  ~HttpTest() override {
    engine_->stop();
    dispatcher_.stop();
  }

  HttpResult fetch(HttpRequest request) {
    std::promise<HttpResult> promise;
    auto answer = promise.get_future();
    network_.sharedSession().startDataTask(
        std::move(request), [&promise](const HttpResult& result) { promise.set_value(result); });
    return answer.get();
  }

  static constexpr std::size_t kBodyLimit = 8U << 20U;
  static constexpr std::chrono::seconds kStall{1};
  static constexpr std::chrono::seconds kExchangeTime{2};

  TemporaryDirectory directory_;
  std::shared_ptr<PendingWork> pending_ = std::make_shared<PendingWork>();
  LinuxDispatcher dispatcher_{nullptr, pending_, std::make_shared<RecordingLog>()};
  std::shared_ptr<CurlEngine> engine_ =
      std::make_shared<CurlEngine>(HttpSettings{directory_ / "ca.pem"}, pending_,
                                   HttpLimits{.stall = kStall, .exchangeTime = kExchangeTime});
  CurlNetwork network_{engine_, dispatcher_};
};

}  // namespace quarnel::test
