// A platform for tests: time stands still until the test moves it, queues run when the test steps
// them, the network answers what the test scripts, stores live in memory, and everything that the
// tracker says is recorded.
//
//   quarnel::testing::SimulatedPlatform platform;
//   auto& tracker = platform.tracker();
//   tracker.setQuarnelDevKey("key");
//   tracker.trackAppLaunch();
//   platform.advance(std::chrono::seconds(1));
//   EXPECT_EQ(platform.requests().size(), 1u);
//
// The code under test gets its tracker from platform.tracker() in place of sharedTracker(). What it
// hands to the tracker, such as a delegate, must live until the platform ends or restarts.
// examples/testing/ is an application tested this way.
#pragma once

#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/Value.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarnel {
class Platform;
}

namespace quarnel::testing {

class SimulatedPorts;

// A request as the tracker started it.
struct RecordedRequest {
  // As it would go out; the body of a report is encoded, see decodeReport.
  std::string method;
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool isBackground = false;  // Started on a background session.
  std::string queue;          // Where it was started.
  bool isAnswered = false;    // A response has arrived, of whatever status.
};

// What the simulated network does with a request.
struct ScriptedAnswer {
  // A response of that status, a transport error, or nothing ever.
  static ScriptedAnswer response(int status, std::string body = "");
  static ScriptedAnswer failure(Error error = {"SimulatedNetwork", 7, "The network is down."});
  static ScriptedAnswer silence();
  // The same answer, so much later.
  ScriptedAnswer after(std::chrono::nanoseconds delay) &&;

  // What was chosen: a response has status and body, a failure an error.
  enum class Kind { kResponse, kFailure, kSilence };
  Kind kind = Kind::kResponse;
  int status = 200;
  std::string body;
  Error error;
  std::chrono::nanoseconds delay{0};
};

// A line of the tracker's log.
struct RecordedLine {
  std::string text;   // Without a line break.
  std::string queue;  // Where it was written, see currentQueue().
};

// The device is a television box of model AppleTV5,3 with version 9.2 of its system, in UTC, on
// 2016-03-05 at 14:07, ten days after the application was installed. Single-threaded: everything
// runs inside advance() and runNext().
class SimulatedPlatform {
 public:
  // Facts, hosts and providers of the environment replace the simulated ones.
  explicit SimulatedPlatform(const HostEnvironment& environment = HostEnvironment());
  ~SimulatedPlatform();

  // The tracker on this platform, made on first use.
  QuarnelTracker& tracker();

  // Ends the simulated process: the tracker and all pending work are gone, the stores and the clock
  // stay. The next tracker() is a new one.
  void restartApplication();

  // Ends it suddenly: settings that were not synchronised are gone as well.
  void killApplication();

  // --- Time and queues ---------------------------------------------------------------------------
  // The clock and the time zone. Setting them runs nothing.
  Date now() const;
  void setNow(Date now);
  void setUtcOffset(std::chrono::seconds offset);
  // Another offset from a moment on, as at the change to summer time.
  void setUtcOffset(Date from, std::chrono::seconds offset);
  // Lets time pass and runs what falls due, in order.
  void advance(std::chrono::nanoseconds by);
  // Runs the next task that is due now; false when there is none.
  bool runNext();
  // The label of the queue whose task is running: "main", "session", "background session", or a
  // label of the library's; "caller" outside of any.
  std::string currentQueue() const;

  // --- Network -----------------------------------------------------------------------------------
  // Decides the answers from now on. Default: status 200 at once.
  void setAnswer(std::function<ScriptedAnswer(const RecordedRequest&)> answer);
  void setAnswer(ScriptedAnswer answer);
  // What one service answers from now on, whatever is set for all; absent: no longer.
  void setAnswer(Endpoint endpoint, std::optional<ScriptedAnswer> answer);
  // All requests so far, in the order in which they were started.
  const std::vector<RecordedRequest>& requests() const;
  // The decoded body of a launch or event report; absent when the key does not decode it.
  static std::optional<Dictionary> decodeReport(const RecordedRequest& request,
                                                std::string_view developerKey);
  // The decoded reports of all requests so far that are launch or event reports: also of those that
  // failed, and once more when they are sent again. See ReportFields.h for what they say.
  std::vector<Dictionary> reports(std::string_view developerKey) const;
  // Only those that were answered, so that the service has them.
  std::vector<Dictionary> deliveredReports(std::string_view developerKey) const;

  // --- Stores ------------------------------------------------------------------------------------
  // The persisted settings by key.
  std::map<std::string, Value>& userDefaults();
  // How often the user defaults were synchronised.
  int synchronizeCount() const;
  // Keychain values by item key.
  std::map<std::string, std::string>& keychain();
  // Files by path. Directories exist when something was made in them.
  std::map<std::string, std::string>& files();
  // From now on no file can be written; the empty text ends this.
  void failWrites(std::string reason);

  // --- Device ------------------------------------------------------------------------------------
  // Replaces a device fact by the name of its report field; false when there is none.
  bool setDeviceFact(std::string_view field, std::optional<std::string> value);
  // Whether the device is on a wireless network.
  void setWifi(bool hasWifi);
  // Posts a lifecycle notification, see Notifications.h, to this platform's tracker.
  void post(std::string_view notification, const Value& userInfo = nullptr);
  // The numbers that the random source gives next; afterwards 0.
  void setRandomNumbers(std::vector<std::uint32_t> numbers);

  // --- Log ---------------------------------------------------------------------------------------
  // All lines so far; a test may clear them.
  std::vector<RecordedLine>& log();
  // Whether a line was written that contains the text.
  bool logged(std::string_view text) const;

  // For tests of the library's own classes.
  Platform& platform();

 private:
  std::unique_ptr<SimulatedPorts> ports_;
  std::unique_ptr<QuarnelTracker> tracker_;
};

}  // namespace quarnel::testing
