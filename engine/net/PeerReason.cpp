#include "engine/net/PeerReason.h"

#include <openssl/x509_vfy.h>

#include <cerrno>
#include <system_error>

#include "platform/TlsLimits.h"

namespace norvane::engine {

std::string ConnectionFailure(int error, const std::string& otherwise) {
  switch (error) {
    case 0:
      return otherwise;
    case ECONNREFUSED:
      return "connection refused";
    case ECONNRESET:
    case EPIPE:
      return "connection reset by the server";
    case EHOSTUNREACH:
      return "host unreachable";
    case ENETUNREACH:
      return "network unreachable";
    default:
      return otherwise + ": " + std::generic_category().message(error);
  }
}

std::string CertificateFailure(long result, const std::string& host) {
  const auto certificate = "certificate of " + host;
  switch (result) {
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return certificate + " is for another name";
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return certificate + " expired";
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return certificate + " is not yet valid";
    case platform::TlsKeyTooLong:
      return certificate + " comes with a key above " + std::to_string(platform::MaxTlsKeyBits) + " bits";
    case platform::TlsExponentTooLong:
      return certificate + " comes with an RSA exponent above " +
             std::to_string(platform::MaxTlsExponentBits) + " bits";
    default:
      return certificate + " not trusted: " + X509_verify_cert_error_string(result);
  }
}

std::string TlsFailure(const std::string& host, std::string_view why) {
  return "TLS with " + host + " failed: " + std::string(why);
}

}  // namespace norvane::engine
