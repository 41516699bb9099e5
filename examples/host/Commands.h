// The operations that a script can ask for.
#pragma once

#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/Value.h>

#include <memory>
#include <string>
#include <vector>

#include "AdServices.h"
#include "MainLoop.h"

namespace host {

// Runs one line of the script after the other, on the main thread. A line is a JSON array: an
// operation's name, then its arguments, null for an absent one.
class Commands {
 public:
  Commands(quarnel::QuarnelTracker& tracker, AdServices& adServices, MainLoop& mainLoop);

  // Every operation with its number of arguments, a line each.
  static std::string help();

  // A line that is of no use is answered with an error line and changes nothing.
  void run(const std::string& line);

  // Waits, for at most 10 seconds, until the tracker has nothing left to do.
  bool drain();

 private:
  class Arguments;
  struct Operation;
  static const Operation kOperations[];

  void set(const Arguments& arguments);
  void setAdditionalData(const Arguments& arguments);
  void setUserEmails(const Arguments& arguments);
  void trackAppLaunch(const Arguments& arguments);
  void trackEventWithValue(const Arguments& arguments);
  void trackEventWithValues(const Arguments& arguments);
  void trackLocation(const Arguments& arguments);
  void handleOpenURL(const Arguments& arguments);
  void handleOpenURLWithAnnotation(const Arguments& arguments);
  void continueUserActivity(const Arguments& arguments);
  void didUpdateUserActivity(const Arguments& arguments);
  void handlePushNotification(const Arguments& arguments);
  void validatePurchase(const Arguments& arguments);
  void registerUninstall(const Arguments& arguments);
  void loadConversionData(const Arguments& arguments);
  void setDelegate(const Arguments& arguments);
  void post(const Arguments& arguments);
  void setAdvertising(const Arguments& arguments);
  void setAdClient(const Arguments& arguments);
  void printQuarnelUID(const Arguments& arguments);
  void printDiagnostics(const Arguments& arguments);
  void wait(const Arguments& arguments);
  void printDrain(const Arguments& arguments);
  void quit(const Arguments& arguments);

  // A delegate that responds to the operations named, and prints them; null for null.
  quarnel::QuarnelTrackerDelegate* delegateFor(const quarnel::Value& operations);

  quarnel::QuarnelTracker& tracker_;
  AdServices& adServices_;
  MainLoop& mainLoop_;
  // The tracker does not own its delegate and may still be about to call an earlier one, so all of
  // them are kept.
  std::vector<std::unique_ptr<quarnel::QuarnelTrackerDelegate>> delegates_;
};

}  // namespace host
