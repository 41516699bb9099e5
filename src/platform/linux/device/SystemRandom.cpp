#include "platform/linux/device/SystemRandom.h"

#include <sys/random.h>

#include <cerrno>
#include <random>

namespace quarnel {
namespace {

std::uint32_t randomWord() {
  std::uint32_t word = 0;
  for (;;) {
    const ssize_t got = ::getrandom(&word, sizeof word, 0);
    if (got == static_cast<ssize_t>(sizeof word)) return word;
    // A sandbox may forbid the system call.
    if (got < 0 && errno != EINTR) return std::random_device()();
  }
}

}  // namespace

std::uint32_t SystemRandom::uniform(std::uint32_t bound) {
  if (bound == 0) return 0;
  // Words below this threshold would make the first few results more likely than the others.
  const std::uint32_t threshold = (0U - bound) % bound;
  for (;;) {
    const std::uint32_t word = randomWord();
    if (word >= threshold) return word % bound;
  }
}

}  // namespace quarnel
