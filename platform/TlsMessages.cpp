#include "platform/TlsMessages.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/sslerr.h>

#include <cstdint>

namespace norvane::platform {
namespace {

/// A handshake has about eight; tickets and new keys may follow.
constexpr std::intptr_t MaxMessages = 64;

int CountIndex() {
  static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

void CountMessage(int isOurs, int, int type, const void*, std::size_t, SSL* ssl, void*) noexcept {
  if (isOurs != 0 || type != SSL3_RT_HANDSHAKE) return;
  const auto count = reinterpret_cast<std::intptr_t>(SSL_get_ex_data(ssl, CountIndex())) + 1;
  SSL_set_ex_data(ssl, CountIndex(), reinterpret_cast<void*>(count));
  if (count != MaxMessages) return;
  ERR_raise(ERR_LIB_SSL, SSL_R_EXCESSIVE_MESSAGE_SIZE);
  SSL_set0_rbio(ssl, BIO_new(BIO_s_null()));  // reads nothing more
}

}  // namespace

void LimitTlsMessages(SSL_CTX* context) {
  SSL_CTX_set_msg_callback(context, &CountMessage);
}

}  // namespace norvane::platform
