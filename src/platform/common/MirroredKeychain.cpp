#include "platform/common/MirroredKeychain.h"

#include <utility>

namespace quarnel {
namespace {

Dictionary withData(Dictionary query, const Value& data) {
  query.set(std::string(kSecValueData), data);
  return query;
}

}  // namespace

MirroredKeychain::MirroredKeychain(Keychain& first, std::shared_ptr<Keychain> mirror,
                                   std::shared_ptr<SerialQueue> queue)
    : first_(first), mirror_(std::move(mirror)), queue_(std::move(queue)) {}

KeychainStatus MirroredKeychain::copyMatching(const Dictionary& query, Bytes* data) {
  const KeychainStatus status = first_.copyMatching(query, data);
  if (status == KeychainStatus::kSuccess) {
    queue_->post([mirror = mirror_, item = withData(query, *data)] { mirror->add(item); });
    return status;
  }
  if (mirror_->copyMatching(query, data) != KeychainStatus::kSuccess) return status;
  first_.add(withData(query, *data));
  return KeychainStatus::kSuccess;
}

KeychainStatus MirroredKeychain::add(const Dictionary& attributes) {
  Bytes known;
  if (copyMatching(attributes, &known) == KeychainStatus::kSuccess) {
    return KeychainStatus::kDuplicateItem;
  }
  const Change change = [attributes](Keychain& keychain) { return keychain.add(attributes); };
  return changeBoth(change, change);
}

KeychainStatus MirroredKeychain::update(const Dictionary& query, const Dictionary& changes) {
  // Brings back what only the mirror has.
  Bytes known;
  copyMatching(query, &known);
  return changeBoth([&](Keychain& keychain) { return keychain.update(query, changes); },
                    [query, changes](Keychain& keychain) {
                      const KeychainStatus status = keychain.update(query, changes);
                      const Value* const data = changes.find(kSecValueData);
                      if (status != KeychainStatus::kItemNotFound || data == nullptr) return status;
                      return keychain.add(withData(query, *data));
                    });
}

KeychainStatus MirroredKeychain::remove(const Dictionary& query) {
  Bytes known;
  copyMatching(query, &known);
  const Change change = [query](Keychain& keychain) { return keychain.remove(query); };
  return changeBoth(change, change);
}

KeychainStatus MirroredKeychain::changeBoth(const Change& change, Change mirrored) {
  const KeychainStatus status = change(first_);
  if (status == KeychainStatus::kFailure) return mirrored(*mirror_);
  if (status == KeychainStatus::kSuccess) {
    queue_->post([mirror = mirror_, mirrored = std::move(mirrored)] { mirrored(*mirror); });
  }
  return status;
}

}  // namespace quarnel
