#pragma once

#include <functional>
#include <memory>

#include "platform/Dispatcher.h"
#include "platform/Keychain.h"

namespace quarnel {

// A keychain with a second one as its mirror, which may come and go.
//
// What the first one holds is what counts; the mirror gives back what the first one has lost, and
// takes its part while that fails. A changed item is written to the mirror afterwards, on a queue;
// an item that is found is added to the mirror if it is not there. An item that is in both with
// different data stays so until it is updated.
class MirroredKeychain final : public Keychain {
 public:
  // The mirror lives until the queue's last task is done.
  MirroredKeychain(Keychain& first, std::shared_ptr<Keychain> mirror,
                   std::shared_ptr<SerialQueue> queue);

  KeychainStatus add(const Dictionary& attributes) override;
  KeychainStatus copyMatching(const Dictionary& query, Bytes* data) override;
  KeychainStatus update(const Dictionary& query, const Dictionary& changes) override;
  KeychainStatus remove(const Dictionary& query) override;

 private:
  using Change = std::function<KeychainStatus(Keychain&)>;

  KeychainStatus changeBoth(const Change& change, Change mirrored);

  Keychain& first_;
  const std::shared_ptr<Keychain> mirror_;
  const std::shared_ptr<SerialQueue> queue_;
};

}  // namespace quarnel
