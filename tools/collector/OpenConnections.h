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

  // From now on no answer waits.
  void endDelays();

  // Every connection, also one still to come, meets the end of its input; answers can be written.
  void endInput();

  // Waits for the time, or until the input of connections ends.
  void waitUnlessEnding(std::chrono::milliseconds time);

  // What a request may bring before its handler knows of it, and in all; a connection that brings
  // more is closed. Both count encrypted bytes.
  static constexpr long kMostHead = 256L << 10;
  static constexpr long kMostInAll = 80L << 20;

  // The calling thread's connection has sent the head of a request; or all of it.
  static void headIsRead();
  static void requestIsRead();

  // True once closeThisThreads was called: what the thread still has in its buffers is no request.
  static bool isThisThreadsClosed();

  // Closes the connection that the calling thread serves. There must be a thread for each.
  static void closeThisThreads();

 private:
  struct Connection {
    OpenConnections* owner;
    int socket;
  };

  static int connectionIndex();
  static void onProgress(const SSL* connection, int where, int result);
  static long onBytes(BIO* bio, int operation, const char* data, std::size_t size, int argument,
                      long number, int result, std::size_t* processed);
  static void onFree(void* parent, void* data, CRYPTO_EX_DATA* all, int index, long number,
                     void* argument);

  std::mutex mutex_;
  std::condition_variable ending_;
  std::set<Connection*> connections_;
  bool ended_ = false;
  bool isWithoutDelays_ = false;
};

}  // namespace collector
