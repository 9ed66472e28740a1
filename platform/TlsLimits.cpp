#include "platform/TlsLimits.h"

#include <openssl/bio.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/sslerr.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace norvane::platform {
namespace {

/// What a connection may cost, in small records. A handshake has about eight messages in as many records,
/// tickets and new keys may follow; and servers put the frames of chunks into records of their own.
constexpr std::intptr_t MaxCost = 32 << 10;
constexpr std::intptr_t MessageCost = MaxCost / 64;
constexpr std::intptr_t HandshakeRecordCost = MaxCost / 256;
constexpr std::size_t SmallRecord = 96;

constexpr std::size_t MaxCertificateBytes = 64 << 10;
constexpr int MaxCertificates = 32;
constexpr int MaxChainDepth = 10;

int CostIndex() {
  static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

/// What the server sent is then all that is ever read.
void Break(SSL* ssl, int reason) noexcept {
  ERR_raise(ERR_LIB_SSL, reason);
  SSL_set0_rbio(ssl, BIO_new(BIO_s_null()));
}

void AddCost(SSL* ssl, std::intptr_t cost, int reason) noexcept {
  const auto before = reinterpret_cast<std::intptr_t>(SSL_get_ex_data(ssl, CostIndex()));
  const auto after = std::max<std::intptr_t>(before + cost, 0);
  SSL_set_ex_data(ssl, CostIndex(), reinterpret_cast<void*>(after));
  if (before < MaxCost && after >= MaxCost) Break(ssl, reason);
}

/// Reads a length of `size` bytes off the start of `bytes`, and so many bytes behind it.
std::basic_string_view<unsigned char> CutField(std::basic_string_view<unsigned char>& bytes,
                                               std::size_t size) noexcept {
  std::size_t length = 0;
  for (; size > 0 && !bytes.empty(); --size, bytes.remove_prefix(1))
    length = length << 8 | bytes.front();
  const auto field = bytes.substr(0, length);
  bytes.remove_prefix(field.size());
  return field;
}

/// Of the message "Certificate" (RFC 5246, 7.4.2, and RFC 8446, 4.4.2).
int CountCertificates(std::basic_string_view<unsigned char> message, bool isTls13) noexcept {
  message.remove_prefix(SSL3_HM_HEADER_LENGTH);
  if (isTls13) CutField(message, 1);
  auto list = CutField(message, 3);
  int count = 0;
  for (; !list.empty(); ++count) {
    CutField(list, 3);
    if (isTls13) CutField(list, 2);
  }
  return count;
}

void MeetMessage(SSL* ssl, std::basic_string_view<unsigned char> message) noexcept {
  AddCost(ssl, MessageCost, SSL_R_EXCESSIVE_MESSAGE_SIZE);
  if (message.size() <= SSL3_HM_HEADER_LENGTH || message.front() != SSL3_MT_CERTIFICATE) return;
  if (CountCertificates(message, SSL_version(ssl) == TLS1_3_VERSION) <= MaxCertificates) return;
  Break(ssl, SSL_R_EXCESSIVE_MESSAGE_SIZE);
  // OpenSSL decodes the message next, at a tenth of a millisecond a certificate, unless it is malformed. The
  // bytes are those of its own buffer.
  auto* bytes = const_cast<unsigned char*>(message.data());
  std::fill_n(bytes + SSL3_HM_HEADER_LENGTH, message.size() - SSL3_HM_HEADER_LENGTH, '\xff');
}

void Trace(int isOurs, int, int type, const void* buffer, std::size_t size, SSL* ssl, void*) noexcept {
  if (isOurs != 0) return;
  const std::basic_string_view<unsigned char> bytes(static_cast<const unsigned char*>(buffer), size);
  if (type == SSL3_RT_HANDSHAKE) return MeetMessage(ssl, bytes);
  const bool isHeader = type == SSL3_RT_HEADER && size == SSL3_RT_HEADER_LENGTH;
  if (isHeader) {
    const auto length = static_cast<std::size_t>(bytes[3] << 8 | bytes[4]);
    AddCost(ssl, length < SmallRecord ? 1 : -1, SSL_R_RECORD_TOO_SMALL);
  }
  if ((isHeader || type == SSL3_RT_INNER_CONTENT_TYPE) && bytes[0] == SSL3_RT_HANDSHAKE)
    AddCost(ssl, HandshakeRecordCost, SSL_R_RECORD_TOO_SMALL);
}

/// Of an RSA key. OpenSSL limits it for long keys only, and with a large one a short key costs as much.
int ExponentBits(const EVP_PKEY* key) noexcept {
  BIGNUM* exponent = nullptr;
  if (EVP_PKEY_is_a(key, "RSA") == 0 && EVP_PKEY_is_a(key, "RSA-PSS") == 0) return 0;
  EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &exponent);
  const int bits = exponent != nullptr ? BN_num_bits(exponent) : 0;
  BN_free(exponent);
  return bits;
}

/// Why no signature by one of these is to be verified.
int KeyFault(const STACK_OF(X509) * certificates) noexcept {
  for (int i = 0; i < sk_X509_num(certificates); ++i) {
    const auto* key = X509_get0_pubkey(sk_X509_value(certificates, i));
    if (key == nullptr) continue;
    if (EVP_PKEY_get_bits(key) > MaxTlsKeyBits) return TlsKeyTooLong;
    if (ExponentBits(key) > MaxTlsExponentBits) return TlsExponentTooLong;
  }
  return X509_V_OK;
}

int Verify(X509_STORE_CTX* chain, void*) noexcept {
  auto* ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(chain, SSL_get_ex_data_X509_STORE_CTX_idx()));
  if (const int fault = KeyFault(X509_STORE_CTX_get0_untrusted(chain)); fault != X509_V_OK) {
    SSL_set_verify(ssl, SSL_VERIFY_PEER, nullptr);  // or this result would count for nothing
    X509_STORE_CTX_set_error(chain, fault);
    return 0;
  }
  return SSL_get_verify_mode(ssl) == SSL_VERIFY_NONE ? 1 : X509_verify_cert(chain);
}

using SecurityCheck = int (*)(const SSL*, const SSL_CTX*, int, int, int, void*, void*);
SecurityCheck defaultCheck = nullptr;

/// OpenSSL's own check, which keeps the machine's security level, and one more.
int MayUse(const SSL* ssl, const SSL_CTX* context, int operation, int bits, int nid, void* other,
           void* extra) noexcept {
  if ((operation & SSL_SECOP_OTHER_TYPE) == SSL_SECOP_OTHER_CIPHER) {
    const int exchange = SSL_CIPHER_get_kx_nid(static_cast<const SSL_CIPHER*>(other));
    if (exchange == NID_kx_dhe || exchange == NID_kx_dhe_psk) return 0;
  }
  return defaultCheck(ssl, context, operation, bits, nid, other, extra);
}

}  // namespace

void LimitTls(SSL_CTX* context) {
  SSL_CTX_set_msg_callback(context, &Trace);
  SSL_CTX_set_max_cert_list(context, MaxCertificateBytes);
  SSL_CTX_set_verify_depth(context, MaxChainDepth);
  SSL_CTX_set_cert_verify_callback(context, &Verify, nullptr);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
  [[maybe_unused]] static const bool isKept =
      (defaultCheck = SSL_CTX_get_security_callback(context)) != nullptr;
  SSL_CTX_set_security_callback(context, &MayUse);
  std::array groups{NID_X25519, NID_X9_62_prime256v1, NID_secp384r1, NID_secp521r1};
  SSL_CTX_set1_groups(context, groups.data(), groups.size());
}

}  // namespace norvane::platform
