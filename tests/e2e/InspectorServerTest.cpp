// The collector's web server: what the inspector's page is given, and who else is refused.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "Applications.h"
#include "RunningCollector.h"

namespace e2e {
namespace {

void execute(const std::string& database, const std::string& sql) {
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(database.c_str(), &handle), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(handle);
  sqlite3_close(handle);
}

std::string idsOf(const std::string& list) {
  rapidjson::Document document;
  document.Parse(list.data(), list.size());
  std::string ids;
  for (const auto& request : document["requests"].GetArray()) {
    ids += std::to_string(request["id"].GetInt()) + " ";
  }
  return ids + (document["more"].GetBool() ? "more" : "end");
}

TEST(InspectorServerTest, PagesAndFiltersAHundredThousandRequests) {
  const TemporaryFolder folder;
  ASSERT_EQ(RunningCollector(folder.path("state"), "k", {"--jsonl"}).end(), 0);
  execute(folder.path("state") + "/reports.db", R"(
    WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)
    INSERT INTO request (id, run, received_ms, method, kind, host, path, query, headers, body, size,
                         report, installation, event, status, answer, errors, warnings, problems)
    SELECT i, 1, i, 'POST', iif(i % 1000 = 0, 'launch', 'event'), 'h', '/p', 'q', '[]', 'b', 1,
           json_object('eventvalue', 'Value ' || i), (i % 7) || '-1', 'e' || (i % 10), 200, '{}',
           i % 50000 = 0, 0, '[]' FROM n)");
  RunningCollector collector(folder.path("state"), "k", {"--jsonl"});
  const std::pair<std::string, std::string> cases[] = {
      {"limit=2", "100000 99999 more"},
      {"limit=2&before=99999", "99998 99997 more"},
      {"limit=2&after=99999", "100000 end"},
      {"limit=3&kind=launch&before=3000", "2000 1000 end"},
      {"limit=2&kind=launch&kind=event&installation=0-1&event=e3", "99953 99883 more"},
      {"problems=1", "100000 50000 end"},
      {"search=vALUE%2077777", "77777 end"},
      {"limit=1&search=/p%3FQ", "100000 more"},
      {"search=%25", "end"},
  };
  for (const auto& [query, ids] : cases) {
    const Outcome outcome = collector.get(std::string("api/requests?") + query);
    ASSERT_EQ(outcome.status, 200) << query << outcome.content;
    EXPECT_EQ(idsOf(outcome.content), ids) << query;
  }
  for (const char* senseless :
       {"kind=%27", "limit=0", "limit=501", "before=x", "after=-1", "problems=yes", "sort=1"}) {
    EXPECT_EQ(collector.get(std::string("api/requests?") + senseless).status, 400) << senseless;
  }
  const std::string lines = collector.get("api/export?kind=launch").content;
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 100);
  EXPECT_EQ(collector.get("api/requests/100001").status, 404);
}

TEST(InspectorServerTest, TakesOverTheRequestsOfAnEarlierLayout) {
  const TemporaryFolder folder;
  const std::string state = folder.path("state");
  std::filesystem::create_directory(state);
  execute(state + "/reports.db", R"(
    CREATE TABLE run (id INTEGER PRIMARY KEY, started INTEGER NOT NULL);
    CREATE TABLE request (
      id INTEGER PRIMARY KEY, run INTEGER NOT NULL REFERENCES run, received_ms INTEGER NOT NULL,
      kind TEXT NOT NULL, host TEXT NOT NULL, path TEXT NOT NULL, query TEXT NOT NULL,
      headers TEXT NOT NULL, body BLOB NOT NULL, report TEXT, error TEXT);
    CREATE INDEX request_by_run ON request (run, id);
    INSERT INTO run VALUES (1, 0);
    INSERT INTO request VALUES
      (5, 1, 7, 'event', 'h', '/p', 'a=1&timeincache=1.500000&isCachedRequest=true', '[]', 'body',
       '{"uid":"1-2","event":"e","counter":3,"iaecounter":"x"}', NULL),
      (6, 1, 8, 'undecodable', 'h', '/p', '', '[]', '', NULL, 'why');)");
  {
    RunningCollector collector(state, "", {"--jsonl"});
    EXPECT_EQ(jsonText(collector.ask("api/requests?installation=1-2")["requests"]),
              R"([{"id":5,"time":7,"kind":"event","installation":"1-2","event":"e",)"
              R"("counters":{"launch":3},"cachedSeconds":1.5,"status":200,"size":4,"errors":0,)"
              R"("warnings":0,"path":"/p","builtAt":null,"value":""}])");
    collector.send(encoded(R"({"n":0.30000000000000001,"b":12345678901234567890123})"));
    EXPECT_EQ(idsOf(collector.get("api/requests").content), "7 6 5 end");
    // Numbers stand as they were sent.
    const std::string detail = collector.get("api/requests/7").content;
    EXPECT_NE(detail.find(R"("name":"n","value":0.30000000000000001,)"), detail.npos) << detail;
    EXPECT_NE(detail.find(R"("name":"b","value":12345678901234567890123,)"), detail.npos);
    ASSERT_EQ(collector.end(), 0);
  }
  execute(state + "/reports.db", "PRAGMA user_version = 1000");
  Process process(QUARNEL_COLLECTOR_BINARY, {"--port", "0", "--dev-key", "k", "--state", state});
  EXPECT_EQ(process.wait(), 1);
  EXPECT_TRUE(process.errors().waitFor(
      [](const std::string& line) { return line.find("a newer version") != line.npos; },
      Clock::now() + kPatience));
}

// A page that listens.
class Listener {
 public:
  explicit Listener(const RunningCollector& collector)
      : thread_([this, url = collector.inspector() + "api/stream",
                 token = "Authorization: Bearer " + collector.token()] { listen(url, token); }) {}
  ~Listener() { thread_.join(); }

  bool waitFor(const std::string& text) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return heard_.find(text) != heard_.npos; });
  }

 private:
  static size_t hear(char* data, size_t size, size_t count, void* self) {
    auto* const listener = static_cast<Listener*>(self);
    const std::lock_guard lock(listener->mutex_);
    listener->heard_.append(data, size * count);
    listener->changed_.notify_all();
    return size * count;
  }

  void listen(const std::string& url, const std::string& token) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                   curl_easy_cleanup);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, token.c_str()), curl_slist_free_all);
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, hear);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, this);
    curl_easy_perform(curl.get());
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::string heard_;
  std::thread thread_;
};

// All that the inspector answers to these bytes, until it closes the connection.
std::string exchange(const std::string& inspector, const std::string& bytes) {
  const int connection = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(std::stoi(inspector.substr(inspector.rfind(':') + 1)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  std::size_t sent = 0;
  for (ssize_t count = 0; sent < bytes.size() && count >= 0; sent += std::max<ssize_t>(count, 0)) {
    count = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
  }
  std::string answer(1 << 16, 0);
  std::size_t size = 0;
  ssize_t count = 0;
  while ((count = recv(connection, answer.data() + size, answer.size() - size, 0)) > 0) {
    size += count;
  }
  close(connection);
  answer.resize(size);
  return answer;
}

TEST(InspectorServerTest, AnswersNobodyElseAndReadsNothingBehindARequest) {
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("state"), "k", {"--jsonl"});
  ASSERT_EQ(collector.send("x").status, 200);
  const std::string own = collector.inspector().substr(7, collector.inspector().size() - 8);
  const std::string port = own.substr(own.find(':'));
  const std::string host = "Host: " + own + "\r\n";
  const std::string token = "Authorization: Bearer " + collector.token() + "\r\n";
  const std::string origin = "Origin: http://" + own + "\r\n";
  const std::string list = "GET /api/requests HTTP/1.1\r\n";
  const std::string clear = "DELETE /api/requests HTTP/1.1\r\n";
  const std::string put = "PUT /api/controls HTTP/1.1\r\n";
  const std::string hidden = clear + host + origin + token + "\r\n";
  const std::string carrying =
      "Content-Length: " + std::to_string(hidden.size()) + "\r\n\r\n" + hidden;
  const std::string endless(std::size_t{8} << 20, 'x');
  const struct {
    const char* name;
    std::string bytes;
    const char* status;  // Of the one answer.
  } cases[] = {
      {"the page", "GET / HTTP/1.1\r\n" + host + "\r\n", "200"},
      {"another name of this machine", list + "Host: localhost" + port + "\r\n" + token + "\r\n",
       "200"},
      {"no token", list + host + "\r\n", "401"},
      {"half a token", list + host + token.substr(0, token.size() - 18) + "\r\n\r\n", "401"},
      {"the token in the query",
       "GET /api/requests?" + collector.token() + " HTTP/1.1\r\n" + host + "\r\n", "401"},
      {"a stream without token", "GET /api/stream HTTP/1.1\r\n" + host + "\r\n", "401"},
      {"a rebound name", list + "Host: rebound.example" + port + "\r\n" + token + "\r\n", "403"},
      {"no host", list + token + "\r\n", "403"},
      {"two hosts", list + host + "Host: other\r\n" + token + "\r\n", "403"},
      {"another page", clear + host + token + "Origin: http://evil.example\r\n\r\n", "403"},
      {"a page of no origin", clear + host + token + "Origin: null\r\n\r\n", "403"},
      {"a request in the body of a refused one",
       "POST / HTTP/1.1\r\nHost: evil.example\r\nOrigin: http://evil.example\r\n" + carrying,
       "403"},
      {"a request in the body of an unknown one",
       "POST /api/requests HTTP/1.1\r\n" + host + token + carrying, "404"},
      {"a request in the body of one that has none", list + host + token + carrying, "200"},
      {"a request behind another", list + host + token + "Connection: keep-alive\r\n\r\n" + hidden,
       "200"},
      {"chunks", put + host + token + "Transfer-Encoding: chunked\r\n\r\n" + hidden, "413"},
      {"two lengths", put + host + token + "Content-Length: 2\r\nContent-Length: 400\r\n\r\n{}",
       "413"},
      {"a negative length", put + host + token + "Content-Length: -1\r\n\r\n" + hidden, "413"},
      {"a packed body",
       put + host + token + "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\nxx", "413"},
      {"a body too long", put + host + token + "Content-Length: 8388608\r\n\r\n" + endless, "413"},
      {"an endless header", list + host + token + "X: " + endless, "400"},
  };
  for (const auto& [name, bytes, status] : cases) {
    const std::string answer = exchange(collector.inspector(), bytes);
    EXPECT_EQ(answer.substr(0, 12), "HTTP/1.1 " + std::string(status)) << name;
    EXPECT_EQ(answer.rfind("HTTP/1.1 "), 0U) << name << " is answered twice: " << answer;
    EXPECT_EQ(answer.find("Access-Control"), answer.npos) << name;
  }
  EXPECT_EQ(idsOf(collector.get("api/requests").content), "1 end");
}

TEST(InspectorServerTest, OutlivesADeletedAndADamagedDatabase) {
  const TemporaryFolder folder;
  const std::string file = folder.path("state") + "/reports.db";
  RunningCollector collector(folder.path("state"), "k", {"--jsonl"});
  const auto send = [&](long status) {
    EXPECT_EQ(collector.send("x").status, status);
    collector.line();
  };
  send(200);
  for (const bool isTold : {false, true}) {  // By the next request, or by a page that asks.
    for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(file + end);
    if (isTold) {
      EXPECT_EQ(idsOf(collector.get("api/requests").content), "end");
    }
    send(200);
    EXPECT_EQ(idsOf(collector.get("api/requests").content), "1 end");
  }
  execute(file, "ALTER TABLE request RENAME TO gone");
  send(500);
  EXPECT_EQ(collector.get("api/requests").status, 500);
  EXPECT_EQ(collector.get("api/export").status, 500);
  Listener page(collector);
  EXPECT_TRUE(page.waitFor(R"("trouble":"Requests are not kept: )"));
  for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(file + end);
  send(200);
  EXPECT_EQ(idsOf(collector.get("api/requests").content), "1 end");
  EXPECT_TRUE(page.waitFor(R"("newest":1,"count":1,"trouble":"The database)"));
  EXPECT_EQ(collector.end(), 0);
}

TEST(InspectorServerTest, FaultsApplyAtOnceAndAreShown) {
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("state"), "k", {"--jsonl"});
  const auto conversion = [&] {
    return request("GET",
                   "https://localhost:" + collector.port() +
                       "/install_data/v3/id1?devkey=k&device_id=1-2",
                   {}, {}, collector.ca())
        .content;
  };
  const std::string receipt = R"({"receipt-data":"YQ=="})";
  EXPECT_EQ(collector.send("x").status, 200);
  ASSERT_EQ(collector
                .control(R"({"faults":{"event":{"status":503},"validation":{"drop":true}},
                                  "conversion":"{\"a\": 1}","receipts":null})")
                .status,
            200);
  EXPECT_EQ(collector.send("x").status, 503);
  EXPECT_NE(collector.send(receipt, "/validate-ios-receipt").code, CURLE_OK);
  EXPECT_NE(collector.send("x", "/validate-ios-receipt").code, CURLE_OK);
  EXPECT_EQ(conversion(), R"({"a":1})");
  for (const char* senseless :
       {"", "[]", R"({"fault":{}})", R"({"faults":{"nowhere":{}}})", R"({"conversion":"[]"})",
        R"({"faults":{"event":{"status":199}}})", R"({"faults":{"event":{"delayMs":120001}}})",
        R"({"faults":{"event":{"drop":1}}})", R"({"faults":{},"receipts":"{"})"}) {
    EXPECT_EQ(collector.control(senseless).status, 400) << senseless;
  }
  EXPECT_EQ(collector.send("x").status, 503);
  EXPECT_EQ(collector.control(R"({"faults":{"event":{"delayMs":120000}}})").status, 200);
  auto delayed = std::async([&] { return collector.send("x"); });
  const auto statuses = [&] {
    std::string all;
    const auto list = collector.ask("api/requests");
    for (const auto& shown : list["requests"].GetArray()) {
      all += std::to_string(shown["status"].GetInt()) + " ";
    }
    return all;
  };
  for (int lines = 0; lines < 7; ++lines) collector.line();
  EXPECT_EQ(statuses(), "200 503 200 0 0 503 200 ");
  // The end waits for nobody's delay.
  EXPECT_EQ(collector.end(), 0);
}

TEST(InspectorServerTest, TellsPagesWhatIsNewAndEndsWithThemOpen) {
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("state"), "k", {"--jsonl"});
  std::vector<std::unique_ptr<Listener>> pages;
  for (int page = 0; page < 32; ++page) {
    pages.push_back(std::make_unique<Listener>(collector));
    EXPECT_TRUE(pages.back()->waitFor("event: controls\ndata: {\"faults\""));
    EXPECT_TRUE(pages.back()->waitFor(
        "event: arrived\ndata: {\"newest\":0,\"count\":0,\"trouble\":null}\n\n"));
  }
  EXPECT_EQ(collector.get("api/stream").status, 503);
  collector.send("x");
  collector.control(R"({"receipts":"{}"})");
  for (const auto& page : pages) {
    EXPECT_TRUE(page->waitFor(R"({"newest":1,"count":1,)"));
    EXPECT_TRUE(page->waitFor(R"("receipts":"{}"})"));
  }
  EXPECT_EQ(collector.inspect("DELETE", "api/requests", {}).status, 204);
  EXPECT_TRUE(pages[0]->waitFor("event: cleared\n"));
  EXPECT_EQ(collector.ask("api/requests")["newest"].GetInt(), 0);
  collector.send("x");
  EXPECT_TRUE(pages[0]->waitFor(R"({"newest":2,"count":1,)"));
  EXPECT_EQ(collector.end(), 0);
}

}  // namespace
}  // namespace e2e
