// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/internal/Certificates.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace tidewell::testing {
namespace {

constexpr long kDay = 24L * 60 * 60;
constexpr long kAuthorityLife = 3650 * kDay;
constexpr long kServerLife = 397 * kDay;  // the maximum that clients accept
constexpr int kRenewBeforeDays = 7;

struct Deleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
  void operator()(BIO* bio) const { BIO_free_all(bio); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

struct Identity {
  Owned<EVP_PKEY> key;
  Owned<X509> certificate;
};

struct Validity {
  long from;  // seconds from now
  long to;
};

[[noreturn]] void fail(std::string what) {
  if (const auto code = ERR_peek_last_error(); code != 0) {
    what += std::string(": ") + ERR_reason_error_string(code);
  }
  ERR_clear_error();
  throw std::runtime_error(what);
}

void require(bool done, const char* what) {
  if (!done) fail(what);
}

void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "cannot extend a certificate");
}

/// A new key with an unsigned certificate for it, complete except for extensions.
Identity newIdentity(std::string_view name, Validity validity, X509* issuer) {
  Identity identity{Owned<EVP_PKEY>(EVP_EC_gen("P-256")), Owned<X509>(X509_new())};
  require(identity.key && identity.certificate, "cannot make a key");
  X509* certificate = identity.certificate.get();
  unsigned char serial[16];
  require(RAND_bytes(serial, sizeof serial) == 1, "no random bytes");
  serial[0] = static_cast<unsigned char>((serial[0] & 0x7f) | 0x40);  // positive, and of fixed length
  BIGNUM* number = BN_bin2bn(serial, sizeof serial, nullptr);
  const bool numbered =
      number != nullptr && BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate)) != nullptr;
  BN_free(number);
  X509_NAME* subject = X509_get_subject_name(certificate);
  // A common name is limited to 64 characters; alternative names hold the complete host names.
  const std::string commonName(name.substr(0, 64));
  require(numbered && X509_set_version(certificate, X509_VERSION_3) == 1 &&
              X509_NAME_add_entry_by_txt(subject, "O", MBSTRING_UTF8,
                                         reinterpret_cast<const unsigned char*>("Tidewell stand-in backend"),
                                         -1, -1, 0) == 1 &&
              X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                         reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1,
                                         0) == 1 &&
              X509_gmtime_adj(X509_getm_notBefore(certificate), validity.from) != nullptr &&
              X509_gmtime_adj(X509_getm_notAfter(certificate), validity.to) != nullptr &&
              X509_set_pubkey(certificate, identity.key.get()) == 1 &&
              X509_set_issuer_name(certificate, issuer ? X509_get_subject_name(issuer) : subject) == 1,
          "cannot fill in a certificate");
  return identity;
}

Identity makeAuthority(std::string_view name) {
  Identity authority = newIdentity(name, {-kDay, kAuthorityLife}, nullptr);
  X509* certificate = authority.certificate.get();
  addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
  require(X509_sign(certificate, authority.key.get(), EVP_sha256()) != 0, "cannot sign a certificate");
  return authority;
}

std::string alternativeNames(const std::vector<std::string>& hosts) {
  std::string names = "IP:127.0.0.1";
  for (const auto& host : hosts) names += ",DNS:" + host;
  return names;
}

enum class HostNames { alternative, commonOnly };

Identity makeServer(const Identity& authority, const std::vector<std::string>& hosts, Validity validity,
                    HostNames names = HostNames::alternative) {
  X509* issuer = authority.certificate.get();
  Identity server = newIdentity(hosts.front(), validity, issuer);
  X509* certificate = server.certificate.get();
  addExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature");
  addExtension(certificate, issuer, NID_ext_key_usage, "serverAuth");
  addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
  addExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
  if (names == HostNames::alternative) {
    addExtension(certificate, issuer, NID_subject_alt_name, alternativeNames(hosts));
  }
  require(X509_sign(certificate, authority.key.get(), EVP_sha256()) != 0, "cannot sign a certificate");
  return server;
}

std::string text(BIO* bio) {
  char* start = nullptr;
  const long length = BIO_get_mem_data(bio, &start);
  return std::string(start, static_cast<std::size_t>(length));
}

std::string certificateText(const Identity& identity) {
  const Owned<BIO> bio(BIO_new(BIO_s_mem()));
  require(bio && PEM_write_bio_X509(bio.get(), identity.certificate.get()) == 1,
          "cannot write a certificate");
  return text(bio.get());
}

std::string keyText(const Identity& identity) {
  const Owned<BIO> bio(BIO_new(BIO_s_mem()));
  require(bio && PEM_write_bio_PrivateKey(bio.get(), identity.key.get(), nullptr, nullptr, 0, nullptr,
                                          nullptr) == 1,
          "cannot write a key");
  return text(bio.get());
}

/// No value if the files are missing, unreadable, inconsistent, or about to expire.
std::optional<Identity> load(const std::filesystem::path& certificateFile,
                             const std::filesystem::path& keyFile) {
  const Owned<BIO> certificateBio(BIO_new_file(certificateFile.c_str(), "re"));
  const Owned<BIO> keyBio(BIO_new_file(keyFile.c_str(), "re"));
  Identity identity;
  if (certificateBio && keyBio) {
    identity.certificate.reset(PEM_read_bio_X509(certificateBio.get(), nullptr, nullptr, nullptr));
    identity.key.reset(PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr));
  }
  int daysLeft = 0;
  int secondsLeft = 0;
  const bool usable =
      identity.certificate && identity.key &&
      X509_check_private_key(identity.certificate.get(), identity.key.get()) == 1 &&
      ASN1_TIME_diff(&daysLeft, &secondsLeft, nullptr, X509_get0_notAfter(identity.certificate.get())) == 1 &&
      daysLeft >= kRenewBeforeDays;
  ERR_clear_error();
  if (!usable) return std::nullopt;
  return identity;
}

bool isFor(const Identity& server, const Identity& authority, const std::vector<std::string>& hosts) {
  const bool ours = X509_verify(server.certificate.get(), X509_get0_pubkey(authority.certificate.get())) == 1;
  ERR_clear_error();
  return ours && std::all_of(hosts.begin(), hosts.end(), [&](const std::string& host) {
           return X509_check_host(server.certificate.get(), host.data(), host.size(), 0, nullptr) == 1;
         });
}

void save(const Identity& identity, const std::filesystem::path& certificateFile,
          const std::filesystem::path& keyFile) {
  writePrivateFile(keyFile, keyText(identity));
  writePrivateFile(certificateFile, certificateText(identity));
}

SslContext makeContext(const Identity& server) {
  SslContext context(SSL_CTX_new(TLS_server_method()));
  require(context && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1 &&
              SSL_CTX_use_certificate(context.get(), server.certificate.get()) == 1 &&
              SSL_CTX_use_PrivateKey(context.get(), server.key.get()) == 1,
          "cannot set up TLS");
  // A resumed session presents no certificate, so a wrong one would go unnoticed.
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(context.get(), 0);
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                      SSL_MODE_RELEASE_BUFFERS);
  return context;
}

/// Keeps a second process from creating another authority in the same folder simultaneously.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder)
      : descriptor_(::open((folder / ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (descriptor_ < 0 || ::flock(descriptor_, LOCK_EX) != 0) {
      const auto reason = std::generic_category().message(errno);
      if (descriptor_ >= 0) ::close(descriptor_);
      throw std::runtime_error("cannot write in " + folder.string() + ": " + reason);
    }
  }
  ~FolderLock() { ::close(descriptor_); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int descriptor_;
};

void makeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return;
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path(), error);
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    throw std::runtime_error("cannot make " + folder.string() + ": " +
                             std::generic_category().message(errno));
  }
}

void checkHostNames(const std::vector<std::string>& hosts) {
  constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-";
  for (const auto& host : hosts) {
    if (host.empty() || host.find_first_not_of(allowed) != std::string::npos) {
      throw std::runtime_error("not a host name: \"" + host + "\"");
    }
  }
}

}  // namespace

void writePrivateFile(const std::filesystem::path& path, const std::string& contents) {
  std::string beside = path.string() + ".XXXXXX";
  const int descriptor = ::mkostemp(beside.data(), O_CLOEXEC);  // mode 0600
  bool written = descriptor >= 0;
  std::string_view rest = contents;
  while (written && !rest.empty()) {
    const auto count = ::write(descriptor, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    written = count >= 0;
    if (written) rest.remove_prefix(static_cast<std::size_t>(count));
  }
  written = written && ::rename(beside.c_str(), path.c_str()) == 0;
  const int error = errno;
  if (descriptor >= 0) ::close(descriptor);
  if (written) return;
  if (descriptor >= 0) ::unlink(beside.c_str());
  throw std::runtime_error("cannot write " + path.string() + ": " + std::generic_category().message(error));
}

Certificates::Certificates(const std::filesystem::path& folder, const std::vector<std::string>& hosts)
    : authorityFile_(folder / "ca.pem") {
  checkHostNames(hosts);
  makeFolder(folder);
  const FolderLock lock(folder);

  auto authority = load(authorityFile_, folder / "ca.key");
  if (!authority) {
    authority = makeAuthority("Tidewell stand-in authority");
    save(*authority, authorityFile_, folder / "ca.key");
  }
  auto server = load(folder / "server.pem", folder / "server.key");
  if (!server || !isFor(*server, *authority, hosts)) {
    server = makeServer(*authority, hosts, {-kDay, kServerLife});
    save(*server, folder / "server.pem", folder / "server.key");
  }

  right_ = makeContext(*server);
  wrongAuthority_ = makeContext(makeServer(makeAuthority("Another authority"), hosts, {-kDay, kServerLife}));
  wrongHostName_ = makeContext(makeServer(*authority, {"wrong.host.invalid"}, {-kDay, kServerLife}));
  expired_ = makeContext(makeServer(*authority, hosts, {-2 * kDay, -kDay}));
  for (const std::string& host : hosts) {
    commonNameOnly_[host] =
        makeContext(makeServer(*authority, {host}, {-kDay, kServerLife}, HostNames::commonOnly));
  }
}

SSL_CTX* Certificates::commonNameOnly(std::string_view host) const {
  const auto found = commonNameOnly_.find(host);
  return found == commonNameOnly_.end() ? right() : found->second.get();
}

}  // namespace tidewell::testing
