// What the host application hands in, once, before it asks for the shared tracker.
#pragma once

#include <QuarnelTvOsLib/AdClient.h>
#include <QuarnelTvOsLib/Export.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

struct HostOptions;

// The six services that the library talks to.
enum class Endpoint { kLaunch, kEvents, kStats, kConversion, kServices, kRegister };

// The advertising identifier of the device.
struct AdvertisingIdentity {
  std::string identifier;        // A UUID, upper case.
  bool trackingEnabled = false;  // Whether the user allows tracking by it.
};

// Facts and services that only the host application knows. Every setter is optional and
// documents its default. Not thread-safe: fill one in, hand it to
// QuarnelTracker::configureSharedTracker, and be done. Functions handed in must stay callable until
// the process ends, and may be called from any thread of the library.
class QUARNEL_EXPORT HostEnvironment {
 public:
  // With every default. Copies are independent of each other.
  HostEnvironment();
  HostEnvironment(const HostEnvironment& other);
  HostEnvironment& operator=(const HostEnvironment& other);
  ~HostEnvironment();

  // Where a service lives: a host name, and ":port" behind it if it is not 443. Default: set at
  // build time.
  void setEndpointHost(Endpoint endpoint, std::string host);

  // The folder for all that the library persists: `Library`, `Caches` and `tmp` are made in it.
  // Default: the XDG base directories, each in a folder named by the bundle identifier.
  void setStateDirectory(std::string path);

  // The file that holds what outlives removal of the application, and nothing else then does.
  // Default: $XDG_DATA_HOME/quarnel/keychain.db, and a copy in the desktop session's keyring.
  void setKeychainFile(std::string path);

  // A PEM file of certificate authorities to trust instead of the system's.
  void setCertificateAuthorityFile(std::string path);

  // Whether requests go through the proxy that the environment names: `https_proxy`, `HTTPS_PROXY`,
  // `all_proxy`, `ALL_PROXY`, with exceptions in `no_proxy`. TLS is with the server all the same,
  // so the proxy learns host names only. Default: true.
  void setUsesProxyVariables(bool uses);

  // The store receipt of this installation. Default: none.
  void setReceiptFile(std::string path);

  // The application's own facts. Default: no bundle identifier; without setBundle there are no
  // version and display name either.
  void setBundleIdentifier(std::string identifier);
  void setBundle(std::optional<std::string> version, std::optional<std::string> displayName,
                 std::optional<std::string> shortVersion);

  // Replaces a device fact by the name of its report field ("systemversion", "name", ...; absent:
  // the device does not tell). "multitasking" and "wifi" take "true" or "false". False, and
  // nothing is replaced, when there is no such fact or it does not take this value.
  bool setDeviceFact(std::string_view field, std::optional<std::string> value);

  // Declares that a class of the embedding engine exists in this process ("UnityAppController").
  void addKnownClass(std::string name);

  // Runs a task on the application's main loop, in the order of the calls; it must not run the task
  // before it returns. Default: a thread of the library serves as main queue.
  void setMainExecutor(std::function<void(std::function<void()>)> executor);

  // Takes log lines instead of standard error. A line has no line break at its end. Called on any
  // thread; must not call the tracker.
  void setLogSink(std::function<void(std::string_view)> sink);

  // Asked for each report; an absent answer means that the device has no advertising identifier.
  // Default: none.
  void setAdvertisingIdentifierProvider(
      std::function<std::optional<AdvertisingIdentity>()> provider);

  // Asked at each launch; null means that there is no ad client. Default: none.
  void setAdClientProvider(std::function<std::shared_ptr<AdClient>()> provider);

  // Whether the user has a cloud identity on this device. Default: no.
  void setCloudIdentityProvider(std::function<bool()> provider);

  // What was set, for the library itself.
  const HostOptions& options() const { return *options_; }

 private:
  std::unique_ptr<HostOptions> options_;
};

}  // namespace quarnel
