#include "Http2Connection.h"

namespace quarnel::test {
namespace {

constexpr char kData = 0, kHeaders = 1, kReset = 3, kSettings = 4, kPing = 6, kGoAway = 7;
constexpr char kEndStream = 1, kAcknowledged = 1, kEndHeaders = 4;
constexpr std::size_t kPreface = 24;
constexpr std::size_t kFrameHead = 9;

std::string bigEndian(std::uint32_t number) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> shift);
  return bytes;
}

std::uint32_t number(const std::string& bytes) {
  std::uint32_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

}  // namespace

Http2Connection::Http2Connection(Connection& connection) : connection_(connection) {
  connection_.readExactly(kPreface);
  constexpr std::uint32_t kOneStream = 1;
  send(kSettings, 0, 0, std::string("\0\3", 2) + bigEndian(kOneStream));
}

std::optional<std::uint32_t> Http2Connection::readRequest() {
  for (;;) {
    const auto stream = readFrame();
    if (stream != 0) return stream;
  }
}

std::optional<std::uint32_t> Http2Connection::readRequestThatIsHere() {
  while (connection_.hasMore()) {
    const auto stream = readFrame();
    if (stream != 0) return stream;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> Http2Connection::readFrame() {
  const auto head = connection_.readExactly(kFrameHead);
  if (!head) return std::nullopt;
  const auto payload = connection_.readExactly(number(head->substr(0, 3)));
  if (!payload) return std::nullopt;
  const char type = (*head)[3];
  const char flags = (*head)[4];
  if (type == kPing && (flags & kAcknowledged) == 0) send(kPing, kAcknowledged, 0, *payload);
  if (type == kSettings && (flags & kAcknowledged) == 0) send(kSettings, kAcknowledged, 0, "");
  const bool isEnd = (type == kHeaders || type == kData) && (flags & kEndStream) != 0;
  return isEnd ? number(head->substr(5)) : 0;
}

void Http2Connection::answer(std::uint32_t stream) {
  const std::string status200 = "\x88";  // The entry of HPACK's static table.
  send(kHeaders, kEndHeaders | kEndStream, stream, status200);
}

void Http2Connection::reset(std::uint32_t stream, std::uint32_t error) {
  send(kReset, 0, stream, bigEndian(error));
}

void Http2Connection::goAway(std::uint32_t lastStream) {
  send(kGoAway, 0, 0, bigEndian(lastStream) + bigEndian(0));
}

void Http2Connection::send(char type, char flags, std::uint32_t stream,
                           const std::string& payload) {
  const auto size = static_cast<std::uint32_t>(payload.size());
  connection_.send(bigEndian(size).substr(1) + type + flags + bigEndian(stream) + payload);
}

}  // namespace quarnel::test
