#pragma once

#include <openssl/ssl.h>

namespace norvane::platform {

/// Makes a connection of `context` fail when its server sends more handshake messages than any server
/// needs. OpenSSL reads such messages within one call as long as there are more, so that a server that
/// never stops would block the calling thread for ever.
void LimitTlsMessages(SSL_CTX* context);

}  // namespace norvane::platform
