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

/// The stand-in backend's own certificate authority, and the certificates that it shows. (Internal: not
/// installed.)
///
/// The authority and the server's certificate lie in a folder (`ca.pem`, `ca.key`, `server.pem`,
/// `server.key`; keys 0600) and are used again by the next run, so that a client goes on trusting them. The
/// wrong ones are made in memory, anew each time.
class Certificates {
 public:
  /// Loads what the folder holds, makes what is missing, unreadable, about to expire, or does not name each
  /// of the hosts. Throws `std::runtime_error`.
  Certificates(const std::filesystem::path& folder, const std::vector<std::string>& hosts);

  [[nodiscard]] const std::filesystem::path& authorityFile() const { return authorityFile_; }
  [[nodiscard]] SSL_CTX* right() const { return right_.get(); }
  [[nodiscard]] SSL_CTX* wrongAuthority() const { return wrongAuthority_.get(); }
  [[nodiscard]] SSL_CTX* wrongHostName() const { return wrongHostName_.get(); }
  [[nodiscard]] SSL_CTX* expired() const { return expired_.get(); }
  /// For one of the hosts; otherwise the right one.
  [[nodiscard]] SSL_CTX* commonNameOnly(std::string_view host) const;

 private:
  std::filesystem::path authorityFile_;
  SslContext right_;
  SslContext wrongAuthority_;
  SslContext wrongHostName_;
  SslContext expired_;
  std::map<std::string, SslContext, std::less<>> commonNameOnly_;
};

/// Replaces a file whole, readable by the owner only. Throws `std::runtime_error`.
void writePrivateFile(const std::filesystem::path& path, const std::string& contents);

}  // namespace tidewell::testing
