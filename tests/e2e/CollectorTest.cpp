// The collector by itself: whom it serves, what it makes of bodies, and what it never lets through.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <memory>
#include <sstream>

#include "Applications.h"
#include "RunningCollector.h"

namespace e2e {
namespace {

std::string contentOf(const std::string& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

// The requests that were kept, newest first.
std::string idsOf(RunningCollector& collector) {
  std::string ids;
  const auto list = collector.ask("api/requests");
  for (const auto& request : list["requests"].GetArray()) {
    ids += std::to_string(request["id"].GetInt()) + " ";
  }
  return ids;
}

class CollectorTest : public testing::Test {
 protected:
  TemporaryFolder folder_;
  std::string state_ = folder_.path("state");
};

TEST_F(CollectorTest, OnlyWhoTrustsTheAuthorityOfTheFirstStartGetsThrough) {
  std::string authority;
  for (const bool damaged : {false, true}) {
    if (damaged) std::ofstream(state_ + "/server.pem") << "nonsense";
    RunningCollector collector(state_, "k", {"--jsonl"});
    if (authority.empty()) authority = contentOf(collector.ca());
    EXPECT_EQ(contentOf(collector.ca()), authority);
    for (const char* host : {"localhost", "127.0.0.1", "launches.localhost", "events.localhost"}) {
      const std::string url = "https://" + std::string(host) + ":" + collector.port() + kPath;
      EXPECT_EQ(post(url, "x", collector.ca()).code, CURLE_OK) << host;
      EXPECT_EQ(post(url, "x", "").code, CURLE_PEER_FAILED_VERIFICATION) << host;
    }
    EXPECT_EQ(collector.end(), 0);
  }
  using std::filesystem::perms;
  const auto others = perms::group_all | perms::others_all;
  EXPECT_EQ(std::filesystem::status(state_).permissions() & others, perms::none);
  for (const auto& file : std::filesystem::directory_iterator(state_)) {
    EXPECT_EQ(file.status().permissions() & others, perms::none) << file.path();
  }
}

TEST_F(CollectorTest, DecodesWhatAnotherImplementationEncoded) {
  const std::string launch = R"({"event":"Launched","uid":"1-2","n":12.50,"u":"é"})";
  const struct {
    const char* key;  // In UTF-16: six units, two that permute nothing, a surrogate pair.
    const char* body;
    const char* kind;
    std::string json;
  } cases[] = {
      {"devkey", "zK0U7jkT7eAOA5gw7xFmSbk5A9R97xU5AmN9hnZKA9R9q9AOhDAToDVEA2M9G9pu/n0H", "launch",
       launch},
      {"@À", "eyJldmVudCI6IkxhdW5jaGVkIiwidWlkIjoiMS0yIiwibiI6MTIuNTAsInUiOiLDqSJ9", "launch",
       launch},
      {"k😀", "zyeodmqGdCISI5J2dZ6jabq5IlxldZo5IjAlhnMyIlxlwlIShWIGQWVsI8UlOlLY/ne-", "launch",
       launch},
      {"devkey", "zK0U7jkT7eAOA2Y9Pr==", "event", R"({"event":"x"})"},
      {"k😀", "zyeodmqGdCISI8glLCe6IjAlk06Bx79liT==", "event", R"({"event":"x","y":"?>~ÿ"})"},
  };
  for (const auto& [key, body, kind, json] : cases) {
    RunningCollector collector(state_, key, {"--jsonl"});
    const std::string target = std::string(kPath) + "&timeincache=60.500000&a%22=%C3%A9%FF+";
    ASSERT_EQ(collector.send(body, target).status, 200);
    const std::string line = collector.line();
    EXPECT_NE(line.find(R"("kind":")" + std::string(kind) + '"'), line.npos) << line;
    EXPECT_NE(line.find(R"("body":)" + json + '}'), line.npos) << key << line;
    EXPECT_NE(line.find(R"("parameters":{"a\"":"é�+","app_id":"1","buildnumber":"1.0.0",)"
                        R"("timeincache":"60.500000"})"),
              line.npos)
        << line;
  }
}

TEST_F(CollectorTest, KeepsWhatItCannotDecodeWithTheReason) {
  const std::string deep = R"({"a":)" + std::string(511, '[') + std::string(511, ']') + "}";
  const std::string tooDeep = R"({"a":)" + std::string(512, '[') + std::string(512, ']') + "}";
  const std::pair<std::string, const char*> cases[] = {
      {"", "empty"},
      {"e30", "multiple of 4"},
      {"e30=\n", "multiple of 4"},
      {"e3+=", "offset 2 is not of the alphabet"},
      {"e=30", "offset 1 is not of the alphabet"},
      {"====", "offset 0 is not of the alphabet"},
      {"e31=", "bits before the padding"},
      {encoded("[]"), "not an object"},
      {encoded("7"), "not an object"},
      {encoded("{}{}"), "offset 2"},
      {encoded(R"({"a":"\ud800"})"), "malformed at offset"},
      {encoded("{\"a\":\"\xff\"}"), "malformed at offset"},
      {encoded(std::string("{}\0{}", 5)), "zero byte at offset 2"},
      {encoded(tooDeep), "deeper than 512"},
      {std::string("\0\xff\x1b{", 4), "offset 0 is not of the alphabet"},
  };
  RunningCollector collector(state_, "", {"--jsonl"});
  for (const auto& [body, reason] : cases) {
    EXPECT_EQ(collector.send(body).status, 200) << reason;
    const auto json = collector.json();
    EXPECT_STREQ(json["kind"].GetString(), "undecodable") << reason;
    EXPECT_NE(std::string(json["error"].GetString()).find(reason), std::string::npos)
        << json["error"].GetString() << " for " << body;
    EXPECT_TRUE(json["raw"].IsString());
  }
  EXPECT_EQ(collector.send(encoded(deep)).status, 200);
  EXPECT_EQ(jsonText(collector.json()["body"]), deep);
  ASSERT_EQ(collector.end(), 0);

  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open((state_ + "/reports.db").c_str(), &database), SQLITE_OK);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(database, "SELECT body, error FROM request ORDER BY id", -1, &select, nullptr);
  for (const auto& [body, reason] : cases) {
    ASSERT_EQ(sqlite3_step(select), SQLITE_ROW);
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(select, 0));
    EXPECT_EQ(body, std::string(bytes ? bytes : "", sqlite3_column_bytes(select, 0)));
    const auto* error = reinterpret_cast<const char*>(sqlite3_column_text(select, 1));
    EXPECT_NE(std::string(error).find(reason), std::string::npos) << error;
  }
  sqlite3_finalize(select);
  sqlite3_close(database);
}

TEST_F(CollectorTest, HostileTextNeverSteersTheTerminal) {
  RunningCollector collector(state_, "", {"--summary"});
  const std::string report =
      encoded(R"({"event":"a\u001b[2Jb\nc\u0085d\u202ee\u2028f","uid":"\u0000\r)"
              "\x7f\xc2\x9b"
              R"(","counter":{"\u0007":1},"eventvalue":"\t\u009d0;x\u0007","platform":"\u001b"})");
  EXPECT_EQ(collector.send(report, std::string(kPath) + "&timeincache=%1b%5b31m").status, 200);
  EXPECT_EQ(collector.send("x", "/%1b%5b31m%0a").status, 404);
  ASSERT_EQ(collector.end(), 0);
  std::string output;
  for (const auto& line : collector.process().output().all()) output += line;
  for (const char* shown : {R"(a\u{1b}[2Jb\u{a}c\u{85}d)", R"(uid \u{0}\u{d}\u{7f}\u{9b})",
                            R"(replayed, \u{1b}[31m s)", "refused with 404", "1 report"}) {
    EXPECT_NE(output.find(shown), output.npos) << shown << " in " << output;
  }
  EXPECT_EQ(std::count_if(output.begin(), output.end(),
                          [](unsigned char c) { return c < 0x20 || c == 0x7f; }),
            0)
      << output;
  for (const char* sequence : {"\xc2\x85", "\xc2\x9b", "\xc2\x9d", "\u202e", "\u2028"}) {
    EXPECT_EQ(output.find(sequence), output.npos) << output;
  }
}

TEST_F(CollectorTest, EndlessRequestsEndAndOthersAreServed) {
  RunningCollector collector(state_, "", {"--jsonl"});
  const struct {
    const char* name;
    std::string body;
    std::string target;
    std::vector<std::string> headers;
    bool isAnswered;
  } cases[] = {
      {"long headers",
       "x",
       kPath,
       {"X: " + std::string(8000, 'x'), "Y: " + std::string(8000, 'y')},
       true},
      {"an endless header", "x", kPath, {"X: " + std::string(std::size_t{4} << 20, 'x')}, false},
      {"an endless body in chunks",
       std::string(std::size_t{96} << 20, 'x'),
       "/nowhere",
       {"Transfer-Encoding: chunked", "Expect:"},
       false},
      {"the next one", "x", kPath, {}, true},
  };
  for (const auto& [name, body, target, headers, isAnswered] : cases) {
    const Outcome outcome = collector.send(body, target, headers);
    EXPECT_EQ(outcome.code == CURLE_OK && outcome.status == 200, isAnswered)
        << name << outcome.status;
  }
  EXPECT_EQ(idsOf(collector), "2 1 ");
}

TEST_F(CollectorTest, SilentClientsHinderNeitherOthersNorTheEnd) {
  RunningCollector collector(state_, "", {"--jsonl"});
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(std::stoi(collector.port())));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::vector<int> silent;
  for (int i = 0; i < 100; ++i) {
    silent.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(silent.back(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  EXPECT_EQ(collector.send(encoded("{}")).status, 200);
  EXPECT_STREQ(collector.json()["kind"].GetString(), "event");
  // Their connections would be given up only after twice as long as this waits.
  EXPECT_EQ(collector.end(), 0);
  for (const int connection : silent) close(connection);
}

TEST_F(CollectorTest, SaysWhyItCannotStart) {
  RunningCollector running(state_, "k", {"--jsonl"});
  std::ofstream(folder_.path("file")) << "no folder";
  const std::string damaged = folder_.path("damaged");
  std::filesystem::create_directory(damaged);
  std::ofstream(damaged + "/ca.pem") << "no certificate";
  const struct {
    Arguments arguments;
    int code;
    std::string message;
  } cases[] = {
      {{}, 2, "--port is missing"},
      {{"--port", "1"}, 2, "--dev-key is missing"},
      {{"--port", "65536", "--dev-key", "k"}, 2, "--port must be"},
      {{"--port", "12x", "--dev-key", "k"}, 2, "--port must be"},
      {{"--port"}, 2, "--port needs a value"},
      {{"--loud"}, 2, "unknown argument --loud"},
      {{"--port", running.port(), "--dev-key", "k", "--state", folder_.path("b")}, 1, "in use"},
      {{"--port", "0", "--dev-key", "k", "--state", folder_.path("file")}, 1, folder_.path("file")},
      {{"--port", "0", "--dev-key", "k", "--state", damaged}, 1, damaged},
  };
  for (const auto& [arguments, code, message] : cases) {
    Process process(QUARNEL_COLLECTOR_BINARY, arguments);
    EXPECT_EQ(process.wait(), code) << message;
    const auto tells = [&message = message](const std::string& line) {
      return line.find(message) != line.npos;
    };
    EXPECT_TRUE(process.errors().waitFor(tells, Clock::now() + kPatience)) << message;
  }
}

}  // namespace
}  // namespace e2e
