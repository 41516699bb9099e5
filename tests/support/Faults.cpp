// Preloaded into a process, lets one of its system calls fail:
//
//   QUARNEL_FAULT_CALL    which one: a name below
//   QUARNEL_FAULT_NUMBER  the how manieth call of it fails, counted from 1; 0: all of them
//   QUARNEL_FAULT_ERROR   the number of the error
//   QUARNEL_FAULT_FOLDER  calls that concern files count in this folder only
//
// Each failure is told on standard error, in a line that begins with "Fault: ".
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

struct Plan {
  const std::string call = variable("QUARNEL_FAULT_CALL");
  const int number = std::atoi(variable("QUARNEL_FAULT_NUMBER").c_str());
  const int error = std::atoi(variable("QUARNEL_FAULT_ERROR").c_str());
  const std::string folder = variable("QUARNEL_FAULT_FOLDER");
  std::atomic<int> calls = 0;
};

Plan& plan() {
  static Plan* const made = new Plan;
  return *made;
}

// Whether a call counts: for what concerns no file, and for paths and descriptors.
constexpr bool everywhere = true;

bool at(std::string_view path) { return path.starts_with(plan().folder); }

bool of(int descriptor) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  char path[4096];
  const ssize_t size = ::readlink(link.c_str(), path, sizeof path);
  return size >= 0 && at({path, static_cast<std::size_t>(size)});
}

bool at(int folder, const char* path) { return *path == '/' ? at(path) : of(folder); }

template <typename Where>
bool fails(std::string_view call, const Where& where) {
  if (plan().call != call || !where()) return false;
  const int number = ++plan().calls;
  if (plan().number != 0 && plan().number != number) return false;
  const std::string line = "Fault: " + plan().call + " " + std::to_string(number) + "\n";
  static_cast<void>(!::syscall(SYS_write, STDERR_FILENO, line.data(), line.size()));
  errno = plan().error;
  return true;
}

mode_t modeFrom(int flags, va_list list) {
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return creates ? va_arg(list, mode_t) : 0;
}

}  // namespace

// The function `name` that counts as `call` and works at `place`.
#define QUARNEL_FAULTY(result, name, call, place, failure, parameters, arguments)                \
  extern "C" __attribute__((visibility("default"))) result name parameters {                     \
    if (fails(call, [&] { return place; })) return failure;                                      \
    static auto* const real = reinterpret_cast<result(*) parameters>(::dlsym(RTLD_NEXT, #name)); \
    return real arguments;                                                                       \
  }
#define QUARNEL_FAULTY_OPEN(name, call, place, parameters, arguments)                         \
  extern "C" __attribute__((visibility("default"))) int name parameters {                     \
    va_list list;                                                                             \
    va_start(list, flags);                                                                    \
    const mode_t mode = modeFrom(flags, list);                                                \
    va_end(list);                                                                             \
    if (fails(call, [&] { return place; })) return -1;                                        \
    static auto* const real = reinterpret_cast<int(*) parameters>(::dlsym(RTLD_NEXT, #name)); \
    return real arguments;                                                                    \
  }

QUARNEL_FAULTY_OPEN(open, "open", at(path), (const char* path, int flags, ...), (path, flags, mode))
QUARNEL_FAULTY_OPEN(open64, "open", at(path), (const char* path, int flags, ...),
                    (path, flags, mode))
QUARNEL_FAULTY_OPEN(openat, "openat", at(folder, path),
                    (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
QUARNEL_FAULTY_OPEN(openat64, "openat", at(folder, path),
                    (int folder, const char* path, int flags, ...), (folder, path, flags, mode))

QUARNEL_FAULTY(ssize_t, read, "read", of(file), -1, (int file, void* to, size_t size),
               (file, to, size))
QUARNEL_FAULTY(ssize_t, pread, "pread", of(file), -1, (int file, void* to, size_t size, off_t from),
               (file, to, size, from))
QUARNEL_FAULTY(ssize_t, pread64, "pread", of(file), -1,
               (int file, void* to, size_t size, off64_t from), (file, to, size, from))
QUARNEL_FAULTY(ssize_t, write, "write", of(file), -1, (int file, const void* from, size_t size),
               (file, from, size))
QUARNEL_FAULTY(ssize_t, pwrite, "pwrite", of(file), -1,
               (int file, const void* from, size_t size, off_t to), (file, from, size, to))
QUARNEL_FAULTY(ssize_t, pwrite64, "pwrite", of(file), -1,
               (int file, const void* from, size_t size, off64_t to), (file, from, size, to))
QUARNEL_FAULTY(int, fsync, "fsync", of(file), -1, (int file), (file))
QUARNEL_FAULTY(int, fdatasync, "fdatasync", of(file), -1, (int file), (file))
QUARNEL_FAULTY(int, ftruncate, "ftruncate", of(file), -1, (int file, off_t size) noexcept,
               (file, size))
QUARNEL_FAULTY(int, ftruncate64, "ftruncate", of(file), -1, (int file, off64_t size) noexcept,
               (file, size))
QUARNEL_FAULTY(void*, mmap, "mmap", of(file), MAP_FAILED,
               (void* at, size_t size, int protection, int flags, int file, off_t from) noexcept,
               (at, size, protection, flags, file, from))
QUARNEL_FAULTY(void*, mmap64, "mmap", of(file), MAP_FAILED,
               (void* at, size_t size, int protection, int flags, int file, off64_t from) noexcept,
               (at, size, protection, flags, file, from))
QUARNEL_FAULTY(int, rename, "rename", at(from), -1, (const char* from, const char* to) noexcept,
               (from, to))
QUARNEL_FAULTY(int, linkat, "linkat", at(folder, name), -1,
               (int from, const char* path, int folder, const char* name, int flags) noexcept,
               (from, path, folder, name, flags))
QUARNEL_FAULTY(int, unlink, "unlink", at(path), -1, (const char* path) noexcept, (path))
QUARNEL_FAULTY(int, unlinkat, "unlink", at(folder, path), -1,
               (int folder, const char* path, int flags) noexcept, (folder, path, flags))
QUARNEL_FAULTY(int, mkdir, "mkdir", at(path), -1, (const char* path, mode_t mode) noexcept,
               (path, mode))

QUARNEL_FAULTY(ssize_t, getrandom, "getrandom", everywhere, -1,
               (void* to, size_t size, unsigned flags), (to, size, flags))
QUARNEL_FAULTY(int, pthread_create, "pthread_create", everywhere, errno,
               (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*),
                void* argument) noexcept,
               (thread, attributes, start, argument))
QUARNEL_FAULTY(int, socket, "socket", everywhere, -1, (int domain, int type, int protocol) noexcept,
               (domain, type, protocol))
QUARNEL_FAULTY(int, socketpair, "pipe", everywhere, -1,
               (int domain, int type, int protocol, int* ends) noexcept,
               (domain, type, protocol, ends))
QUARNEL_FAULTY(int, pipe2, "pipe", everywhere, -1, (int* ends, int flags) noexcept, (ends, flags))
QUARNEL_FAULTY(int, pipe, "pipe", everywhere, -1, (int* ends) noexcept, (ends))
