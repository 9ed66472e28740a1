#include "loopback/Certificates.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>

#include "platform/NumericAddress.h"

namespace norvane::loopback {

namespace {

void Need(bool worked) {
  if (!worked) throw std::runtime_error("OpenSSL made no certificate");
}

PrivateKey NewKey() {
  PrivateKey key(EVP_EC_gen("P-256"));
  Need(key != nullptr);
  return key;
}

void AddExtension(X509* certificate, int nid, const std::string& value) {
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str());
  Need(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
  X509_EXTENSION_free(extension);
}

/// Different for every certificate of this process.
long NextSerial() {
  static std::atomic<long> serial = 0;
  return ++serial;
}

Certificate NewCertificate(EVP_PKEY* key, const std::string& commonName, int fromDay, int untilDay) {
  Certificate certificate(X509_new());
  X509* x509 = certificate.get();
  Need(X509_set_version(x509, 2) == 1);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), NextSerial());
  X509_gmtime_adj(X509_getm_notBefore(x509), fromDay * 86400L);
  X509_gmtime_adj(X509_getm_notAfter(x509), untilDay * 86400L);
  Need(X509_set_pubkey(x509, key) == 1);
  const auto* name = reinterpret_cast<const unsigned char*>(commonName.c_str());
  Need(X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_UTF8, name, -1, -1, 0) == 1);
  return certificate;
}

}  // namespace

CertificateAuthority::CertificateAuthority()
    : m_key(NewKey()),
      m_certificate(
          NewCertificate(m_key.get(), "Test authority " + std::to_string(NextSerial()), -1000, 1000)) {
  X509* self = m_certificate.get();
  Need(X509_set_issuer_name(self, X509_get_subject_name(self)) == 1);
  AddExtension(self, NID_basic_constraints, "critical,CA:TRUE");
  Need(X509_sign(self, m_key.get(), EVP_sha256()) > 0);
}

Identity CertificateAuthority::Issue(const std::string& host, int fromDay, int untilDay) const {
  auto key = NewKey();
  auto certificate = NewCertificate(key.get(), host, fromDay, untilDay);
  AddExtension(certificate.get(), NID_subject_alt_name,
               (platform::ParseNumericAddress(host) ? "IP:" : "DNS:") + host);
  Need(X509_set_issuer_name(certificate.get(), X509_get_subject_name(m_certificate.get())) == 1);
  Need(X509_sign(certificate.get(), m_key.get(), EVP_sha256()) > 0);
  return {{certificate.release(), FreeSsl()}, {key.release(), FreeSsl()}};
}

std::string CertificateAuthority::WriteTo(const std::string& path) const {
  std::FILE* file = std::fopen(path.c_str(), "w");
  Need(file != nullptr);
  const bool written = PEM_write_X509(file, m_certificate.get()) == 1;
  Need(std::fclose(file) == 0 && written);
  return path;
}

TlsContext ServerContext(const Identity* identity) {
  if (identity == nullptr) return nullptr;
  TlsContext context(SSL_CTX_new(TLS_server_method()));
  Need(context != nullptr && SSL_CTX_use_certificate(context.get(), identity->certificate.get()) == 1 &&
       SSL_CTX_use_PrivateKey(context.get(), identity->key.get()) == 1);
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  return context;
}

}  // namespace norvane::loopback
