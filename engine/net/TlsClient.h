#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <optional>
#include <string>

#include "platform/FileStamp.h"

namespace norvane::engine {

struct SslFree {
  void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
  void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
  void operator()(X509_STORE* store) const noexcept { X509_STORE_free(store); }
};
using SslConnection = std::unique_ptr<SSL, SslFree>;

/// The client's side of TLS 1.2 and later: one OpenSSL context for all connections, since reading the
/// authorities takes longer than a handshake. One thread, which has SIGPIPE blocked or ignored.
class TlsClient {
 public:
  /// `caFile` is a PEM file of the authorities that are trusted; it is read when a certificate is to be
  /// verified for the first time, and anew when it has changed.
  explicit TlsClient(std::string caFile);

  /// A connection over the socket `fd`, ready for its handshake. With `verifies` the handshake fails unless
  /// the certificate's chain is trusted and it is for `host`, a DNS name or a bare IP address. Null when the
  /// file of authorities cannot be read, which is tried anew each time.
  [[nodiscard]] SslConnection Connect(int fd, const std::string& host, bool verifies);

  /// Makes `context` verify by the same authorities. False as above.
  [[nodiscard]] bool ShareAuthorities(SSL_CTX* context);
  /// The last connection lacked them, and they cannot be read yet.
  [[nodiscard]] bool AreAuthoritiesUnreadable() { return m_areUnreadable && !LoadAuthorities(); }

  /// Why the handshake of `ssl` with `host` failed, for the user; right after it has.
  [[nodiscard]] static std::string HandshakeFailure(const SSL* ssl, const std::string& host);

 private:
  bool LoadAuthorities();

  std::string m_caFile;
  std::unique_ptr<SSL_CTX, SslFree> m_context;
  std::optional<platform::FileStamp> m_authoritiesOf;  // the file when they were read
  bool m_areUnreadable = false;
};

}  // namespace norvane::engine
