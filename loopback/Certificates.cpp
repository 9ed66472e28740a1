#include "loopback/Certificates.h"

#include <openssl/core_names.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
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

void AddHost(X509* certificate, const std::string& host) {
  AddExtension(certificate, NID_subject_alt_name,
               (platform::ParseNumericAddress(host) ? "IP:" : "DNS:") + host);
}

void Sign(X509* certificate, X509* issuer, EVP_PKEY* issuersKey) {
  Need(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1);
  Need(X509_sign(certificate, issuersKey, EVP_sha256()) > 0);
}

}  // namespace

CertificateAuthority::CertificateAuthority()
    : m_key(NewKey()),
      m_certificate(
          NewCertificate(m_key.get(), "Test authority " + std::to_string(NextSerial()), -1000, 1000)) {
  X509* self = m_certificate.get();
  AddExtension(self, NID_basic_constraints, "critical,CA:TRUE");
  Sign(self, self, m_key.get());
}

Identity CertificateAuthority::Issue(const std::string& host, int fromDay, int untilDay) const {
  const std::shared_ptr<EVP_PKEY> key(NewKey());
  auto certificate = NewCertificate(key.get(), host, fromDay, untilDay);
  AddHost(certificate.get(), host);
  Sign(certificate.get(), m_certificate.get(), m_key.get());
  return {std::move(certificate), key};
}

Identity CertificateAuthority::IssueFor(const std::string& host, const std::shared_ptr<EVP_PKEY>& key,
                                        int authorities) const {
  Identity identity{nullptr, key};
  X509* issuer = m_certificate.get();
  EVP_PKEY* issuersKey = m_key.get();
  for (int i = 0; i <= authorities; ++i) {
    const bool isLeaf = i == authorities;
    std::shared_ptr<X509> made =
        NewCertificate(key.get(), isLeaf ? host : "Authority " + std::to_string(i), -1, 1);
    if (isLeaf)
      AddHost(made.get(), host);
    else
      AddExtension(made.get(), NID_basic_constraints, "critical,CA:TRUE");
    Sign(made.get(), issuer, issuersKey);
    issuer = made.get();
    issuersKey = key.get();
    if (isLeaf)
      identity.certificate = made;
    else
      identity.others.insert(identity.others.begin(), made);
  }
  return identity;
}

std::shared_ptr<X509> CertificateAuthority::IssueForLongKey(std::size_t bytes,
                                                            std::size_t exponentBytes) const {
  std::vector<unsigned char> modulus(bytes, 0xff);
  std::vector<unsigned char> exponent(exponentBytes);
  exponent.front() = exponent.back() = 1;
  std::array parameters{OSSL_PARAM_construct_BN(OSSL_PKEY_PARAM_RSA_N, modulus.data(), modulus.size()),
                        OSSL_PARAM_construct_BN(OSSL_PKEY_PARAM_RSA_E, exponent.data(), exponent.size()),
                        OSSL_PARAM_construct_end()};
  const std::unique_ptr<EVP_PKEY_CTX, FreeSsl> context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  EVP_PKEY* made = nullptr;
  Need(EVP_PKEY_fromdata_init(context.get()) == 1 &&
       EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters.data()) == 1);
  const PrivateKey key(made);
  auto certificate = NewCertificate(key.get(), "long key", -1, 1);
  Sign(certificate.get(), m_certificate.get(), m_key.get());
  return {certificate.release(), FreeSsl()};
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
  for (const auto& other : identity->others)
    Need(SSL_CTX_add1_chain_cert(context.get(), other.get()) == 1);
  Need(identity->groups == nullptr || SSL_CTX_set1_groups_list(context.get(), identity->groups) == 1);
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  return context;
}

}  // namespace norvane::loopback
