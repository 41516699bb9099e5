#include <sys/stat.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>

#include "Certificates.h"
#include "Options.h"
#include "Printer.h"
#include "ReportEndpoint.h"
#include "RequestStore.h"
#include "Server.h"

namespace {

using namespace collector;

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

void run(const Options& options, const sigset_t& endingSignals) {
  std::filesystem::create_directories(options.state);
  const std::filesystem::path state = std::filesystem::canonical(options.state);
  const Certificates certificates(state);
  RequestStore store(state / "reports.db");
  const auto printer = options.jsonLines ? makeJsonPrinter() : makeTextPrinter();
  ReportEndpoint reports(options.developerKey, store, *printer);

  Server server(certificates, [&](const ReceivedRequest& request, int status) {
    printer->refused(request, status);
  });
  server.post(ReportEndpoint::kPath,
              [&](ReceivedRequest request) { return reports.handle(std::move(request)); });
  printer->listening(server.start(options.port), certificates.authority());

  int signal = 0;
  sigwait(&endingSignals, &signal);
  server.stop();
  if (options.summary) printSummary(store);
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
    run(*options, endingSignals);
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: " << failure.what() << std::endl;
    return 1;
  }
  return 0;
}
