// The connections that a TLS context has open, so that a server can end without waiting for clients
// that keep theirs alive.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>

namespace collector {

class OpenConnections {
 public:
  // From now on connections of this context are known. It must not outlive this object.
  void watch(SSL_CTX* context);

  // Every connection, also one still to come, meets the end of its input; answers can be written.
  void endInput();

  // Waits for the time, or until the input of connections ends.
  void waitUnlessEnding(std::chrono::milliseconds time);

  // Closes the connection that the calling thread serves. There must be a thread for each.
  static void closeThisThreads();

 private:
  struct Connection {
    OpenConnections* owner;
    int socket;
  };

  static int connectionIndex();
  static void onProgress(const SSL* connection, int where, int result);
  static void onFree(void* parent, void* data, CRYPTO_EX_DATA* all, int index, long number,
                     void* argument);

  std::mutex mutex_;
  std::condition_variable ending_;
  std::set<Connection*> connections_;
  bool ended_ = false;
};

}  // namespace collector
