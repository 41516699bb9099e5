// What the collector answers to, and tells of, the requests that are no reports.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <memory>

#include "Applications.h"

namespace e2e {
namespace {

using Arguments = std::vector<std::string>;

constexpr const char* kConversionPath = "/install_data/v3/id1?devkey=devkey&device_id=7-7";
constexpr const char* kValidationPath =
    "/validate-ios-receipt?app_id=1&quarnel_id=7-7&dev_key=devkey&sandbox=false";
constexpr const char* kRegistrationPath = "/api/v4/iosevent?buildnumber=1.0.0&app_id=1";

struct Answer {
  long status = 0;  // 0 when there was none.
  std::string content;

  bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << answer.status << ' ' << answer.content;
}

size_t append(char* data, size_t size, size_t count, void* content) {
  static_cast<std::string*>(content)->append(data, size * count);
  return size * count;
}

// A GET without a body, a POST with one.
Answer send(const std::string& origin, const std::string& ca, const std::string& target,
            const std::optional<std::string>& body) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                 curl_easy_cleanup);
  Answer answer;
  curl_easy_setopt(curl.get(), CURLOPT_URL, (origin + target).c_str());
  curl_easy_setopt(curl.get(), CURLOPT_CAINFO, ca.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, static_cast<long>(kPatience.count()));
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer.content);
  if (body) {
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body->data());
  }
  if (curl_easy_perform(curl.get()) == CURLE_OK) {
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &answer.status);
  }
  return answer;
}

class CollectorEndpointsTest : public testing::Test {
 protected:
  void start(const Arguments& options = {}) {
    collector_.emplace(folder_.path("state"), kDeveloperKey, 0, options);
  }
  Answer get(const std::string& target) { return ask(target, std::nullopt); }
  Answer post(const std::string& target, const std::string& body) { return ask(target, body); }
  Report next() { return collector_->next(); }

  // A file with that content; none without.
  std::string file(const std::optional<std::string>& content) {
    std::filesystem::remove(path_);
    if (content) std::ofstream(path_, std::ios::binary) << *content;
    return path_;
  }

  TemporaryFolder folder_;

 private:
  Answer ask(const std::string& target, const std::optional<std::string>& body) {
    return send("https://" + collector_->address(), collector_->certificateAuthority(), target,
                body);
  }

  std::string path_ = folder_.path("file.json");
  std::optional<Collector> collector_;
};

TEST_F(CollectorEndpointsTest, AnswersTheConversionDataOfTheMoment) {
  const struct {
    std::optional<std::string> content;
    long status;
    std::string answer;  // Or a part of it, when the status is an error.
  } cases[] = {
      {R"({"a": 12.50, "b": [null, "é"], "iscache": true})", 200,
       R"({"a":12.50,"b":[null,"é"],"iscache":true})"},
      {std::nullopt, 500, "cannot be read"},
      {"{}", 200, "{}"},
      {"", 500, "is empty"},
      {"{\"a\":", 500, "malformed at offset"},
      {"{\"a\":\"\xff\"}", 500, "malformed at offset"},
      {"[]", 500, "not an object"},
  };
  start({"--conversion", file(std::nullopt)});
  for (const auto& [content, status, expected] : cases) {
    file(content);
    const Answer answer = get(kConversionPath);
    EXPECT_EQ(answer.status, status) << content.value_or("no file");
    if (status == 200) {
      EXPECT_EQ(answer.content, expected);
    } else {
      EXPECT_NE(answer.content.find(expected), std::string::npos) << answer.content;
    }
    const Report report = next();
    EXPECT_EQ(report.about("kind"), "conversion");
    EXPECT_EQ(report.about("path"), "/install_data/v3/id1");
    EXPECT_EQ(report.field("device_id"), "\"7-7\"");
    EXPECT_EQ(report.about("error").empty(), status == 200) << report.about("error");
  }
}

TEST_F(CollectorEndpointsTest, ConfirmsTheReceiptsItWasToldOf) {
  const Answer malformed{200, R"({"status":21002})"};
  const auto confirmed = [](const std::string& records) {
    return Answer{200, R"({"status":0,"receipt":{"in_app":[)" + records + "]}}"};
  };
  const Answer sample = confirmed(R"({"transaction_id":"demo-transaction"})");
  const std::string some = R"({"YQ==":["t\"1","t2"],"Yg==":[]})";
  const std::string any = R"({"*":["t"],"YQ==":["t1"]})";
  const struct {
    std::string receipts;  // "": without the option.
    std::string body;
    Answer answer;
  } cases[] = {
      {"", R"({"receipt-data":"YQ=="})", sample},
      {"", R"({"receipt-data":"+/+/"})", sample},
      {"", R"({"receipt-data":"YQ="})", malformed},
      {"", R"({"receipt-data":"Y==="})", malformed},
      {"", R"({"receipt-data":"Y-Q="})", malformed},
      {"", R"({"receipt-data":"YQ==YQ=="})", malformed},
      {"", R"({"receipt-data":""})", malformed},
      {"", R"({"receipt-data":[]})", malformed},
      {"", R"({"receipt":"YQ=="})", malformed},
      {some, R"({"receipt-data":"YQ=="})",
       confirmed(R"({"transaction_id":"t\"1"},{"transaction_id":"t2"})")},
      {some, R"({"receipt-data":"Yg=="})", confirmed("")},
      {some, R"({"receipt-data":"Yw=="})", malformed},
      {any, R"({"receipt-data":"Yw=="})", confirmed(R"({"transaction_id":"t"})")},
      {any, R"({"receipt-data":"YQ=="})", confirmed(R"({"transaction_id":"t1"})")},
      {any, R"({"receipt-data":"*"})", malformed},
      {any, R"({"receipt-data":"YQ==\u0000"})", malformed},
  };
  std::optional<bool> isTold;
  for (const auto& [receipts, body, answer] : cases) {
    if (isTold != !receipts.empty()) {
      isTold = !receipts.empty();
      start(*isTold ? Arguments{"--receipts", file(receipts)} : Arguments{});
    }
    file(receipts);
    EXPECT_EQ(post(kValidationPath, body), answer) << body << " of " << receipts;
    const Report report = next();
    EXPECT_EQ(report.about("kind"), "validation");
    EXPECT_EQ(report.about("body"), body);
    EXPECT_EQ(report.about("error").empty(), answer != malformed) << body;
  }
  EXPECT_EQ(post(kValidationPath, "receipt"), malformed);
}

TEST_F(CollectorEndpointsTest, TakesStatisticsAsTheyStand) {
  start();
  EXPECT_EQ(post("/stats?app_id=1", "app_id=1%41+&devkey=d=k&uid=(null)&time_in_app=\xff&statType=")
                .status,
            200);
  const Report report = next();
  EXPECT_EQ(report.about("kind"), "statistics");
  // Nothing in such a body is escaped, so nothing is unescaped.
  EXPECT_EQ(report.field("app_id"), R"("1%41+")");
  EXPECT_EQ(report.field("devkey"), R"("d=k")");
  EXPECT_EQ(report.field("uid"), "\"(null)\"");
  EXPECT_EQ(report.field("time_in_app"), "\"\uFFFD\"");
  EXPECT_EQ(report.field("statType"), R"("")");
}

TEST_F(CollectorEndpointsTest, ShowsPeopleEveryKindWithoutLettingItSteerTheTerminal) {
  const std::string state = folder_.path("people");
  Process collector(QUARNEL_COLLECTOR_BINARY,
                    {"--port", "0", "--dev-key", "devkey", "--state", state, "--summary"});
  const auto first = collector.output().next(Clock::now() + kPatience);
  ASSERT_TRUE(first);
  const std::string origin = first->substr(first->find("https://"));
  const std::pair<std::string, std::optional<std::string>> requests[] = {
      {"/install_data/v3/id1?devkey=x&device_id=%1b%5b2Ja%0ab", std::nullopt},
      {"/stats?app_id=1", "time_in_app=1\x1b[2J&launch_counter=\x7f"},
      {kValidationPath, R"({"receipt-data":"\u001b[2J\n"})"},
      {kRegistrationPath, R"({"devicetoken":"\u009b2J"})"},
      {kRegistrationPath, R"({"uid":"\u001b"})"},
  };
  for (const auto& [target, body] : requests) {
    EXPECT_NE(send(origin, state + "/ca.pem", target, body).status, 0) << target;
  }
  collector.signal(SIGTERM);
  EXPECT_EQ(collector.wait(), 0);
  std::string output;
  for (const auto& line : collector.output().all()) output += line + '\n';
  for (const char* shown :
       {R"(\u{1b}[2Ja\u{a}b)", "wrong developer key", R"(1\u{1b}[2J s)", R"(launch \u{7f})",
        R"(\u{1b}[2J\u{a})", R"(\u{9b}2J)", "\nconversion  ", "\nstatistics  ", "\nvalidation  ",
        "\nregistration  ", "\nundecodable  ", "\n5 reports"}) {
    EXPECT_NE(output.find(shown), output.npos) << shown << " in " << output;
  }
  for (const char* sequence : {"\x1b", "\x7f", "\xc2\x9b"}) {
    EXPECT_EQ(output.find(sequence), output.npos) << output;
  }
}

}  // namespace
}  // namespace e2e
