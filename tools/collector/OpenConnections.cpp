#include "OpenConnections.h"

#include <sys/socket.h>

namespace collector {
namespace {

// The socket of the connection that this thread serves.
thread_local int servedSocket = -1;
thread_local bool isServedClosed = false;
// How many bytes it may still send before the head of a request, or all of it, is read.
thread_local long bytesLeft = 0;

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
  isServedClosed = false;
  bytesLeft = kMostHead;
  BIO_set_callback_ex(SSL_get_rbio(connection), onBytes);
  SSL_set_ex_data(const_cast<SSL*>(connection), connectionIndex(), entry);
  const std::lock_guard lock(self->mutex_);
  self->connections_.insert(entry);
  if (self->ended_) shutdown(entry->socket, SHUT_RD);
}

long OpenConnections::onBytes(BIO*, int operation, const char*, std::size_t, int, long, int result,
                              std::size_t* processed) {
  if (operation != (BIO_CB_READ | BIO_CB_RETURN) || result <= 0 || !processed) return result;
  bytesLeft -= static_cast<long>(*processed);
  if (bytesLeft >= 0) return result;
  closeThisThreads();
  *processed = 0;
  return -1;  // What is still on its way is not read either.
}

void OpenConnections::headIsRead() { bytesLeft = kMostInAll; }

void OpenConnections::requestIsRead() { bytesLeft = kMostHead; }

bool OpenConnections::isThisThreadsClosed() { return isServedClosed; }

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

void OpenConnections::endDelays() {
  const std::lock_guard lock(mutex_);
  isWithoutDelays_ = true;
  ending_.notify_all();
}

void OpenConnections::endInput() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  for (const Connection* entry : connections_) shutdown(entry->socket, SHUT_RD);
}

void OpenConnections::waitUnlessEnding(std::chrono::milliseconds time) {
  if (time <= std::chrono::milliseconds(0)) return;
  std::unique_lock lock(mutex_);
  ending_.wait_for(lock, time, [this] { return isWithoutDelays_; });
}

void OpenConnections::closeThisThreads() {
  isServedClosed = true;
  shutdown(servedSocket, SHUT_RDWR);
}

}  // namespace collector
