#include "platform/linux/LinuxPlatform.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "platform/PlatformFactory.h"
#include "platform/common/LocalNotificationCenter.h"
#include "platform/common/MirroredKeychain.h"
#include "platform/linux/keychain/session/SecretServiceKeychain.h"
#include "platform/linux/process/ForkedChild.h"
#include "platform/linux/process/LogSinks.h"
#include "platform/linux/store/Directories.h"
#include "platform/linux/store/FileDescriptor.h"

namespace quarnel {
namespace {

std::shared_ptr<LogSink> makeLogSink(const HostOptions& options) {
  if (options.logSink) return std::make_shared<HostLogSink>(options.logSink);
  return std::make_shared<DescriptorLogSink>(STDERR_FILENO);
}

// Not in a directory of the application, so that it outlives the application's removal.
std::string keychainPath(const HostOptions& options) {
  return options.keychainFile.value_or(xdgDataHome() + "/quarnel/keychain.db");
}

// The application may change its working directory later.
HostOptions withAbsolutePaths(HostOptions options) {
  for (auto* const path :
       {&options.stateDirectory, &options.keychainFile, &options.certificateAuthorityFile,
        &options.bundle.appStoreReceiptPath}) {
    std::error_code error;
    if (!*path) continue;
    const std::string absolute = std::filesystem::absolute(**path, error).string();
    if (!error) *path = absolute;
  }
  return options;
}

// Where the application has closed its standard descriptors, a socket or file of ours would take
// their numbers, and get what anybody writes to the standard streams.
void occupyStandardDescriptors() {
  int opened = -1;
  do {
    opened = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (opened >= 0 && opened <= STDERR_FILENO);
  const FileDescriptor surplus(opened);
}

// A file that the host application has chosen is the keychain, and nothing else is.
std::unique_ptr<Keychain> makeMirroredKeychain(const HostOptions& options, Keychain& file,
                                               LinuxDispatcher& dispatcher) {
  if (options.keychainFile) return nullptr;
  std::shared_ptr<Keychain> mirror =
      makeSessionKeychain(options.bundle.bundleIdentifier.value_or(""));
  if (!mirror) return nullptr;
  return std::make_unique<MirroredKeychain>(file, std::move(mirror),
                                            dispatcher.makeSerialQueue("keychain mirror"));
}

}  // namespace

LinuxPlatform::LinuxPlatform(const HostOptions& options)
    : LinuxPlatform(options, applicationDirectories(options.stateDirectory,
                                                    options.bundle.bundleIdentifier)) {}

LinuxPlatform::LinuxPlatform(const HostOptions& options, const ApplicationDirectories& directories)
    : log_(makeLogSink(options)),
      adapterLog_(std::make_shared<DebugModeSink>(log_)),
      pending_(std::make_shared<PendingWork>()),
      device_(readDeviceFacts(""), options.deviceFacts, options.bundle),
      fileSystem_(directories),
      networkInterfaces_(options.wifi),
      hostServices_(options, *adapterLog_),
      dispatcher_(options.mainExecutor, pending_, adapterLog_),
      userDefaults_(SqliteUserDefaults::make(directories.library + "/Preferences/user-defaults.db",
                                             dispatcher_.makeUncountedQueue("user defaults"),
                                             adapterLog_)),
      counters_(CounterFile::make(directories.library + "/Preferences/report-counters",
                                  dispatcher_.makeUncountedQueue("counters"), adapterLog_)),
      keychainFile_(keychainPath(options), options.bundle.bundleIdentifier.value_or(""),
                    *adapterLog_),
      mirroredKeychain_(makeMirroredKeychain(options, keychainFile_, dispatcher_)),
      engine_(std::make_shared<CurlEngine>(
          HttpSettings{options.certificateAuthorityFile, options.usesProxyVariables}, pending_)),
      network_(engine_, dispatcher_) {}

LinuxPlatform::~LinuxPlatform() {
  // The threads first: they use everything else.
  engine_->stop();
  dispatcher_.stop();
  counters_->save();
}

Keychain& LinuxPlatform::keychain() {
  if (mirroredKeychain_) return *mirroredKeychain_;
  return keychainFile_;
}

NotificationCenter& LinuxPlatform::notificationCenter() { return defaultNotificationCenter(); }

bool LinuxPlatform::drain(std::chrono::milliseconds timeout) {
  const bool idle = pending_->waitUntilNone(timeout);
  userDefaults_->synchronize();
  counters_->save();
  return idle;
}

std::unique_ptr<Platform> makePlatform(const HostOptions& options) {
  watchForForks();
  occupyStandardDescriptors();
  return std::make_unique<LinuxPlatform>(withAbsolutePaths(options));
}

NotificationCenter& defaultNotificationCenter() {
  // Leaked: notifications may be posted while the process ends.
  static LocalNotificationCenter* const center = new LocalNotificationCenter;
  return *center;
}

}  // namespace quarnel
