// The C face on the simulated platform: that each operation reaches the one of its name with what
// it was given, and that nothing a caller passes gets further than a status.
#include <QuarnelTvOsLib/quarnel.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include "c/Handles.h"
#include "platform/HostOptions.h"
#include "util/Json.h"

namespace quarnel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::RecordedRequest;
using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

std::string taken(char* text) {
  const std::string copy = text != nullptr ? text : "(null)";
  quarnel_string_free(text);
  return copy;
}

// Callbacks get the list of what was called as their user pointer.
using Calls = std::vector<std::string>;
void noteData(const char* data, void* user) { static_cast<Calls*>(user)->emplace_back(data); }
void noteError(const quarnel_error* error, const char* answer, void* user) {
  static_cast<Calls*>(user)->push_back(std::to_string(quarnel_error_code(error)) + " " +
                                       quarnel_error_description(error) + (answer ? answer : ""));
}
void noteFailure(const quarnel_error* error, void* user) { noteError(error, nullptr, user); }

class CFaceTest : public ::testing::Test {
 protected:
  CFaceTest() {
    quarnel_tracker_set_quarnel_dev_key(tracker, "key");
    quarnel_tracker_set_apple_app_id(tracker, "1");
  }

  Dictionary lastReport() {
    platform.advance(seconds(1));
    const auto reports = platform.reports("key");
    return reports.empty() ? Dictionary() : reports.back();
  }
  std::string lastField(std::string_view name) {
    const Dictionary report = lastReport();
    const Value* value = report.find(name);
    return value != nullptr ? describe(*value) : "(absent)";
  }

  SimulatedPlatform platform;
  quarnel_tracker* const tracker = c::handleOf(platform.tracker());
};

TEST_F(CFaceTest, NullIsAStatusAndNeverACrash) {
  auto* environment = quarnel_environment_create();
  auto* client = quarnel_ad_client_create();
  const quarnel_status statuses[] = {
      quarnel_configure_shared_tracker(nullptr),
      quarnel_environment_set_endpoint_host(nullptr, QUARNEL_ENDPOINT_LAUNCH, "h"),
      quarnel_environment_set_endpoint_host(environment, QUARNEL_ENDPOINT_LAUNCH, nullptr),
      quarnel_environment_set_endpoint_host(environment, 6, "h"),
      quarnel_environment_set_state_directory(environment, nullptr),
      quarnel_environment_set_device_fact(environment, nullptr, "x"),
      quarnel_environment_set_device_fact(environment, "nonsense", "x"),
      quarnel_environment_set_log_sink(nullptr, nullptr, nullptr),
      quarnel_environment_set_main_executor(nullptr, nullptr, nullptr),
      quarnel_advertising_identity_set(nullptr, "x", true),
      quarnel_ad_client_set_request_attribution_details(nullptr, nullptr, nullptr),
      quarnel_ad_question_answer_details(nullptr, nullptr, nullptr),
      quarnel_ad_question_answer_attributed(nullptr, true),
      quarnel_tracker_set_quarnel_dev_key(nullptr, "k"),
      quarnel_tracker_set_additional_data(nullptr, "{}"),
      quarnel_tracker_set_user_emails(nullptr, nullptr, 0),
      quarnel_tracker_set_is_debug(nullptr, true),
      quarnel_delegate_set_on_app_open_attribution(nullptr, noteData, nullptr),
      quarnel_tracker_set_delegate(nullptr, nullptr),
      quarnel_tracker_load_conversion_data_with_delegate(nullptr, nullptr),
      quarnel_tracker_track_app_launch(nullptr),
      quarnel_tracker_track_event_with_values(nullptr, "e", "{}"),
      quarnel_tracker_continue_user_activity(tracker, nullptr, "https://w", nullptr),
      quarnel_tracker_validate_and_track_in_app_purchase(tracker, "p", "1", "EUR", nullptr, nullptr,
                                                         nullptr, nullptr, nullptr),
      quarnel_tracker_register_uninstall(tracker, nullptr, 1),
      quarnel_tracker_start_connection(tracker, nullptr, nullptr),
      quarnel_tracker_drain(nullptr, 0),
      quarnel_post_notification(nullptr, nullptr),
  };
  for (std::size_t at = 0; at < std::size(statuses); ++at) {
    EXPECT_EQ(statuses[at], QUARNEL_INVALID_ARGUMENT) << at;
  }
  EXPECT_STREQ(quarnel_last_error(), "name must not be NULL.");
  EXPECT_EQ(quarnel_tracker_quarnel_dev_key(nullptr), nullptr);
  EXPECT_FALSE(quarnel_tracker_should_collect_device_name(nullptr));
  EXPECT_EQ(quarnel_error_code(nullptr), 0);
  quarnel_task_run(nullptr);
  quarnel_connection_ended(nullptr);
  quarnel_ad_question_free(nullptr);
  // Absent values, on the other hand.
  EXPECT_EQ(quarnel_tracker_track_event_with_values(tracker, nullptr, nullptr), QUARNEL_OK);
  EXPECT_EQ(quarnel_tracker_load_conversion_data_with_delegate(tracker, nullptr), QUARNEL_OK);
  EXPECT_EQ(quarnel_tracker_register_uninstall(tracker, nullptr, 0), QUARNEL_OK);
  EXPECT_EQ(quarnel_tracker_handle_push_notification(tracker, nullptr), QUARNEL_OK);
  quarnel_ad_client_free(client);
  quarnel_environment_free(environment);
}

TEST_F(CFaceTest, JsonCarriesEveryValueAndSaysWhereItIsBad) {
  const char* good =
      R"({"when":{"$date":1457186820.5},"raw":{"$data":"01abcdef"},"never":{"$double":"-inf"},)"
      R"("deep":[{"$data":""},{"$date":-1.0}],"plain":{"$date":1,"more":2},"text":"\u0000é"})";
  ASSERT_EQ(quarnel_tracker_set_additional_data(tracker, good), QUARNEL_OK);
  const auto data = platform.tracker().customData();
  EXPECT_EQ(*data->find("when"), Value(Date(milliseconds(1457186820500))));
  EXPECT_EQ(*data->find("raw"), Value(Bytes{0x01, 0xab, 0xcd, 0xef}));
  // Written back as it came, but for the number's shortest form.
  std::string written = taken(quarnel_tracker_custom_data(tracker));
  EXPECT_EQ(written.replace(written.find("-1}"), 3, "-1.0}"), good);

  const struct {
    const char* json;
    const char* why;
  } bad[] = {
      {R"({"a": 1 "b"})", "values: Missing a comma or '}' after an object member. (around byte 8)"},
      {"[1]", "values: A JSON object is needed."},
      {"", "values: The document is empty. (around byte 0)"},
      {R"({"a": {"$date": "x"}})", "values: $date takes seconds since 1970. (around byte 19)"},
      {R"({"a": {"$date": 1e300}})", "values: $date takes seconds since 1970. (around byte 21)"},
      {R"({"$data": "0g"})",
       "values: $data takes a text of hexadecimal digits, two for a byte. (around byte 14)"},
      {R"({"$double": 1})", "values: $double takes \"nan\", \"inf\" or \"-inf\". (around byte 13)"},
  };
  for (const auto& item : bad) {
    EXPECT_EQ(quarnel_tracker_track_event_with_values(tracker, "e", item.json),
              QUARNEL_INVALID_JSON);
    EXPECT_STREQ(quarnel_last_error(), item.why);
  }
  platform.advance(seconds(1));
  EXPECT_TRUE(platform.requests().empty());
  EXPECT_EQ(quarnel_tracker_track_event_with_values(tracker, "e", "{\"k\":\"a\xff\"}"), QUARNEL_OK);
  EXPECT_EQ(lastField("eventvalue"), "%7B%22k%22:%22a%EF%BF%BD%22%7D");
}

TEST_F(CFaceTest, EveryPropertyIsTheOneOfItsName) {
  const struct {
    quarnel_status (*set)(quarnel_tracker*, const char*);
    char* (*get)(const quarnel_tracker*);
    std::optional<std::string> (QuarnelTracker::*same)() const;
  } texts[] = {
      {quarnel_tracker_set_quarnel_dev_key, quarnel_tracker_quarnel_dev_key,
       &QuarnelTracker::quarnelDevKey},
      {quarnel_tracker_set_apple_app_id, quarnel_tracker_apple_app_id, &QuarnelTracker::appleAppID},
      {quarnel_tracker_set_customer_user_id, quarnel_tracker_customer_user_id,
       &QuarnelTracker::customerUserID},
      {quarnel_tracker_set_currency_code, quarnel_tracker_currency_code,
       &QuarnelTracker::currencyCode},
  };
  for (const auto& property : texts) {
    property.set(tracker, "\xffx");
    EXPECT_EQ((platform.tracker().*property.same)(), "\xEF\xBF\xBDx");
    EXPECT_EQ(taken(property.get(tracker)), "\xEF\xBF\xBDx");
    property.set(tracker, nullptr);
    EXPECT_EQ(property.get(tracker), nullptr);
  }
  const struct {
    quarnel_status (*set)(quarnel_tracker*, bool);
    bool (*get)(const quarnel_tracker*);
    bool (QuarnelTracker::*same)() const;
  } flags[] = {
      {quarnel_tracker_set_is_debug, quarnel_tracker_is_debug, &QuarnelTracker::isDebug},
      {quarnel_tracker_set_should_collect_device_name, quarnel_tracker_should_collect_device_name,
       &QuarnelTracker::shouldCollectDeviceName},
      {quarnel_tracker_set_disable_apple_ad_support_tracking,
       quarnel_tracker_disable_apple_ad_support_tracking,
       &QuarnelTracker::disableAppleAdSupportTracking},
      {quarnel_tracker_set_device_tracking_disabled, quarnel_tracker_device_tracking_disabled,
       &QuarnelTracker::deviceTrackingDisabled},
      {quarnel_tracker_set_disable_iad_tracking, quarnel_tracker_disable_iad_tracking,
       &QuarnelTracker::disableIAdTracking},
      {quarnel_tracker_set_use_receipt_validation_sandbox,
       quarnel_tracker_use_receipt_validation_sandbox,
       &QuarnelTracker::useReceiptValidationSandbox},
  };
  for (const auto& property : flags) {
    const bool changed = !(platform.tracker().*property.same)();
    property.set(tracker, changed);
    EXPECT_EQ((platform.tracker().*property.same)(), changed);
    EXPECT_EQ(property.get(tracker), changed);
  }
}

TEST_F(CFaceTest, CallbacksBringWhatTheServiceSays) {
  Calls calls;
  auto* delegate = quarnel_delegate_create();
  quarnel_delegate_set_on_conversion_data_received(delegate, noteData, &calls);
  quarnel_delegate_set_on_conversion_data_request_failure(delegate, noteFailure, &calls);
  quarnel_delegate_set_on_app_open_attribution(delegate, noteData, &calls);
  platform.setAnswer([](const RecordedRequest& request) {
    const bool isData = request.url.find("install_data") != std::string::npos;
    return ScriptedAnswer::response(isData ? 200 : 204, isData ? R"({"campaign":"x"})" : "");
  });
  quarnel_tracker_load_conversion_data_with_delegate(tracker, delegate);
  platform.advance(seconds(1));
  quarnel_tracker_handle_open_url(tracker, "app://h/p?qn_deeplink=1", nullptr, nullptr);
  quarnel_tracker_track_app_launch(tracker);
  platform.advance(seconds(1));
  platform.setAnswer(ScriptedAnswer::failure());
  quarnel_tracker_validate_and_track_in_app_purchase(tracker, "p", "1.5", "EUR", "t", nullptr,
                                                     nullptr, noteError, &calls);
  platform.advance(seconds(1));
  EXPECT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls.front(), R"({"campaign":"x"})");
  EXPECT_EQ(calls.back(), "0 no store receipt");
  EXPECT_NE(
      std::find(calls.begin(), calls.end(), R"({"qn_deeplink":"1","path":"/p","scheme":"app"})"),
      calls.end());
  EXPECT_EQ(quarnel_delegate_set_on_app_open_attribution(delegate, nullptr, nullptr),
            QUARNEL_TOO_LATE);
  quarnel_delegate_release(delegate);
  EXPECT_EQ(taken(quarnel_tracker_diagnostics(tracker)).rfind(R"({"accepted":2,"notDue":0,)"), 0u);
}

// The handle, the tracker and a call in progress share the delegate. The last of them ends it.
TEST_F(CFaceTest, ADelegateEndsOnceAfterItsLastCall) {
  struct Delegate {
    quarnel_tracker* tracker;
    Calls calls;
  };
  Delegate state{tracker, {}};
  const auto received = [](const char*, void* user) {
    auto& self = *static_cast<Delegate*>(user);
    quarnel_tracker_set_delegate(self.tracker, nullptr);
    self.calls.emplace_back("received");
  };
  const auto destroy = [](void* user) {
    static_cast<Delegate*>(user)->calls.emplace_back("destroyed");
  };
  platform.setAnswer(ScriptedAnswer::response(200, "{}"));
  auto* delegate = quarnel_delegate_create();
  quarnel_delegate_set_on_conversion_data_received(delegate, received, &state);
  quarnel_delegate_set_destructor(delegate, destroy, &state);
  quarnel_tracker_load_conversion_data_with_delegate(tracker, delegate);
  quarnel_delegate_release(delegate);
  EXPECT_EQ(state.calls, Calls{});
  platform.advance(seconds(1));
  EXPECT_EQ(state.calls, (Calls{"received", "destroyed"}));
  quarnel_delegate_release(nullptr);
}

TEST_F(CFaceTest, EnvironmentAndAdClientReachTheReports) {
  auto* environment = quarnel_environment_create();
  auto* client = quarnel_ad_client_create();
  Calls tasks;
  quarnel_environment_set_endpoint_host(environment, QUARNEL_ENDPOINT_LAUNCH, "l:1");
  quarnel_environment_set_bundle(environment, "7", nullptr, "1.2");
  quarnel_environment_set_device_fact(environment, "model", "box");
  quarnel_environment_set_advertising_identifier_provider(
      environment,
      [](auto* answer, void*) { quarnel_advertising_identity_set(answer, "ID", true); }, nullptr);
  quarnel_ad_client_set_lookup_ad_conversion_details(
      client,
      [](quarnel_ad_question* question, void*) {
        const double moment = 1400000000;
        EXPECT_EQ(quarnel_ad_question_answer_attributed(question, true), QUARNEL_INVALID_ARGUMENT);
        EXPECT_EQ(quarnel_ad_question_answer_dates(question, &moment, &moment), QUARNEL_OK);
        quarnel_ad_question_free(question);
      },
      nullptr);
  quarnel_environment_set_ad_client_provider(
      environment, [](void* user) { return static_cast<quarnel_ad_client*>(user); }, client);
  quarnel_environment_set_main_executor(
      environment,
      [](quarnel_task* task, void* user) {
        static_cast<Calls*>(user)->emplace_back("task");
        quarnel_task_run(task);
      },
      &tasks);
  environment->environment.options().mainExecutor([&tasks] { tasks.emplace_back("ran"); });
  EXPECT_EQ(tasks, (Calls{"task", "ran"}));

  SimulatedPlatform other(environment->environment);
  quarnel_environment_free(environment);
  other.tracker().setQuarnelDevKey("key");
  quarnel_tracker_track_app_launch(c::handleOf(other.tracker()));
  other.advance(seconds(1));
  ASSERT_FALSE(other.requests().empty());
  EXPECT_EQ(other.requests().front().url.rfind("https://l:1/", 0), 0u);
  const Dictionary report = other.reports("key").back();
  const std::string text = *writeJson(report);
  for (const char* part : {R"("bundleversion":"7")", R"("ID")", R"("box")", "2014-05-13"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
  }
  quarnel_ad_client_free(client);
}

}  // namespace
}  // namespace quarnel
