// The replay of a full cache over HTTPS on loopback, against a bare libcurl loop that sends the
// same bodies on one kept-alive connection. The time is that between the first and the last request
// as the server sees them.
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <chrono>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>

#include "BenchDirectory.h"
#include "TlsServer.h"
#include "platform/FileSystem.h"
#include "platform/PlatformFactory.h"

namespace quarnel {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kRecords = 41;
const std::string kBody(2000, 'b');

// A server that notes when it saw the first and the last replayed request.
class Sink {
 public:
  Sink()
      : authority_("Bench authority", nullptr),
        certificate_("localhost", &authority_),
        server_(certificate_, test::answering([this](const std::string& request) {
                  note(request);
                  return std::string("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
                })) {
    authority_.writePem(directory_.path() + "/ca.pem");
  }

  std::string url(const std::string& path) const { return server_.url(path); }
  std::string authorityFile() const { return directory_.path() + "/ca.pem"; }
  double takeSeconds() {
    const std::lock_guard lock(mutex_);
    if (count_ != kRecords) throw std::runtime_error("not every record arrived");
    count_ = 0;
    return std::chrono::duration<double>(last_ - first_).count();
  }

 private:
  void note(const std::string& request) {
    if (request.find("isCachedRequest") == std::string::npos) return;
    const std::lock_guard lock(mutex_);
    last_ = SteadyClock::now();
    if (count_++ == 0) first_ = last_;
  }

  bench::Directory directory_;
  std::mutex mutex_;
  int count_ = 0;
  SteadyClock::time_point first_, last_;
  test::Certificate authority_;
  test::Certificate certificate_;
  test::TlsServer server_;
};

void bareLoop(benchmark::State& state) {
  Sink sink;
  CURL* const curl = curl_easy_init();
  const std::string url = sink.url("/api/v4/iosevent?isCachedRequest=true");
  const std::string authority = sink.authorityFile();
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CAINFO, authority.c_str());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, kBody.c_str());
  for (auto _ : state) {
    for (int i = 0; i < kRecords; ++i) {
      if (curl_easy_perform(curl) != CURLE_OK) throw std::runtime_error("bare request failed");
    }
    state.SetIterationTime(sink.takeSeconds());
  }
  state.SetItemsProcessed(state.iterations() * (kRecords - 1));
  curl_easy_cleanup(curl);
}
BENCHMARK(bareLoop)->Name("replay/bareCurlLoop")->UseManualTime()->Iterations(20);

void replay(benchmark::State& state) {
  Sink sink;
  const bench::Directory directory;
  HostEnvironment environment;
  environment.setStateDirectory(directory.path());
  environment.setKeychainFile(directory.path() + "/keychain.db");
  environment.setCertificateAuthorityFile(sink.authorityFile());
  const std::string origin = sink.url("");
  environment.setEndpointHost(Endpoint::kEvents, origin.substr(std::string("https://").size()));
  const auto platform = makePlatform(environment.options());
  QuarnelTracker tracker(*platform, environment.options().services);
  tracker.setQuarnelDevKey("key");
  const std::string folder = platform->fileSystem().cachesDirectory() + "/QuarnelCache";
  platform->fileSystem().createDirectory(folder, true);
  const std::string content =
      "version=1.0.0\nurl=" + sink.url("/api/v4/iosevent?app_id=1") + "\ndata=" + kBody;
  for (auto _ : state) {
    for (int i = 0; i < kRecords; ++i) {
      platform->fileSystem().writeNewFile(folder + "/" + std::to_string(i) + ".qn", content);
    }
    tracker.trackEventWithValues("delivery", std::nullopt);
    if (!tracker.drain(std::chrono::seconds(30))) throw std::runtime_error("drain");
    state.SetIterationTime(sink.takeSeconds());
  }
  state.SetItemsProcessed(state.iterations() * (kRecords - 1));
}
BENCHMARK(replay)->Name("replay/offlineCache")->UseManualTime()->Iterations(20);

}  // namespace
}  // namespace quarnel
