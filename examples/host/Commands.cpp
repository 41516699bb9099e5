#include "Commands.h"

#include <QuarnelTvOsLib/Notifications.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "Arguments.h"
#include "BadInput.h"
#include "JsonText.h"
#include "Output.h"
#include "Properties.h"

namespace host {

using quarnel::QuarnelTrackerDelegate;
using quarnel::Value;

constexpr std::chrono::seconds kDrainTimeout{10};

// What stands in a line behind the operation's name. Arguments left out at the end are null.
class Commands::Arguments {
 public:
  explicit Arguments(Value::Array line) : line_(std::move(line)) {}

  std::size_t count() const { return line_.size() - 1; }
  const Value& operator[](std::size_t position) const {
    static const Value kAbsent;
    return position < count() ? line_[position + 1] : kAbsent;
  }

 private:
  const Value::Array line_;
};

struct Commands::Operation {
  std::string_view name;
  std::size_t maximumArguments;
  void (Commands::*run)(const Arguments& arguments);
};

const Commands::Operation Commands::kOperations[] = {
    {"set", 2, &Commands::set},
    {"setAdditionalData:", 1, &Commands::setAdditionalData},
    {"setUserEmails:withCryptType:", 2, &Commands::setUserEmails},
    {"trackAppLaunch", 0, &Commands::trackAppLaunch},
    {"trackEvent:withValue:", 2, &Commands::trackEventWithValue},
    {"trackEvent:withValues:", 2, &Commands::trackEventWithValues},
    {"trackLocation:latitude:", 2, &Commands::trackLocation},
    {"handleOpenURL:sourceApplication:", 2, &Commands::handleOpenURL},
    {"handleOpenURL:sourceApplication:withAnnotation:", 3, &Commands::handleOpenURLWithAnnotation},
    {"continueUserActivity:restorationHandler:", 2, &Commands::continueUserActivity},
    {"didUpdateUserActivity:", 1, &Commands::didUpdateUserActivity},
    {"handlePushNotification:", 1, &Commands::handlePushNotification},
    {"validateAndTrackInAppPurchase:price:currency:transactionId:additionalParameters:success:"
     "failure:",
     5, &Commands::validatePurchase},
    {"registerUninstall:", 1, &Commands::registerUninstall},
    {"loadConversionDataWithDelegate:", 1, &Commands::loadConversionData},
    {"delegate", 1, &Commands::setDelegate},
    {"post", 2, &Commands::post},
    {"advertising", 1, &Commands::setAdvertising},
    {"adClient", 1, &Commands::setAdClient},
    {"getQuarnelUID", 0, &Commands::printQuarnelUID},
    {"diagnostics", 0, &Commands::printDiagnostics},
    {"wait", 1, &Commands::wait},
    {"drain", 0, &Commands::printDrain},
    {"quit", 0, &Commands::quit},
};

std::string Commands::help() {
  std::string lines;
  for (const Operation& operation : kOperations) {
    lines += "  [\"" + std::string(operation.name) + "\"";
    for (std::size_t at = 0; at < operation.maximumArguments; ++at) lines += ", _";
    lines += "]\n";
  }
  return lines;
}

Commands::Commands(quarnel::QuarnelTracker& tracker, AdServices& adServices, MainLoop& mainLoop)
    : tracker_(tracker), adServices_(adServices), mainLoop_(mainLoop) {}

void Commands::run(const std::string& line) try {
  const Value command = readJson(line);
  if (!command.array() || command.array()->empty()) {
    throw BadInput("a line must be an array with an operation's name in front");
  }
  const std::string name = requiredText(command.array()->front(), "the operation's name");
  const auto* operation = std::find_if(std::begin(kOperations), std::end(kOperations),
                                       [&](const Operation& each) { return each.name == name; });
  if (operation == std::end(kOperations)) throw BadInput("there is no operation " + name);
  const Arguments arguments(*command.array());
  if (arguments.count() > operation->maximumArguments) {
    throw BadInput(name + " takes " + std::to_string(operation->maximumArguments) +
                   " arguments at most");
  }
  (this->*operation->run)(arguments);
} catch (const BadInput& reason) {
  printError(reason.what());
}

bool Commands::drain() {
  // The tracker may need the main loop for what it has left to do, so another thread waits.
  std::optional<bool> drained;
  std::thread waiter([&] {
    const bool result = tracker_.drain(kDrainTimeout);
    mainLoop_.post([&drained, result] { drained = result; });
  });
  mainLoop_.runUntil([&drained] { return drained.has_value(); });
  waiter.join();
  return *drained;
}

void Commands::set(const Arguments& arguments) {
  setProperty(tracker_, requiredText(arguments[0], "the property"), arguments[1]);
}

void Commands::setAdditionalData(const Arguments& arguments) {
  tracker_.setAdditionalData(optionalDictionary(arguments[0], "the data"));
}

void Commands::setUserEmails(const Arguments& arguments) {
  const std::int32_t cryptType = requiredInteger(arguments[1], "the crypt type");
  tracker_.setUserEmails(optionalArray(arguments[0], "the e-mail addresses"),
                         static_cast<quarnel::EmailCryptType>(cryptType));
}

void Commands::trackAppLaunch(const Arguments&) { tracker_.trackAppLaunch(); }

void Commands::trackEventWithValue(const Arguments& arguments) {
  tracker_.trackEventWithValue(optionalText(arguments[0], "the event's name"),
                               optionalText(arguments[1], "the value"));
}

void Commands::trackEventWithValues(const Arguments& arguments) {
  tracker_.trackEventWithValues(optionalText(arguments[0], "the event's name"),
                                optionalDictionary(arguments[1], "the values"));
}

void Commands::trackLocation(const Arguments& arguments) {
  tracker_.trackLocation(requiredNumber(arguments[0], "the longitude"),
                         requiredNumber(arguments[1], "the latitude"));
}

void Commands::handleOpenURL(const Arguments& arguments) {
  tracker_.handleOpenURL(optionalText(arguments[0], "the URL"),
                         optionalText(arguments[1], "the source application"));
}

void Commands::handleOpenURLWithAnnotation(const Arguments& arguments) {
  tracker_.handleOpenURL(optionalText(arguments[0], "the URL"),
                         optionalText(arguments[1], "the source application"),
                         optionalDictionary(arguments[2], "the annotation"));
}

namespace {

quarnel::UserActivity userActivity(const Value& value) {
  const auto activity = requiredDictionary(value, "the activity");
  return {.activityType = requiredText(entry(activity, "activityType"), "activityType"),
          .webpageURL = optionalText(entry(activity, "webpageURL"), "webpageURL")};
}

}  // namespace

void Commands::continueUserActivity(const Arguments& arguments) {
  // A function has no JSON form: null means none, and true one that tells when it is called.
  std::function<void()> restorationHandler;
  if (!arguments[1].isNull() && requiredBoolean(arguments[1], "the restoration handler")) {
    restorationHandler = [this] {
      printCallback("restorationHandler", mainLoop_.currentQueue(), {});
    };
  }
  tracker_.continueUserActivity(userActivity(arguments[0]), restorationHandler);
}

void Commands::didUpdateUserActivity(const Arguments& arguments) {
  tracker_.didUpdateUserActivity(userActivity(arguments[0]));
}

void Commands::handlePushNotification(const Arguments& arguments) {
  tracker_.handlePushNotification(requiredDictionary(arguments[0], "the user information"));
}

namespace {

Value errorObject(const quarnel::Error& error) {
  return quarnel::Dictionary{
      {"domain", error.domain}, {"code", error.code}, {"description", error.description}};
}

}  // namespace

void Commands::validatePurchase(const Arguments& arguments) {
  const auto success = [this](const quarnel::Dictionary& answer) {
    printCallback("success", mainLoop_.currentQueue(), {answer});
  };
  const auto failure = [this](const auto& error, const auto& answer) {
    printCallback("failure", mainLoop_.currentQueue(),
                  {error ? errorObject(*error) : Value(), answer ? *answer : Value()});
  };
  tracker_.validateAndTrackInAppPurchase(optionalText(arguments[0], "the product identifier"),
                                         arguments[1], optionalText(arguments[2], "the currency"),
                                         optionalText(arguments[3], "the transaction identifier"),
                                         optionalDictionary(arguments[4], "the parameters"),
                                         success, failure);
}

void Commands::registerUninstall(const Arguments& arguments) {
  tracker_.registerUninstall(requiredBytes(arguments[0], "the device token"));
}

void Commands::loadConversionData(const Arguments& arguments) {
  tracker_.loadConversionDataWithDelegate(delegateFor(arguments[0]));
}

void Commands::setDelegate(const Arguments& arguments) {
  tracker_.setDelegate(delegateFor(arguments[0]));
}

QuarnelTrackerDelegate* Commands::delegateFor(const Value& operations) {
  if (operations.isNull()) return nullptr;
  auto delegate = std::make_unique<QuarnelTrackerDelegate>();
  for (const std::string& name : textList(operations, "the delegate's operations")) {
    const auto printDictionary = [this, name](const quarnel::Dictionary& data) {
      printCallback(name, mainLoop_.currentQueue(), {data});
    };
    if (name == "onConversionDataReceived:") {
      delegate->onConversionDataReceived = printDictionary;
    } else if (name == "onAppOpenAttribution:") {
      delegate->onAppOpenAttribution = printDictionary;
    } else if (name == "onConversionDataRequestFailure:") {
      delegate->onConversionDataRequestFailure = [this, name](const quarnel::Error& error) {
        printCallback(name, mainLoop_.currentQueue(), {errorObject(error)});
      };
    } else {
      throw BadInput("a delegate has no operation " + name);
    }
  }
  delegates_.push_back(std::move(delegate));
  return delegates_.back().get();
}

void Commands::post(const Arguments& arguments) {
  const auto userInfo = optionalDictionary(arguments[1], "the user information");
  quarnel::postNotification(requiredText(arguments[0], "the notification's name"),
                            userInfo ? Value(*userInfo) : Value());
}

void Commands::setAdvertising(const Arguments& arguments) {
  adServices_.setIdentity(optionalDictionary(arguments[0], "the advertising identity"));
}

void Commands::setAdClient(const Arguments& arguments) {
  adServices_.setClient(optionalDictionary(arguments[0], "the ad client"));
}

void Commands::printQuarnelUID(const Arguments&) {
  printResult("getQuarnelUID", tracker_.getQuarnelUID());
}

void Commands::printDiagnostics(const Arguments&) {
  const quarnel::Diagnostics numbers = tracker_.diagnostics();
  printResult(
      "diagnostics",
      quarnel::Dictionary{
          {"accepted", numbers.accepted},
          {"notDue", numbers.notDue},
          {"built", numbers.built},
          {"delivered", numbers.delivered},
          {"failed", numbers.failed},
          {"cached", numbers.cached},
          {"replayed", numbers.replayed},
          {"waiting", numbers.waiting},
          {"inFlight", numbers.inFlight},
          {"lost", quarnel::Dictionary{{"tooManyWaiting", numbers.lost.tooManyWaiting},
                                       {"missingDeveloperKey", numbers.lost.missingDeveloperKey},
                                       {"abandoned", numbers.lost.abandoned},
                                       {"cacheFull", numbers.lost.cacheFull},
                                       {"cacheWriteFailed", numbers.lost.cacheWriteFailed},
                                       {"unreadableRecords", numbers.lost.unreadableRecords},
                                       {"withProcess", numbers.lost.withProcess}}}});
}

void Commands::wait(const Arguments& arguments) {
  mainLoop_.runUntil(MainLoop::Clock::now() + requiredDuration(arguments[0], "the time to wait"));
}

void Commands::printDrain(const Arguments&) { printResult("drain", drain()); }

void Commands::quit(const Arguments&) {
  // As if the system ended the application: nothing is waited for. All output is flushed already.
  std::_Exit(EXIT_SUCCESS);
}

}  // namespace host
