#include <atomic>
#include <mutex>
#include <thread>

#include "HttpFixture.h"

namespace quarnel::test {
namespace {

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
