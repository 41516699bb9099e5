#include "platform/linux/keychain/session/SecretServiceKeychain.h"

#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/linux/keychain/KeychainAttribute.h"
#include "platform/linux/keychain/session/SdBus.h"

namespace quarnel {
namespace {

constexpr char kService[] = "org.freedesktop.secrets";
constexpr char kServicePath[] = "/org/freedesktop/secrets";
constexpr char kDefaultCollection[] = "/org/freedesktop/secrets/aliases/default";
constexpr char kServiceInterface[] = "org.freedesktop.Secret.Service";
constexpr char kCollectionInterface[] = "org.freedesktop.Secret.Collection";
constexpr char kItemInterface[] = "org.freedesktop.Secret.Item";
constexpr char kContentType[] = "application/octet-stream";

// A path that stands for none; in the place of a prompt it means that nobody has to be asked.
constexpr std::string_view kNoObject = "/";

constexpr std::chrono::milliseconds kTimeLimit{500};

struct ItemName {
  std::string itemClass, service, account, accessGroup;
};

// Absent when the query names no item, or one whose name cannot go over the bus.
std::optional<ItemName> itemName(const Dictionary& query, const std::string& ownAccessGroup) {
  const auto itemClass = keychainAttribute(query, kSecClass);
  const auto service = keychainAttribute(query, kSecAttrService);
  const auto account = keychainAttribute(query, kSecAttrAccount);
  const auto group = keychainAttribute(query, kSecAttrAccessGroup).value_or(ownAccessGroup);
  if (!itemClass || !service || !account) return std::nullopt;
  for (const std::string_view text : {*itemClass, *service, *account, group}) {
    if (text.find('\0') != std::string_view::npos) return std::nullopt;
  }
  return ItemName{std::string(*itemClass), std::string(*service), std::string(*account),
                  std::string(group)};
}

}  // namespace

// One conversation about one item.
class SecretServiceSession {
 public:
  SecretServiceSession(const SdBusLibrary& library, ItemName name, BusConnection::Deadline deadline)
      : bus_(library), name_(std::move(name)), connection_(library, deadline) {}

  bool open(const std::string& busAddress);
  bool isOverdue() const { return connection_.isOverdue(); }

  // kSuccess when the item is there and can be used; its path is kept for the other operations.
  KeychainStatus find();
  bool getData(Bytes* data);
  bool setData(std::string_view data);
  bool create(std::string_view data);
  bool remove();

 private:
  using Message = BusConnection::Message;

  // Values go over the bus as they are: it is a socket between processes of one user.
  bool appendSecret(const Message& message, std::string_view data) const;
  bool takeFirstPath(const Message& reply, std::string& path) const;

  const SdBusLibrary& bus_;
  const ItemName name_;
  BusConnection connection_;
  std::string session_;
  std::string item_;
};

bool SecretServiceSession::open(const std::string& busAddress) {
  if (!connection_.open(busAddress)) return false;
  const Message request =
      connection_.newCall(kService, kServicePath, kServiceInterface, "OpenSession");
  if (!request || bus_.append(request.get(), "sv", "plain", "s", "") < 0) return false;
  const Message reply = connection_.call(request);
  const char* path = nullptr;
  if (!reply || bus_.skip(reply.get(), "v") < 0 || bus_.read(reply.get(), "o", &path) <= 0) {
    return false;
  }
  session_ = path;
  return true;
}

// Takes an array of paths from the message; true when there is a first one.
bool SecretServiceSession::takeFirstPath(const Message& reply, std::string& path) const {
  const char* first = nullptr;
  if (bus_.enterContainer(reply.get(), 'a', "o") <= 0) return false;
  const bool found = bus_.read(reply.get(), "o", &first) > 0;
  if (found) path = first;
  while (bus_.read(reply.get(), "o", &first) > 0) {
  }
  return bus_.exitContainer(reply.get()) >= 0 && found;
}

KeychainStatus SecretServiceSession::find() {
  const Message request =
      connection_.newCall(kService, kServicePath, kServiceInterface, "SearchItems");
  if (!request || bus_.append(request.get(), "a{ss}", 4U, "class", name_.itemClass.c_str(),
                              "service", name_.service.c_str(), "account", name_.account.c_str(),
                              "access_group", name_.accessGroup.c_str()) < 0) {
    return KeychainStatus::kFailure;
  }
  const Message reply = connection_.call(request);
  if (!reply) return KeychainStatus::kFailure;
  std::string locked;
  if (takeFirstPath(reply, item_)) return KeychainStatus::kSuccess;
  return takeFirstPath(reply, locked) ? KeychainStatus::kFailure : KeychainStatus::kItemNotFound;
}

bool SecretServiceSession::getData(Bytes* data) {
  const Message request = connection_.newCall(kService, item_, kItemInterface, "GetSecret");
  if (!request || bus_.append(request.get(), "o", session_.c_str()) < 0) return false;
  const Message reply = connection_.call(request);
  const void* content = nullptr;
  std::size_t size = 0;
  if (!reply || bus_.enterContainer(reply.get(), 'r', "oayays") <= 0 ||
      bus_.skip(reply.get(), "oay") < 0 || bus_.readArray(reply.get(), 'y', &content, &size) < 0) {
    return false;
  }
  const auto* const bytes = static_cast<const std::uint8_t*>(content);
  data->assign(bytes, bytes + size);
  return true;
}

bool SecretServiceSession::appendSecret(const Message& message, std::string_view data) const {
  return bus_.openContainer(message.get(), 'r', "oayays") >= 0 &&
         bus_.append(message.get(), "o", session_.c_str()) >= 0 &&
         bus_.appendArray(message.get(), 'y', nullptr, 0) >= 0 &&
         bus_.appendArray(message.get(), 'y', data.data(), data.size()) >= 0 &&
         bus_.append(message.get(), "s", kContentType) >= 0 &&
         bus_.closeContainer(message.get()) >= 0;
}

bool SecretServiceSession::setData(std::string_view data) {
  const Message request = connection_.newCall(kService, item_, kItemInterface, "SetSecret");
  return request && appendSecret(request, data) && connection_.call(request) != nullptr;
}

bool SecretServiceSession::create(std::string_view data) {
  const Message request =
      connection_.newCall(kService, kDefaultCollection, kCollectionInterface, "CreateItem");
  const std::string label = name_.service + " " + name_.account;
  // Replacing: of two processes that add the same item at the same time one is to win.
  if (!request ||
      bus_.append(request.get(), "a{sv}", 2U, "org.freedesktop.Secret.Item.Label", "s",
                  label.c_str(), "org.freedesktop.Secret.Item.Attributes", "a{ss}", 4U, "class",
                  name_.itemClass.c_str(), "service", name_.service.c_str(), "account",
                  name_.account.c_str(), "access_group", name_.accessGroup.c_str()) < 0 ||
      !appendSecret(request, data) || bus_.append(request.get(), "b", 1) < 0) {
    return false;
  }
  const Message reply = connection_.call(request);
  const char* item = nullptr;
  const char* prompt = nullptr;
  return reply && bus_.read(reply.get(), "oo", &item, &prompt) > 0 && prompt == kNoObject;
}

bool SecretServiceSession::remove() {
  const Message reply =
      connection_.call(connection_.newCall(kService, item_, kItemInterface, "Delete"));
  const char* prompt = nullptr;
  return reply && bus_.read(reply.get(), "o", &prompt) > 0 && prompt == kNoObject;
}

SecretServiceKeychain::SecretServiceKeychain(std::string busAddress, std::string ownAccessGroup,
                                             std::chrono::milliseconds timeLimit)
    : busAddress_(std::move(busAddress)),
      ownAccessGroup_(std::move(ownAccessGroup)),
      timeLimit_(timeLimit) {}

KeychainStatus SecretServiceKeychain::talk(
    const Dictionary& query, const std::function<KeychainStatus(SecretServiceSession&)>& about) {
  auto name = itemName(query, ownAccessGroup_);
  const SdBusLibrary* const library = name && !isGivenUp_ ? SdBusLibrary::load() : nullptr;
  if (library == nullptr) return KeychainStatus::kFailure;
  SecretServiceSession session(*library, *std::move(name),
                               std::chrono::steady_clock::now() + timeLimit_);
  const auto status = session.open(busAddress_) ? about(session) : KeychainStatus::kFailure;
  if (session.isOverdue()) isGivenUp_ = true;
  return status;
}

KeychainStatus SecretServiceKeychain::copyMatching(const Dictionary& query, Bytes* data) {
  return talk(query, [data](SecretServiceSession& session) {
    const KeychainStatus found = session.find();
    if (found != KeychainStatus::kSuccess) return found;
    return session.getData(data) ? found : KeychainStatus::kFailure;
  });
}

KeychainStatus SecretServiceKeychain::add(const Dictionary& attributes) {
  const auto data = keychainAttribute(attributes, kSecValueData);
  if (!data) return KeychainStatus::kFailure;
  return talk(attributes, [&data](SecretServiceSession& session) {
    switch (session.find()) {
      case KeychainStatus::kSuccess:
        return KeychainStatus::kDuplicateItem;
      case KeychainStatus::kItemNotFound:
        return session.create(*data) ? KeychainStatus::kSuccess : KeychainStatus::kFailure;
      default:
        return KeychainStatus::kFailure;
    }
  });
}

KeychainStatus SecretServiceKeychain::update(const Dictionary& query, const Dictionary& changes) {
  const auto data = keychainAttribute(changes, kSecValueData);
  if (!data) return KeychainStatus::kFailure;
  return talk(query, [&data](SecretServiceSession& session) {
    const KeychainStatus found = session.find();
    if (found != KeychainStatus::kSuccess) return found;
    return session.setData(*data) ? found : KeychainStatus::kFailure;
  });
}

KeychainStatus SecretServiceKeychain::remove(const Dictionary& query) {
  return talk(query, [](SecretServiceSession& session) {
    const KeychainStatus found = session.find();
    if (found != KeychainStatus::kSuccess) return found;
    return session.remove() ? found : KeychainStatus::kFailure;
  });
}

std::unique_ptr<Keychain> makeSessionKeychain(std::string ownAccessGroup) {
  const char* const variable = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  const std::string_view address(variable == nullptr ? "" : variable);
  // The other transports start a program, or ask for a host name with no limit of time.
  if (address.substr(0, 5) != "unix:" || address.find(';') != std::string_view::npos) {
    return nullptr;
  }
  return std::make_unique<SecretServiceKeychain>(std::string(address), std::move(ownAccessGroup),
                                                 kTimeLimit);
}

}  // namespace quarnel
