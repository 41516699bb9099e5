// An SQLite database.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace collector {

// Every operation throws std::runtime_error when it fails. Not thread-safe.
class Database {
 public:
  enum class Access { kReadWrite, kReadOnly };

  explicit Database(const std::filesystem::path& file, Access access = Access::kReadWrite);

  class Statement {
   public:
    // The texts must stay alive until the statement has run.
    Statement& bind(int index, std::int64_t number);
    Statement& bind(int index, double number);
    Statement& bind(int index, std::string_view text);
    Statement& bindBlob(int index, std::string_view bytes);
    template <typename T>
    Statement& bind(int index, const std::optional<T>& value) {
      return value ? bind(index, *value) : *this;
    }

    // True for a row.
    bool step();
    // Runs it to its end, forgets what was bound.
    void run();
    void reset();

    bool isNull(int column) const;
    std::int64_t integer(int column) const;
    double number(int column) const;
    std::string_view text(int column) const;  // Until the next step.

   private:
    friend class Database;
    struct Closer {
      void operator()(sqlite3_stmt* statement) const;
    };

    std::unique_ptr<sqlite3_stmt, Closer> handle_;
  };

  // False once the file, or its log of writes, was deleted or replaced by somebody else: what is
  // written then is lost, though every operation succeeds.
  bool isInPlace() const;

  void execute(const char* sql);
  Statement prepare(const std::string& sql);
  std::int64_t lastInsertedRow() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
  };

  // Tells a file from another one of the same name.
  struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t node = 0;

    bool operator==(const FileIdentity&) const = default;
  };
  static FileIdentity identityOf(const std::string& file);

  const std::string file_;
  const std::string log_;
  FileIdentity fileIdentity_;
  mutable FileIdentity logIdentity_;  // None until the first write.
  std::unique_ptr<sqlite3, Closer> handle_;
};

}  // namespace collector
