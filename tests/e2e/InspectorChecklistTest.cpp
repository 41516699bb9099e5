// The verdicts of the inspector's checklist.
#include <gtest/gtest.h>

#include "inspector/Checklist.h"

namespace e2e {
namespace {

using collector::Evidence;
using collector::Kind;
using collector::Verdict;

Evidence launch(int id, int counter) {
  return {.id = id,
          .kind = Kind::kLaunch,
          .event = "Launched",
          .launches = counter,
          .events = 0,
          .appId = "1"};
}

Evidence event(int id, int counter) {
  return {
      .id = id, .kind = Kind::kEvent, .event = "e", .launches = 1, .events = counter, .appId = "1"};
}

Evidence with(Evidence one, bool Evidence::*trait) {
  one.*trait = true;
  return one;
}

Evidence answered(Evidence one, int status) {
  one.status = status;
  return one;
}

Evidence of(int id, Kind kind, const char* appId = "1") {
  return {.id = id, .kind = kind, .appId = appId};
}

TEST(InspectorChecklistTest, JudgesEveryStepByWhatArrived) {
  const auto undecodable = with(of(9, Kind::kUndecodable, ""), &Evidence::hasWrongKey);
  const auto lost = with(event(2, 1), &Evidence::hasLostValues);
  const auto replayed = with(event(3, 1), &Evidence::isReplayed);
  const auto refused = with(of(1, Kind::kValidation), &Evidence::isDenied);
  // In the order of the checklist: key, app ID, launch, values, counters, replay, conversion,
  // purchase, token; "+" is good, "!" bad, "o" not seen yet.
  const struct {
    const char* name;
    std::vector<Evidence> requests;
    const char* states;
    const char* text;  // Of the first that is bad, or of the first that is open.
    std::vector<std::int64_t> proof;
  } rows[] = {
      {"nothing", {}, "ooooooooo", "No request yet.", {}},
      {"a launch", {launch(1, 1)}, "+++o+oooo", "No event yet.", {}},
      {"a later launch", {launch(1, 4)}, "+++o+oooo", "No event yet.", {}},
      {"a dropped launch",
       {answered(launch(1, 1), 0)},
       "++ooooooo",
       "No launch yet: call trackAppLaunch.",
       {}},
      {"a wrong key",
       {launch(1, 1), undecodable},
       "!++o+oooo",
       "The application uses another key than this collector (--dev-key), so its reports cannot be "
       "read.",
       {9}},
      {"a key that was mended", {undecodable, launch(10, 1)}, "+++o+oooo", "No event yet.", {}},
      {"letters in the app ID",
       {launch(1, 1), of(2, Kind::kStatistics, "12ab")},
       "+!+o+oooo",
       "\"12ab\" must consist of digits only.",
       {2}},
      {"no app ID", {of(2, Kind::kStatistics, "")}, "o!ooooooo", "It is missing.", {2}},
      {"lost values",
       {launch(1, 1), lost},
       "+++!+oooo",
       "\"e\" came without values: they hold a date, bytes or a number that is not finite, for "
       "which JSON has no form.",
       {2}},
      {"lost values that were mended",
       {launch(1, 1), lost, event(3, 2)},
       "+++++oooo",
       "Not tried yet: drop the connection with Simulate faults, report, and mend it.",
       {}},
      {"gaps",
       {launch(1, 1), launch(2, 3), event(3, 2), event(4, 7), event(5, 8), event(6, 10)},
       "++++!oooo",
       "Missing: launch 2. Missing: event 3 to 6, 9.",
       {}},
      {"doubles", {launch(1, 1), event(2, 1), event(3, 1)}, "++++!oooo", "Twice: event 1.", {2, 3}},
      {"overtaking",
       {launch(1, 1), event(2, 2), event(3, 1)},
       "+++++oooo",
       "Not tried yet: drop the connection with Simulate faults, report, and mend it.",
       {}},
      {"dropped",
       {launch(1, 1), answered(event(2, 1), 0)},
       "+++++oooo",
       "A report was dropped; it comes back after the next one that is delivered.",
       {2}},
      {"replayed",
       {launch(1, 1), answered(event(2, 1), 0), replayed},
       "++++++ooo",
       "Not asked for yet: set a delegate with onConversionDataReceived before the launch.",
       {}},
      {"a refused purchase", {refused}, "o+ooooo!o", "The receipt was not accepted.", {1}},
      {"services answer",
       {of(1, Kind::kConversion), of(2, Kind::kValidation), of(3, Kind::kRegistration)},
       "o+oooo+++",
       "No request yet.",
       {}},
      {"services fail",
       {answered(of(1, Kind::kConversion), 503), answered(of(2, Kind::kRegistration), 0)},
       "o+oooo!o!",
       "Asked for, but not answered.",
       {1}},
  };
  for (const auto& row : rows) {
    std::string states;
    const Verdict* shown = nullptr;
    const auto verdicts = collector::checklistOf(row.requests);
    for (const Verdict::State wanted : {Verdict::State::kBad, Verdict::State::kOpen}) {
      for (const Verdict& verdict : verdicts) {
        if (!shown && verdict.state == wanted) shown = &verdict;
      }
    }
    for (const Verdict& verdict : verdicts) states += "o+!"[static_cast<int>(verdict.state)];
    EXPECT_EQ(states, row.states) << row.name;
    ASSERT_TRUE(shown) << row.name;
    EXPECT_EQ(shown->text, row.text) << row.name;
    EXPECT_EQ(shown->requests, row.proof) << row.name;
  }
}

}  // namespace
}  // namespace e2e
