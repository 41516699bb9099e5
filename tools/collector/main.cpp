#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "Certificates.h"
#include "ConversionEndpoint.h"
#include "Expectations.h"
#include "Options.h"
#include "Printer.h"
#include "Recorder.h"
#include "ReportEndpoint.h"
#include "RequestStore.h"
#include "Server.h"
#include "StatisticsEndpoint.h"
#include "ValidationEndpoint.h"
#include "inspector/InspectorServer.h"
#include "inspector/PageGuard.h"

namespace {

using namespace collector;  // NOLINT(google-build-using-namespace): this is the collector's main.

constexpr int kDiffers = 3;  // The exit status when something else arrived than was expected.

// Signals that end the collector are waited for, so every thread has to keep them blocked.
sigset_t blockEndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // A shell starts background jobs with SIGINT ignored, and what is ignored cannot be waited for.
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  return signals;
}

// What the collector was told to expect.
std::optional<std::vector<Expectation>> expectationsOf(const Options& options) {
  if (!options.expect) return std::nullopt;
  std::ifstream file(*options.expect, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  std::string error = file ? "" : "cannot be read";
  auto expectations = readExpectations(text.str(), error);
  if (!error.empty()) throw std::runtime_error(options.expect->native() + ": " + error);
  return expectations;
}

// Returns at a signal, or when there is nothing more to wait for.
void waitForEnd(const Options& options, const sigset_t& endingSignals,
                const std::function<bool()>& isMet) {
  if (options.withinSeconds == 0) {
    int signal = 0;
    sigwait(&endingSignals, &signal);
    return;
  }
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(options.withinSeconds);
  constexpr timespec kGlance{0, 100'000'000};
  while (std::chrono::steady_clock::now() < deadline && !isMet()) {
    if (sigtimedwait(&endingSignals, nullptr, &kGlance) > 0) return;
  }
}

int run(const Options& options, const sigset_t& endingSignals) {
  const auto expectations = expectationsOf(options);
  std::filesystem::create_directories(options.state);
  const std::filesystem::path state = std::filesystem::canonical(options.state);
  const Certificates certificates(state);
  RequestStore store(state / "reports.db");
  RequestReader reader(state / "reports.db");
  const auto printer = options.jsonLines ? makeJsonPrinter() : makeTextPrinter();
  Controls controls;
  LiveFeed feed;
  WireCheck check(options.developerKey);
  Recorder recorder(store, *printer, check, controls, feed);
  ReportEndpoint reports(options.developerKey, recorder);
  StatisticsEndpoint statistics(recorder);
  ConversionEndpoint conversions(options.developerKey, options.conversion, controls, recorder);
  ValidationEndpoint validations(options.receipts, controls, recorder);

  Server server(certificates, [&](const ReceivedRequest& request, int status) {
    printer->refused(request, status);
  });
  const auto handledBy = [](auto& endpoint) {
    return [&endpoint](ReceivedRequest request) { return endpoint.handle(std::move(request)); };
  };
  server.post(ReportEndpoint::kPath, handledBy(reports));
  server.post(StatisticsEndpoint::kPath, handledBy(statistics));
  server.get(ConversionEndpoint::kPath, handledBy(conversions));
  server.post(ValidationEndpoint::kPath, handledBy(validations));

  const int port = server.start(options.port);
  const std::string token = makeToken();
  const ConnectionFacts facts{port, options.developerKey, certificates.authority()};
  InspectorServer inspector(token, facts, store, reader, controls, feed);
  printer->listening({port, inspector.start(options.webPort), token, certificates.authority()});

  const auto comparison = [&] { return compareOwn(store, *expectations); };
  waitForEnd(options, endingSignals, [&] { return comparison().isMet; });
  inspector.stop();
  server.stop();
  if (options.summary) printSummary(store);
  if (!expectations) return 0;
  const Comparison outcome = comparison();
  std::cerr << outcome.text << std::flush;
  return outcome.isMet ? 0 : kDiffers;
}

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  const auto options = parseOptions(argc, argv, error);
  if (!options) {
    std::cerr << "quarnel-collector: " << error << "\n" << kUsage;
    return 2;
  }
  if (options->help) {
    std::cout << kUsage;
    return 0;
  }
  // Keys and reports are nobody else's business.
  umask(077);
  const sigset_t endingSignals = blockEndingSignals();
  try {
    return run(*options, endingSignals);
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: " << failure.what() << std::endl;
    return 1;
  }
}
