#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/linux/store/FileDescriptor.h"

namespace quarnel {

// Tells other processes that this one lives, by a lock on a file of its own. The system takes the
// lock away with the process, however that ends. Numbers of processes would not do: they are used
// again, and containers that share a folder do not share them.
class ProcessMark {
 public:
  // All marks lie in this folder.
  explicit ProcessMark(std::string folder) : folder_(std::move(folder)) {}

  // Makes the mark, or makes it anew when somebody has deleted the file. False when that failed.
  bool make();
  const std::string& name() const { return name_; }

  // The marks of the processes that ended, locked while this object lives, so that nobody else sees
  // them as such, and whether another process lives.
  class Others {
   public:
    explicit Others(const ProcessMark& own);
    // When the folder could not be read, nobody counts as ended.
    bool isKnown() const { return isKnown_; }
    bool someoneLives() const { return !living_.empty(); }
    bool lives(const std::string& name) const;
    void removeEnded() const;

   private:
    struct Ended {
      std::string path;
      FileDescriptor lock;
    };
    bool isKnown_ = false;
    std::vector<std::string> living_;
    std::vector<Ended> ended_;
  };

 private:
  bool isIntact() const;

  const std::string folder_;
  std::string name_;
  FileDescriptor file_;
};

}  // namespace quarnel
