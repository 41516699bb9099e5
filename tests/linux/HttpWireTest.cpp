#include <atomic>
#include <cstdlib>
#include <fstream>

#include "Http2Connection.h"
#include "HttpFixture.h"

namespace quarnel::test {
namespace {

class HttpWireTest : public HttpTest {};

// Named before libcurl looks for it, which it does once.
struct KeyLog {
  KeyLog() { ::setenv("SSLKEYLOGFILE", path.c_str(), 1); }
  TemporaryDirectory directory;
  const std::string path = directory / "keys";
};
const KeyLog keyLog;

TEST_F(HttpWireTest, RedirectThatCannotBeFollowedIsTheResponse) {
  for (const std::string to : {"http://localhost:1/", "ftp://localhost/", "https://[", "/again"}) {
    TlsServer server(localhost(), answering([&](const auto&) { return redirection(to); }));
    const HttpResult result = fetch(post(server.url("/")));
    ASSERT_TRUE(result.response) << to << ": " << result.error->description;
    EXPECT_EQ(result.response->status, 302) << to;
  }
}

TEST_F(HttpWireTest, SendsTheBodyAgainAfterARedirectThatAsksForIt) {
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
TEST_F(HttpWireTest, SendsNothingTwice) {
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

TEST_F(HttpWireTest, SendsNoMoreStreamsThanTheServerTakes) {
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

TEST_F(HttpWireTest, LargeRequestLeavesRoomForOthers) {
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

TEST_F(HttpWireTest, KeepsTlsSecretsAndUsesAProxyOnlyWhereWanted) {
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

}  // namespace
}  // namespace quarnel::test
