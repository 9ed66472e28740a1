#pragma once

#include <openssl/ssl.h>

namespace norvane::platform {

/// Bits of a key in a server's certificates at most.
inline constexpr int MaxTlsKeyBits = 8192;
inline constexpr int MaxTlsExponentBits = 64;
// The verification results of a chain with a longer one. No check of ours gives them otherwise.
inline constexpr int TlsKeyTooLong = X509_V_ERR_APPLICATION_VERIFICATION;
inline constexpr int TlsExponentTooLong = X509_V_ERR_UNNESTED_RESOURCE;

/// Bounds what a server can make a connection of `context` cost in one call of OpenSSL, which goes on as long
/// as there is something to read, and computes with whatever numbers it is given:
/// - handshake messages, their fragments, and small records, of which more than any server needs make the
///   connection fail,
/// - the number of certificates and the length of their keys, also on a connection that verifies nothing,
/// - Diffie-Hellman over finite fields, which isn't offered.
void LimitTls(SSL_CTX* context);

}  // namespace norvane::platform
