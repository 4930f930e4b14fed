// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/ssl.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tidewell::testing {

struct SslContextDeleter {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContext = std::unique_ptr<SSL_CTX, SslContextDeleter>;

/// The stand-in backend's certificate authority and its server certificates.
///
/// The authority and the right certificate are stored in a folder (`ca.pem`, `ca.key`, `server.pem`,
/// `server.key`; keys with mode 0600) and reused by later runs, so that clients keep trusting them. The wrong
/// certificates are created in memory each time.
class Certificates {
 public:
  /// Loads the files in the folder. Creates those that are missing, unreadable, about to expire, or do not
  /// name every host. Throws `std::runtime_error`.
  Certificates(const std::filesystem::path& folder, const std::vector<std::string>& hosts);

  [[nodiscard]] const std::filesystem::path& authorityFile() const { return authorityFile_; }
  [[nodiscard]] SSL_CTX* right() const { return right_.get(); }
  [[nodiscard]] SSL_CTX* wrongAuthority() const { return wrongAuthority_.get(); }
  [[nodiscard]] SSL_CTX* wrongHostName() const { return wrongHostName_.get(); }
  [[nodiscard]] SSL_CTX* expired() const { return expired_.get(); }
  /// The certificate for one of the hosts; the right one for any other name.
  [[nodiscard]] SSL_CTX* commonNameOnly(std::string_view host) const;

 private:
  std::filesystem::path authorityFile_;
  SslContext right_;
  SslContext wrongAuthority_;
  SslContext wrongHostName_;
  SslContext expired_;
  std::map<std::string, SslContext, std::less<>> commonNameOnly_;
};

/// Replaces a file atomically, readable only by its owner. Throws `std::runtime_error`.
void writePrivateFile(const std::filesystem::path& path, const std::string& contents);

}  // namespace tidewell::testing
