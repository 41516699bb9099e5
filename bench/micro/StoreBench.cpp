// The stores: a counter with synchronise against a bare SQLite commit, and a cache record against a
// bare temporary file with rename.
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdio.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "BenchDirectory.h"
#include "platform/FileSystem.h"
#include "platform/PlatformFactory.h"
#include "platform/UserDefaults.h"

namespace quarnel {
namespace {

void check(bool succeeded, const char* what) {
  if (!succeeded) throw std::runtime_error(what);
}

std::unique_ptr<Platform> makeBenchPlatform(const bench::Directory& directory) {
  HostEnvironment environment;
  environment.setStateDirectory(directory.path());
  environment.setKeychainFile(directory.path() + "/keychain.db");
  return makePlatform(environment.options());
}

void bareCommit(benchmark::State& state) {
  const bench::Directory directory;
  sqlite3* database = nullptr;
  const std::string path = directory.path() + "/bare.db";
  check(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "open");
  sqlite3_exec(database,
               "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
               "CREATE TABLE t(k TEXT PRIMARY KEY, v) WITHOUT ROWID",
               nullptr, nullptr, nullptr);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database, "INSERT OR REPLACE INTO t VALUES('k', ?1)", -1, &statement, nullptr);
  int counter = 0;
  for (auto _ : state) {
    sqlite3_bind_int(statement, 1, ++counter);
    check(sqlite3_step(statement) == SQLITE_DONE, "commit");
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
}
BENCHMARK(bareCommit)->Name("counter/bareSqliteCommit");

void counterWithSynchronize(benchmark::State& state) {
  const bench::Directory directory;
  const auto platform = makeBenchPlatform(directory);
  UserDefaults& defaults = platform->userDefaults();
  int counter = 0;
  for (auto _ : state) {
    defaults.set("QuarnelCounter", ++counter);
    check(defaults.synchronize(), "synchronize");
  }
}
BENCHMARK(counterWithSynchronize)->Name("counter/setAndSynchronize");

void writeAndRename(const std::string& folder, const std::string& name, const std::string& content,
                    bool flush) {
  const std::string path = folder + "/" + name;
  const std::string temporary = path + ".tmp";
  const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  check(::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
        "write");
  if (flush) check(::fsync(file) == 0, "fsync");
  ::close(file);
  check(::rename(temporary.c_str(), path.c_str()) == 0, "rename");
  if (!flush) return;
  const int directory = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  check(::fsync(directory) == 0, "fsync of the directory");
  ::close(directory);
}

// Each round removes its file again, in all three, outside of the measured time.
template <typename Write>
void writeRecords(benchmark::State& state, const std::string& folder, Write write) {
  const std::string content(2100, 'c');
  int number = 0;
  for (auto _ : state) {
    const std::string name = std::to_string(++number) + ".qn";
    write(name, content);
    state.PauseTiming();
    ::unlink((folder + "/" + name).c_str());
    state.ResumeTiming();
  }
}

void bareRename(benchmark::State& state) {
  const bench::Directory directory;
  const bool flush = state.range(0) != 0;
  writeRecords(state, directory.path(), [&](const std::string& name, const std::string& content) {
    writeAndRename(directory.path(), name, content, flush);
  });
}
BENCHMARK(bareRename)->Name("cacheWrite/bareWriteAndRename")->ArgName("fsync")->Arg(0)->Arg(1);

void cacheWrite(benchmark::State& state) {
  const bench::Directory directory;
  const auto platform = makeBenchPlatform(directory);
  FileSystem& files = platform->fileSystem();
  writeRecords(state, directory.path(), [&](const std::string& name, const std::string& content) {
    check(files.writeNewFile(directory.path() + "/" + name, content).outcome ==
              FileSystem::WriteOutcome::kWritten,
          "writeNewFile");
  });
}
BENCHMARK(cacheWrite)->Name("cacheWrite/writeNewFile");

}  // namespace
}  // namespace quarnel
