#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

namespace quarnel {

// Bounds how much may wait at a time, so that an application that asks faster than the library can
// work does not fill its own memory. What is admitted carries a ticket, whose end gives the place
// back. Lock-free; callable from any thread.
class Admission {
 public:
  struct Limits {
    std::size_t pieces = 0;
    std::size_t bytes = 0;  // One piece is admitted whatever its size, when nothing else waits.
  };

  explicit Admission(Limits limits) : limits_(limits) {}

  class Ticket {
   public:
    Ticket(Admission& admission, std::size_t bytes) : admission_(admission), bytes_(bytes) {}
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;
    ~Ticket() { admission_.release(bytes_); }

   private:
    Admission& admission_;
    const std::size_t bytes_;
  };
  // Shared, as tasks are copyable.
  using SharedTicket = std::shared_ptr<const Ticket>;

  // Null when the limits are reached. The ticket must not outlive the admission.
  SharedTicket admit(std::size_t bytes) {
    const std::size_t pieces = ++pieces_;
    const std::size_t total = bytes_ += bytes;
    if (pieces > limits_.pieces || (total > limits_.bytes && pieces > 1)) {
      release(bytes);
      return nullptr;
    }
    return std::make_shared<const Ticket>(*this, bytes);
  }

  std::size_t pieces() const { return pieces_; }

 private:
  void release(std::size_t bytes) {
    bytes_ -= bytes;
    --pieces_;
  }

  const Limits limits_;
  std::atomic<std::size_t> pieces_ = 0;
  std::atomic<std::size_t> bytes_ = 0;
};

}  // namespace quarnel
