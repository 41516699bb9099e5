// The collector's private certificate authority and the server certificate that it issues.
#pragma once

#include <filesystem>

namespace collector {

class Certificates {
 public:
  // Makes what is missing in the folder or about to expire; an authority that exists is kept, so
  // that applications have to trust it only once. Throws std::runtime_error when a file cannot be
  // read, written or made sense of.
  explicit Certificates(const std::filesystem::path& folder);

  const std::filesystem::path& authority() const { return authority_; }
  const std::filesystem::path& server() const { return server_; }
  const std::filesystem::path& serverKey() const { return serverKey_; }

 private:
  std::filesystem::path authority_;
  std::filesystem::path server_;
  std::filesystem::path serverKey_;
};

}  // namespace collector
