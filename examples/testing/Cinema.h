// The part of a cinema application that has to do with attribution: what the viewer sees first, and
// which films are theirs.
#pragma once

#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <mutex>
#include <set>
#include <string>

namespace cinema {

// Given its tracker, so that a test can hand in one of its own. The application makes one and keeps
// it until the process ends: the tracker calls it back.
class Cinema {
 public:
  explicit Cinema(quarnel::QuarnelTracker& tracker);
  Cinema(const Cinema&) = delete;
  Cinema& operator=(const Cinema&) = delete;

  // The viewer starts the application, by a link or without one.
  void start();
  void startFrom(const std::string& link);

  void watched(const std::string& film, int minutes);
  void buy(const std::string& film, double euros, const std::string& transaction);

  // What the screen shows: the film that a link leads to, else the shelf for the campaign that
  // brought the viewer, else the popular films.
  std::string firstScreen() const;
  bool owns(const std::string& film) const;

 private:
  quarnel::QuarnelTracker& tracker_;
  quarnel::QuarnelTrackerDelegate delegate_;

  // Answers come on threads of the library.
  mutable std::mutex mutex_;
  std::string film_;
  std::string shelf_ = "popular";
  std::set<std::string> owned_;
};

}  // namespace cinema
