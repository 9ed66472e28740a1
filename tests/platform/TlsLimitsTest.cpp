#include "platform/TlsLimits.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace norvane::platform {
namespace {

TEST(TlsLimits, FiniteFieldDiffieHellmanIsNotOffered) {
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_client_method()),
                                                                  &SSL_CTX_free);
  LimitTls(context.get());
  const std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context.get()), &SSL_free);
  auto* offered = SSL_get1_supported_ciphers(ssl.get());
  std::string names;
  for (int i = 0; i < sk_SSL_CIPHER_num(offered); ++i)
    names += SSL_CIPHER_get_name(sk_SSL_CIPHER_value(offered, i)) + std::string(" ");
  sk_SSL_CIPHER_free(offered);
  EXPECT_EQ((" " + names).find(" DHE-"), std::string::npos) << names;
  EXPECT_NE(names.find("ECDHE-RSA-AES128-GCM-SHA256"), std::string::npos) << names;
}

}  // namespace
}  // namespace norvane::platform
