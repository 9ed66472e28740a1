#pragma once

#include <openssl/ssl.h>

namespace norvane::platform {

/// Makes a connection of `context` fail when its server sends more messages of TLS itself than any server has
/// need of. Within one call OpenSSL takes the next one for as long as there is one, so that a server that
/// never stops would hold the calling thread for ever.
void LimitTlsMessages(SSL_CTX* context);

}  // namespace norvane::platform
