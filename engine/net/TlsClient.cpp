#include "engine/net/TlsClient.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <cerrno>
#include <new>
#include <utility>

#include "engine/net/PeerReason.h"
#include "platform/NumericAddress.h"
#include "platform/TlsLimits.h"

namespace norvane::engine {

namespace {

/// Whom the certificate must be for; the server learns the name too (SNI).
bool SetPeer(SSL* ssl, const std::string& host) {
  if (platform::ParseNumericAddress(host))
    return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
  SSL_set_hostflags(ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
  return SSL_set1_host(ssl, host.c_str()) == 1 && SSL_set_tlsext_host_name(ssl, host.c_str()) == 1;
}

}  // namespace

TlsClient::TlsClient(std::string caFile)
    : m_caFile(std::move(caFile)), m_context(SSL_CTX_new(TLS_client_method())) {
  auto* context = m_context.get();
  if (context == nullptr || SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) != 1)
    throw std::bad_alloc();
  SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                SSL_MODE_RELEASE_BUFFERS);
  // Our protocols mark their own ends, so a connection cut without close_notify is merely closed.
  SSL_CTX_set_options(context, SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  platform::LimitTls(context);
}

/// A file that cannot be read any more leaves those that were read before.
bool TlsClient::LoadAuthorities() {
  const auto stamp = platform::FileStamp::Of(m_caFile.c_str());
  if (m_authoritiesOf == stamp) return true;
  std::unique_ptr<X509_STORE, SslFree> store(X509_STORE_new());
  if (store == nullptr) throw std::bad_alloc();
  if (X509_STORE_load_file(store.get(), m_caFile.c_str()) == 1) {
    X509_STORE_set_flags(store.get(), X509_V_FLAG_PARTIAL_CHAIN);  // whoever is in the file is trusted
    SSL_CTX_set_cert_store(m_context.get(), store.release());
    m_authoritiesOf = stamp;
  }
  ERR_clear_error();
  m_areUnreadable = !m_authoritiesOf;
  return m_authoritiesOf.has_value();
}

bool TlsClient::ShareAuthorities(SSL_CTX* context) {
  if (!LoadAuthorities()) return false;
  SSL_CTX_set1_cert_store(context, SSL_CTX_get_cert_store(m_context.get()));
  return true;
}

SslConnection TlsClient::Connect(int fd, const std::string& host, bool verifies) {
  if (verifies && !LoadAuthorities()) return nullptr;
  ERR_clear_error();
  SslConnection ssl(SSL_new(m_context.get()));
  if (ssl == nullptr || SSL_set_fd(ssl.get(), fd) != 1 || !SetPeer(ssl.get(), host)) throw std::bad_alloc();
  SSL_set_verify(ssl.get(), verifies ? SSL_VERIFY_PEER : SSL_VERIFY_NONE, nullptr);
  SSL_set_connect_state(ssl.get());
  return ssl;
}

std::string TlsClient::HandshakeFailure(const SSL* ssl, const std::string& host) {
  const int systemError = errno;
  const auto verified = SSL_get_verify_result(ssl);
  if (SSL_get_verify_mode(ssl) != SSL_VERIFY_NONE && verified != X509_V_OK)
    return CertificateFailure(verified, host);
  if (const char* words = ERR_reason_error_string(ERR_peek_error()); words != nullptr)
    return TlsFailure(host, words);
  return TlsFailure(host, ConnectionFailure(systemError, "connection closed by the server"));
}

}  // namespace norvane::engine
