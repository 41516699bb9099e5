#include "platform/linux/store/FormerCounters.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/linux/store/FileDescriptor.h"

namespace quarnel {
namespace {

constexpr std::uint64_t kMagic = 0x31746e756f636e71;  // "qncount1"

// FNV-1a over what stands before the checksum.
std::uint64_t checksumOf(const std::uint64_t* first, const std::uint64_t* last) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (; first != last; ++first) {
    for (int shift = 0; shift < 64; shift += 8) {
      hash = (hash ^ (*first >> shift & 0xff)) * 0x100000001b3;
    }
  }
  return hash;
}

}  // namespace

CounterStore::Totals readFormerCounters(const std::string& path) {
  constexpr std::size_t kFormerCounters = 16;
  std::array<std::uint64_t, kFormerCounters + 2> image{};  // Magic number, counters, checksum.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  const bool isSound =
      file.valid() && ::read(file.get(), image.data(), sizeof image) == sizeof image &&
      image.front() == kMagic && image.back() == checksumOf(image.begin(), image.end() - 1);
  CounterStore::Totals totals{};
  if (!isSound) return totals;
  // The ones that it had.
  constexpr auto kKnown = static_cast<std::size_t>(Tally::kUnreadableRecord) + 1;
  std::copy_n(image.begin() + 1, kKnown, totals.begin());
  totals[Tally::kAccepted] = std::min(totals[Tally::kAccepted], totals.ended());
  return totals;
}

}  // namespace quarnel
