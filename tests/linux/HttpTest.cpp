#include <curl/curl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>

#include "Http2Connection.h"
#include "Support.h"
#include "TlsServer.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/http/CurlEngine.h"
#include "platform/linux/http/CurlNetwork.h"

namespace quarnel::test {
namespace {

const Certificate& authority() {
  static const Certificate* const made = new Certificate("Test authority", nullptr);
  return *made;
}

const Certificate& localhost() {
  static const Certificate* const made = new Certificate("localhost", &authority());
  return *made;
}

// Named before libcurl looks for it, which it does once.
struct KeyLog {
  KeyLog() { ::setenv("SSLKEYLOGFILE", path.c_str(), 1); }
  TemporaryDirectory directory;
  const std::string path = directory / "keys";
};
const KeyLog keyLog;

std::string reply(const std::string& status, const std::string& body = "") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

std::string redirection(const std::string& to) {
  return "HTTP/1.1 302 Found\r\nLocation: " + to + "\r\nContent-Length: 0\r\n\r\n";
}

// A response whose head or trailers go on for much longer than is taken, but not for ever.
TlsServer::Handler flooding(const std::string& start, const std::string& unit,
                            const std::string& status = "200") {
  return [=](Connection& connection) {
    if (!connection.handshake() || !connection.readRequest()) return;
    std::string units;
    while (units.size() < 16000) units += unit;
    bool isOpen = connection.send("HTTP/1.1 " + status + " Whatever\r\n" + start);
    for (int i = 0; i < 256 && isOpen; ++i) isOpen = connection.send(units);
    if (isOpen) connection.send("\r\n");
  };
}

HttpRequest post(const std::string& url, const std::string& body = "{}") {
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

TEST_F(HttpTest, AnyStatusIsAResponse) {
  TlsServer server(localhost(), answering([](const std::string& request) {
                     const std::string path = request.substr(6, request.find(' ', 6) - 6);
                     return reply(path + " Whatever", path == "204" ? "" : "body of " + path);
                   }));
  for (const int status : {200, 204, 304, 404, 500, 599}) {
    const HttpResult result = fetch(post(server.url("/" + std::to_string(status))));
    ASSERT_TRUE(result.response) << status << ": " << result.error->description;
    EXPECT_EQ(result.response->status, status);
    EXPECT_FALSE(result.error);
  }
  EXPECT_EQ(server.acceptedConnections(), 1) << "connections are used again";
}

TEST_F(HttpTest, SendsTheRequestAsItIs) {
  std::promise<std::string> seen;
  TlsServer server(localhost(), answering([&seen](const std::string& request) {
                     seen.set_value(request);
                     return reply("200 OK", "answer");
                   }));
  std::string body(3U << 20U, 'x');
  body[0] = '\0';
  HttpRequest request = post(server.url("/path?a=b&c=%C3%A4"), body);
  request.headers.emplace_back("X-Empty", "");
  const HttpResult result = fetch(std::move(request));
  ASSERT_TRUE(result.response) << result.error->description;
  EXPECT_EQ(result.response->body, "answer");
  const std::string sent = seen.get_future().get();
  const std::string head = sent.substr(0, sent.find("\r\n\r\n") + 2);
  EXPECT_EQ(head.rfind("POST /path?a=b&c=%C3%A4 HTTP/1.1\r\n", 0), 0U) << head;
  EXPECT_NE(head.find("\r\nAccept: application/json\r\n"), std::string::npos) << head;
  EXPECT_NE(head.find("\r\nX-Empty:\r\n"), std::string::npos) << head;
  EXPECT_EQ(head.find("Expect"), std::string::npos) << head;
  EXPECT_TRUE(sent.substr(head.size() + 2) == body);
}

TEST_F(HttpTest, RequestsOnOneConnectionHaveNothingOfEachOther) {
  std::mutex mutex;
  std::vector<std::string> seen;
  TlsServer server(localhost(), answering([&](const std::string& request) {
                     const std::lock_guard lock(mutex);
                     seen.push_back(request);
                     return reply("200 OK");
                   }));
  HttpRequest first = post(server.url("/first"), "body");
  first.headers.emplace_back("X-First", "1");
  for (const HttpRequest& each :
       {first, {"GET", server.url("/second"), {}, ""}, post(server.url("/third"), "")}) {
    ASSERT_TRUE(fetch(each).response);
  }
  const std::lock_guard lock(mutex);
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[1].rfind("GET /second ", 0), 0U);
  EXPECT_EQ(seen[2].rfind("POST /third ", 0), 0U);
  for (const std::string foreign : {"X-First", "body"}) {
    EXPECT_EQ((seen[1] + seen[2]).find(foreign), std::string::npos) << seen[1] << seen[2];
  }
  EXPECT_EQ(seen[1].find("Accept: application/json"), std::string::npos) << seen[1];
}

TEST_F(HttpTest, SilentHostHoldsUpNoOther) {
  constexpr int kSilent = 40;
  TlsServer silent(localhost(), [](Connection& connection) { connection.waitForEnd(); });
  TlsServer server(localhost(), answering([](const auto&) { return reply("200 OK"); }));
  std::atomic<int> failed = 0;
  for (int i = 0; i < kSilent; ++i) {
    network_.sharedSession().startDataTask(post(silent.url("/")),
                                           [&failed](const HttpResult&) { ++failed; });
  }
  EXPECT_TRUE(fetch(post(server.url("/"))).response);
  EXPECT_LT(failed, kSilent / 2) << "it waited for its turn among the others";
  engine_->stop();
  dispatcher_.stop();
}

TEST_F(HttpTest, FailedExchangesAreTransportErrors) {
  const Certificate otherHost("other.example", &authority());
  const Certificate otherAuthority("Other authority", nullptr);
  const Certificate untrusted("localhost", &otherAuthority);
  const auto afterRequest = [](const std::string& bytes) {
    return [bytes](Connection& connection) {
      if (connection.handshake() && connection.readRequest()) connection.send(bytes);
    };
  };
  const std::string huge(kBodyLimit + 1, 'x');
  const auto ignore = [](Connection&) {};
  struct Case {
    const char* what;
    const Certificate& certificate;
    TlsServer::Handler handler;
    int code;  // 0: any, as it depends on how the system reports the end of the connection.
  };
  const Case cases[] = {
      {"closed before the handshake", localhost(), ignore, 0},
      {"closed after the handshake", localhost(), [](Connection& c) { c.handshake(); }, 0},
      {"closed after the request", localhost(), afterRequest(""), 0},
      {"closed in the head", localhost(), afterRequest("HTTP/1.1 200 OK\r\nContent-"),
       CURLE_RECV_ERROR},
      {"closed in the body", localhost(),
       afterRequest("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"), CURLE_PARTIAL_FILE},
      {"garbage", localhost(), afterRequest("what is this\r\n\r\n"), CURLE_UNSUPPORTED_PROTOCOL},
      {"wrong host name", otherHost, answering([](const auto&) { return reply("200 OK"); }),
       CURLE_PEER_FAILED_VERIFICATION},
      {"untrusted", untrusted, answering([](const auto&) { return reply("200 OK"); }),
       CURLE_PEER_FAILED_VERIFICATION},
      {"announced size", localhost(), answering([&](const auto&) { return reply("200 OK", huge); }),
       CURLE_FILESIZE_EXCEEDED},
      {"unannounced size", localhost(), afterRequest("HTTP/1.1 200 OK\r\n\r\n" + huge),
       CURLE_FILESIZE_EXCEEDED},
      {"endless trailers", localhost(),
       flooding("Transfer-Encoding: chunked\r\n\r\n0\r\n", "a: b\r\n"), CURLE_FILESIZE_EXCEEDED},
      {"endless head", localhost(), flooding("", "a: b\r\n"), CURLE_FILESIZE_EXCEEDED},
      {"endless interim heads", localhost(), flooding("\r\n", "HTTP/1.1 103 Early\r\n\r\n", "103"),
       CURLE_FILESIZE_EXCEEDED},
      {"a byte now and then", localhost(),
       [](Connection& c) {
         if (!c.handshake() || !c.readRequest()) return;
         for (bool isOpen = c.send("HTTP/1.1 200 OK\r\n\r\n"); isOpen && !c.hasMore();) {
           isOpen = c.send("x");
         }
       },
       CURLE_OPERATION_TIMEDOUT},
      {"no handshake", localhost(), [](Connection& c) { c.waitForEnd(); },
       CURLE_OPERATION_TIMEDOUT},
      {"no answer", localhost(),
       [](Connection& c) {
         if (c.handshake() && c.readRequest()) c.waitForEnd();
       },
       CURLE_OPERATION_TIMEDOUT},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    TlsServer server(each.certificate, each.handler);
    const HttpResult result = fetch(post(server.url("/")));
    EXPECT_FALSE(result.response);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->domain, "QuarnelTransportError");
    EXPECT_FALSE(result.error->description.empty());
    EXPECT_NE(result.error->code, 0);
    if (each.code != 0) {
      EXPECT_EQ(result.error->code, each.code) << result.error->description;
    }
  }
}

TEST_F(HttpTest, RedirectThatCannotBeFollowedIsTheResponse) {
  for (const std::string to : {"http://localhost:1/", "ftp://localhost/", "https://[", "/again"}) {
    TlsServer server(localhost(), answering([&](const auto&) { return redirection(to); }));
    const HttpResult result = fetch(post(server.url("/")));
    ASSERT_TRUE(result.response) << to << ": " << result.error->description;
    EXPECT_EQ(result.response->status, 302) << to;
  }
}

TEST_F(HttpTest, SendsTheBodyAgainAfterARedirectThatAsksForIt) {
  TlsServer server(localhost(), answering([](const std::string& request) {
                     return request.rfind("POST /end ", 0) == 0
                                ? reply("200 OK", request.substr(request.find("\r\n\r\n") + 4))
                                : "HTTP/1.1 307 Elsewhere\r\nLocation: /end\r\n" +
                                      std::string("Content-Length: 0\r\n\r\n");
                   }));
  const std::string body(1U << 20U, 'x');
  for (const std::string path : {"/fresh", "/reused"}) {
    const HttpResult result = fetch(post(server.url(path), body));
    ASSERT_TRUE(result.response) << path << ": " << result.error->description;
    EXPECT_TRUE(result.response->body == body) << path;
  }
}

// A connection serves its first request and ends at the second one.
TEST_F(HttpTest, SendsNothingTwice) {
  using End = std::function<void(Http2Connection&, std::uint32_t first, std::uint32_t second)>;
  const auto reset = [](std::uint32_t error) {
    return [error](Http2Connection& c, auto, std::uint32_t second) { c.reset(second, error); };
  };
  struct Case {
    const char* what;
    HttpRequest request;
    End end;  // Empty: HTTP/1.1.
  };
  const HttpRequest get{"GET", "", {}, ""};
  const Case cases[] = {
      {"GET", get, {}},
      {"empty body", post("", ""), {}},
      {"body", post("", "body"), {}},
      {"HTTP/2 end", post(""), [](auto&, auto, auto) {}},
      {"HTTP/2 GOAWAY, GET", get, [](Http2Connection& c, auto first, auto) { c.goAway(first); }},
      {"HTTP/2 GOAWAY", post(""), [](Http2Connection& c, auto first, auto) { c.goAway(first); }},
      {"HTTP/2 REFUSED_STREAM", post(""), reset(Http2Connection::kRefusedStream)},
      {"HTTP/2 HTTP_1_1_REQUIRED", get, reset(Http2Connection::kHttp11Required)},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    std::atomic<int> requests = 0;
    TlsServer server(localhost(), [&](Connection& connection) {
      if (!connection.handshake()) return;
      if (each.end) {
        Http2Connection http2(connection);
        const auto first = http2.readRequest();
        if (first) ++requests, http2.answer(*first);
        const auto second = http2.readRequest();
        if (second) ++requests, each.end(http2, *first, *second);
      } else {
        if (connection.readRequest()) ++requests, connection.send(reply("200 OK"));
        if (connection.readRequest()) ++requests;
      }
    });
    if (each.end) server.offerHttp2();
    HttpRequest request = each.request;
    request.url = server.url("/");
    EXPECT_TRUE(fetch(request).response);
    EXPECT_TRUE(fetch(request).error);
    EXPECT_EQ(requests, 2);
    EXPECT_EQ(server.acceptedConnections(), 1);
    request.connection = ConnectionUse::kFresh;
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(fetch(request).response);
    EXPECT_EQ(server.acceptedConnections(), 4) << "fresh requests met an old connection";
  }
}

TEST_F(HttpTest, SendsNoMoreStreamsThanTheServerTakes) {
  TlsServer server(localhost(), [](Connection& connection) {
    if (!connection.handshake()) return;
    Http2Connection http2(connection);
    while (const auto stream = http2.readRequest()) {
      // A request that comes before the answer is one too many.
      while (const auto other = http2.readRequestThatIsHere()) {
        http2.reset(*other, Http2Connection::kRefusedStream);
      }
      http2.answer(*stream);
    }
  });
  server.offerHttp2();
  constexpr int kRequests = 200;
  Counter completed;
  std::atomic<int> failed = 0;
  for (int i = 0; i < kRequests; ++i) {
    network_.sharedSession().startDataTask(post(server.url("/")), [&](const HttpResult& result) {
      if (result.error) ++failed;
      completed.add();
    });
  }
  EXPECT_TRUE(completed.waitFor(kRequests));
  EXPECT_EQ(failed, 0);
  engine_->stop();
  dispatcher_.stop();
}

TEST_F(HttpTest, LargeRequestLeavesRoomForOthers) {
  engine_->stop();
  const auto engine = std::make_shared<CurlEngine>(
      HttpSettings{directory_ / "ca.pem"}, pending_,
      HttpLimits{.exchanges = 12, .requestBytes = 1000, .countedRequestBytes = 500});
  CurlNetwork network(engine, dispatcher_);
  TlsServer server(localhost(), answering([](const auto&) { return reply("200 OK"); }));
  Counter completed;
  std::atomic<int> failed = 0;
  for (const std::size_t size : {100'000, 50, 50, 50, 50, 50, 50, 50, 50, 50, 50}) {
    network.sharedSession().startDataTask(post(server.url("/"), std::string(size, 'x')),
                                          [&](const HttpResult& result) {
                                            if (result.error) ++failed;
                                            completed.add();
                                          });
  }
  EXPECT_TRUE(completed.waitFor(11));
  EXPECT_EQ(failed, 0);
  engine->stop();
}

TEST_F(HttpTest, KeepsTlsSecretsAndUsesAProxyOnlyWhereWanted) {
  ::setenv("https_proxy", "http://127.0.0.1:1", 1);
  TlsServer server(localhost(), answering([](const auto&) { return reply("200 OK"); }));
  EXPECT_TRUE(fetch(post(server.url("/"))).error) << "there is no proxy";
  const auto engine = std::make_shared<CurlEngine>(
      HttpSettings{.authorityFile = directory_ / "ca.pem", .usesProxyVariables = false}, pending_);
  CurlNetwork network(engine, dispatcher_);
  std::promise<bool> answered;
  network.sharedSession().startDataTask(post(server.url("/")), [&](const HttpResult& r) {
    answered.set_value(r.response.has_value());
  });
  EXPECT_TRUE(answered.get_future().get());
  engine->stop();
  engine_->stop();
  ::unsetenv("https_proxy");
  std::ifstream written(keyLog.path);
  EXPECT_TRUE(written) << "libcurl did not see the variable";
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "");
}

TEST(OutcomesTest, HandsOverOneTaskForEachQueueInOrder) {
  struct Recorder final : SerialQueue {
    void post(Task task) override { tasks.push_back(std::move(task)); }
    void postAfter(std::chrono::nanoseconds, Task) override {}
    std::vector<Task> tasks;
  };
  const auto first = std::make_shared<Recorder>();
  const auto second = std::make_shared<Recorder>();
  std::string told;
  Outcomes outcomes;
  const auto add = [&](const std::shared_ptr<Recorder>& queue, char name) {
    outcomes.add({.queue = queue,
                  .completion =
                      [&told, name](const HttpResult&) {
                        told += name;
                        throw std::runtime_error("the next one comes all the same");
                      },
                  .token = {},
                  .ticket = {}},
                 {});
  };
  add(first, 'a'), add(second, 'b'), add(first, 'c');
  outcomes.handOver();
  outcomes.handOver();
  ASSERT_EQ(first->tasks.size(), 1U);
  ASSERT_EQ(second->tasks.size(), 1U);
  first->tasks[0](), second->tasks[0]();
  EXPECT_EQ(told, "acb");
}

TEST(PendingWorkTest, WaitsWithAnyTimeout) {
  const auto pending = std::make_shared<PendingWork>();
  EXPECT_TRUE(pending->waitUntilNone(std::chrono::milliseconds::max()));
  const PendingWork::Token token(pending);
  EXPECT_FALSE(pending->waitUntilNone(std::chrono::milliseconds::min()));
}

TEST_F(HttpTest, AcceptsTheLargestBodyAndTheLongestChainOfRedirects) {
  std::atomic<int> redirects = 0;
  TlsServer server(localhost(), answering([&](const std::string&) {
                     return ++redirects <= 10 ? redirection("/next")
                                              : reply("200 OK", std::string(kBodyLimit, 'x'));
                   }));
  const HttpResult result = fetch({"GET", server.url("/"), {}, ""});
  ASSERT_TRUE(result.response) << result.error->description;
  EXPECT_EQ(result.response->body.size(), kBodyLimit);
}

TEST_F(HttpTest, RefusesWhatCannotBeSentWithoutConnecting) {
  TlsServer server(localhost(), answering([](const auto&) { return reply("200 OK"); }));
  const std::string url = server.url("/");
  const std::string plain = "http" + url.substr(5);
  const HttpRequest cases[] = {
      post(plain),
      post("ftp://localhost/"),
      post("file:///etc/passwd"),
      post("https://"),
      post("not a URL"),
      post(""),
      post(url + "\r\nX-Injected: 1"),
      post(url + "with blank"),
      post(url + std::string("\0", 1)),
      {"POST", url, {{"X-Value", "a\r\nX-Injected: 1"}}, ""},
      {"POST", url, {{"X-Value", "a\nb"}}, ""},
      {"POST", url, {{"X-Value", std::string("a\0b", 3)}}, ""},
      {"POST", url, {{"X-Name\r\nX-Injected", "1"}}, ""},
      {"POST", url, {{"", "1"}}, ""},
      {"PO\r\nST", url, {}, ""},
  };
  for (const HttpRequest& request : cases) {
    std::promise<std::thread::id> completed;
    std::promise<void> returned;
    network_.sharedSession().startDataTask(
        request, [&, mayRun = returned.get_future().share()](const HttpResult& result) {
          // Would wait for ever if it ran before startDataTask returns.
          mayRun.wait();
          EXPECT_TRUE(result.error && !result.response) << request.url;
          completed.set_value(std::this_thread::get_id());
        });
    returned.set_value();
    EXPECT_NE(completed.get_future().get(), std::this_thread::get_id());
  }
  EXPECT_EQ(server.acceptedConnections(), 0);
}

TEST_F(HttpTest, UsesFourConnectionsAndCompletesSerially) {
  std::mutex mutex;
  std::condition_variable changed;
  int concurrent = 0;
  int most = 0;
  TlsServer server(localhost(), answering([&](const std::string&) {
                     std::unique_lock lock(mutex);
                     most = std::max(most, ++concurrent);
                     changed.notify_all();
                     // The first four wait for a fifth that must not come.
                     changed.wait_for(lock, std::chrono::milliseconds(300),
                                      [&] { return most > 4; });
                     --concurrent;
                     return reply("200 OK");
                   }));
  constexpr int kRequests = 12;
  std::atomic<int> inCompletion = 0;
  Counter completed;
  for (int i = 0; i < kRequests; ++i) {
    network_.sharedSession().startDataTask(post(server.url("/")), [&](const HttpResult& result) {
      EXPECT_EQ(++inCompletion, 1);
      EXPECT_TRUE(result.response);
      --inCompletion;
      completed.add();
    });
  }
  ASSERT_TRUE(completed.waitFor(kRequests));
  EXPECT_EQ(most, 4);
  EXPECT_EQ(server.acceptedConnections(), 4);
}

TEST_F(HttpTest, BackgroundSessionTellsOfEachTransfer) {
  struct Case {
    TlsServer::Handler handler;
    std::string told;
  };
  const Case cases[] = {
      {answering([](const auto&) { return reply("500 Oops", "x"); }), "finished; complete: "},
      {[](Connection&) {}, "failed: "},
  };
  for (const Case& each : cases) {
    TlsServer server(localhost(), each.handler);
    std::string told;
    std::promise<void> done;
    DownloadDelegate delegate;
    delegate.didFinishDownloading = [&] { told += "finished; "; };
    delegate.didComplete = [&](const std::string& task, const std::optional<Error>& error) {
      told += (error ? "failed: " : "complete: ") + task;
      done.set_value();
    };
    // The session itself need not outlive its tasks.
    network_.makeBackgroundSession({"test"}, delegate)->startDownloadTask(post(server.url("/s")));
    done.get_future().wait();
    EXPECT_EQ(told, each.told + "POST " + server.url("/s"));
  }
}

TEST_F(HttpTest, StopDropsWhatIsInFlight) {
  Counter asked;
  TlsServer server(localhost(), [&](Connection& connection) {
    if (connection.handshake() && connection.readRequest()) asked.add();
    connection.waitForEnd();
  });
  std::atomic<bool> completed = false;
  network_.sharedSession().startDataTask(post(server.url("/")),
                                         [&](const HttpResult&) { completed = true; });
  ASSERT_TRUE(asked.waitFor(1));
  EXPECT_FALSE(pending_->waitUntilNone(std::chrono::milliseconds(0)));
  engine_->stop();
  EXPECT_TRUE(pending_->waitUntilNone(std::chrono::milliseconds(0)));
  EXPECT_FALSE(completed);
}

}  // namespace
}  // namespace quarnel::test
