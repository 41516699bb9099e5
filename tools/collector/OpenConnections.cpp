#include "OpenConnections.h"

#include <sys/socket.h>

namespace collector {
namespace {

// The socket of the connection that this thread serves.
thread_local int servedSocket = -1;

int contextIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

}  // namespace

int OpenConnections::connectionIndex() {
  static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, onFree);
  return index;
}

void OpenConnections::watch(SSL_CTX* context) {
  SSL_CTX_set_ex_data(context, contextIndex(), this);
  SSL_CTX_set_info_callback(context, onProgress);
}

void OpenConnections::onProgress(const SSL* connection, int where, int) {
  if (where != SSL_CB_HANDSHAKE_START || SSL_get_ex_data(connection, connectionIndex())) return;
  auto* self = static_cast<OpenConnections*>(
      SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), contextIndex()));
  auto* entry = new Connection{self, SSL_get_fd(connection)};
  servedSocket = entry->socket;
  SSL_set_ex_data(const_cast<SSL*>(connection), connectionIndex(), entry);
  const std::lock_guard lock(self->mutex_);
  self->connections_.insert(entry);
  if (self->ended_) shutdown(entry->socket, SHUT_RD);
}

// A connection is freed before its socket is closed, so a socket in the set is never another's.
void OpenConnections::onFree(void*, void* data, CRYPTO_EX_DATA*, int, long, void*) {
  auto* entry = static_cast<Connection*>(data);
  if (!entry) return;
  {
    const std::lock_guard lock(entry->owner->mutex_);
    entry->owner->connections_.erase(entry);
  }
  delete entry;
}

void OpenConnections::endInput() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  ending_.notify_all();
  for (const Connection* entry : connections_) shutdown(entry->socket, SHUT_RD);
}

void OpenConnections::waitUnlessEnding(std::chrono::milliseconds time) {
  if (time <= std::chrono::milliseconds(0)) return;
  std::unique_lock lock(mutex_);
  ending_.wait_for(lock, time, [this] { return ended_; });
}

void OpenConnections::closeThisThreads() { shutdown(servedSocket, SHUT_RDWR); }

}  // namespace collector
