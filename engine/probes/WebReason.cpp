#include "engine/probes/WebReason.h"

#include <openssl/x509_vfy.h>

#include <cerrno>
#include <system_error>

namespace norvane::engine {

namespace {

/// What broke the connection or kept it from coming about, as far as the system told.
std::string SystemFailure(CURL* curl, const std::string& otherwise) {
  long error = 0;
  curl_easy_getinfo(curl, CURLINFO_OS_ERRNO, &error);
  switch (error) {
    case 0:
      return otherwise;
    case ECONNREFUSED:
      return "connection refused";
    case ECONNRESET:
    case EPIPE:
      return "connection reset by the server";
    case EHOSTUNREACH:
      return "host not reachable";
    case ENETUNREACH:
      return "network not reachable";
    default:
      return otherwise + ": " + std::generic_category().message(static_cast<int>(error));
  }
}

std::string CertificateFailure(CURL* curl, const std::string& host) {
  const auto certificate = "certificate of " + host;
  long result = X509_V_OK;
  curl_easy_getinfo(curl, CURLINFO_SSL_VERIFYRESULT, &result);
  switch (result) {
    case X509_V_OK:
    case X509_V_ERR_UNSPECIFIED:  // libcurl's start value: the chain was not what failed, so it is the name
      return certificate + " is for another name";
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return certificate + " expired";
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return certificate + " is not yet valid";
    default:
      return certificate + " not trusted: " + X509_verify_cert_error_string(result);
  }
}

std::string WithWords(const std::string& what, CURLcode code, const char* words) {
  return what + ": " + (*words != '\0' ? words : curl_easy_strerror(code));
}

}  // namespace

std::string TransferFailure(CURL* curl, CURLcode code, const char* words, const std::string& host) {
  switch (code) {
    case CURLE_COULDNT_CONNECT:
      return SystemFailure(curl, "cannot connect");
    case CURLE_PEER_FAILED_VERIFICATION:
      return CertificateFailure(curl, host);
    case CURLE_SSL_CONNECT_ERROR:
      return WithWords("TLS with " + host + " failed", code, words);
    case CURLE_SSL_CACERT_BADFILE:
      return "the file of trusted certificate authorities cannot be read";
    case CURLE_GOT_NOTHING:
      return "connection closed without a reply";
    case CURLE_PARTIAL_FILE:
      return "page broken off before its end";
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return SystemFailure(curl, WithWords("connection broken", code, words));
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return "the reply is not HTTP";
    case CURLE_OUT_OF_MEMORY:  // what libcurl says to a header line beyond its own limit
      return "reply header too long";
    case CURLE_FILESIZE_EXCEEDED:
      return PageTooLarge();
    default:
      return WithWords("web check failed", code, words);
  }
}

std::string PageTooLarge() {
  return "page larger than " + std::to_string(MaxPageSize >> 20) + " MiB";
}

}  // namespace norvane::engine
