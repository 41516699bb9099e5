// The bytes of a database file in the place of the user defaults.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Check.h"
#include "platform/linux/store/SqliteUserDefaults.h"

namespace quarnel::fuzz {
namespace {

namespace fs = std::filesystem;

// Nothing is flushed behind the fuzzer's back.
class NoQueue final : public SerialQueue {
 public:
  void post(Task) override {}
  void postAfter(std::chrono::nanoseconds, Task) override {}
};

class NoLog final : public LogSink {
 public:
  void write(std::string_view) override {}
};

std::shared_ptr<SqliteUserDefaults> open(const std::string& path) {
  return SqliteUserDefaults::make(path, std::make_shared<NoQueue>(), std::make_shared<NoLog>());
}

void check(std::string_view bytes) {
  const std::string folder = "/dev/shm/quarnel-fuzz-" + std::to_string(::getpid());
  fs::remove_all(folder);
  fs::create_directory(folder);
  const std::string path = folder + "/user-defaults.db";
  std::ofstream(path, std::ios::binary) << bytes;
  std::optional<Value> kept;
  {
    const auto defaults = open(path);
    kept = defaults->get("kept");
    defaults->set("new", "value");
    require(defaults->synchronize(), "whatever the file was, values can be stored");
  }
  {
    const auto defaults = open(path);
    require(defaults->get("new") == Value("value"), "what was stored is there");
    const auto found = defaults->get("kept");
    const bool isNan = kept && kept->number() != nullptr && *kept->number() != *kept->number();
    require(isNan || found == kept, "what could be read stays");
  }
  fs::remove_all(folder);
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnel::fuzz::check(quarnel::fuzz::textOf(data, size));
  return 0;
}
