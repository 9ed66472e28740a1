#pragma once

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace norvane::loopback {

struct FreeSsl {
  void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const noexcept { X509_free(certificate); }
  void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
  void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
  void operator()(EVP_PKEY_CTX* context) const noexcept { EVP_PKEY_CTX_free(context); }
};
using PrivateKey = std::unique_ptr<EVP_PKEY, FreeSsl>;
using Certificate = std::unique_ptr<X509, FreeSsl>;
using TlsContext = std::unique_ptr<SSL_CTX, FreeSsl>;
using TlsConnection = std::unique_ptr<SSL, FreeSsl>;

/// A server's certificate and key; shared, since both count their users.
struct Identity {
  std::shared_ptr<X509> certificate;
  std::shared_ptr<EVP_PKEY> key;
  std::vector<std::shared_ptr<X509>> others{};  ///< sent along
  const char* groups = nullptr;  ///< of the key exchange, as OpenSSL lists them; its own without
};

/// Makes certificates that only a test trusts.
class CertificateAuthority {
 public:
  CertificateAuthority();
  /// For an IP address or a DNS name, valid from and until so many days from now (negative: in the past).
  [[nodiscard]] Identity Issue(const std::string& host, int fromDay = -1, int untilDay = 1) const;
  /// For an RSA key of so many bytes whose private part nobody has.
  [[nodiscard]] std::shared_ptr<X509> IssueForLongKey(std::size_t bytes, std::size_t exponentBytes = 3) const;
  /// The same for a key that the server has, by way of so many authorities in between, with this key too.
  [[nodiscard]] Identity IssueFor(const std::string& host, const std::shared_ptr<EVP_PKEY>& key,
                                  int authorities = 0) const;
  /// Writes the authority's own certificate as PEM and gives the path back.
  std::string WriteTo(const std::string& path) const;

 private:
  PrivateKey m_key;
  Certificate m_certificate;
};

/// A server's TLS context; null without an identity.
[[nodiscard]] TlsContext ServerContext(const Identity* identity);

}  // namespace norvane::loopback
