#pragma once

#include <openssl/ssl.h>

namespace norvane::platform {

/// Bits of a key in a server's certificates at most.
inline constexpr int MaxTlsKeyBits = 8192;
/// The verification result of a chain with a longer one.
inline constexpr int TlsKeyTooLong = X509_V_ERR_APPLICATION_VERIFICATION;

/// Bounds what a server can make a connection of `context` cost in one call of OpenSSL, which goes on as long
/// as there is something to read, and computes with whatever numbers it is given:
/// - handshake messages, their fragments, and small records, of which more than any server needs make the
///   connection fail,
/// - the number of certificates and the length of their keys, also on a connection that verifies nothing,
/// - Diffie-Hellman over finite fields, which isn't offered.
void LimitTls(SSL_CTX* context);

}  // namespace norvane::platform
