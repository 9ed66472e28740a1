#include "engine/web/WebReason.h"

#include <openssl/x509_vfy.h>

#include <string_view>

#include "engine/net/PeerReason.h"

namespace norvane::engine {

namespace {

constexpr const char* HeaderTooLong = "reply header too long";

/// As the system told it, if it did.
std::string SystemFailure(CURL* curl, const std::string& otherwise) {
  long error = 0;
  curl_easy_getinfo(curl, CURLINFO_OS_ERRNO, &error);
  return ConnectionFailure(static_cast<int>(error), otherwise);
}

std::string VerificationFailure(CURL* curl, const std::string& host) {
  long result = X509_V_OK;
  curl_easy_getinfo(curl, CURLINFO_SSL_VERIFYRESULT, &result);
  // A good result, or libcurl's start value: the chain was not what failed, so it is the name.
  const bool isName = result == X509_V_OK || result == X509_V_ERR_UNSPECIFIED;
  return CertificateFailure(isName ? X509_V_ERR_HOSTNAME_MISMATCH : result, host);
}

std::string_view Words(CURLcode code, const char* words) {
  return *words != '\0' ? words : curl_easy_strerror(code);
}

std::string WithWords(const std::string& what, CURLcode code, const char* words) {
  return what + ": " + std::string(Words(code, words));
}

/// libcurl hands on OpenSSL's line, "OpenSSL/3.0.22: error:0A00010B:SSL routines::wrong version number". Of a
/// connection that broke it says "OpenSSL SSL_connect: SSL_ERROR_SYSCALL in connection to HOST:PORT", or
/// "Recv failure: Connection reset by peer", as the moment has it.
std::string_view TlsWords(std::string_view words) {
  for (const std::string_view broken : {"OpenSSL SSL_connect: ", "Recv failure: ", "Send failure: "})
    if (words.starts_with(broken)) return "connection closed by the server";
  const auto routine = words.rfind("::");
  return routine == std::string_view::npos ? words : words.substr(routine + 2);
}

std::string BrokenConnection(CURL* curl, CURLcode code, const char* words) {
  const auto told = Words(code, words);
  if (told.starts_with("Out of memory in chunked")) return HeaderTooLong;  // the header behind the chunks
  if (told.find("::") != told.npos) {
    const auto reason = TlsWords(told);
    return "TLS broken: " + std::string(reason.substr(0, reason.find(", errno")));
  }
  const auto broken = WithWords("connection broken", code, words);
  // Only then is the system's error this transfer's own; libcurl keeps it from one to the next.
  return told.find(" failure: ") != told.npos ? SystemFailure(curl, broken) : broken;
}

}  // namespace

std::string TransferFailure(CURL* curl, CURLcode code, const char* words, const std::string& host) {
  switch (code) {
    case CURLE_COULDNT_CONNECT:
      return SystemFailure(curl, "cannot connect");
    case CURLE_PEER_FAILED_VERIFICATION:
      return VerificationFailure(curl, host);
    case CURLE_SSL_CONNECT_ERROR:
      return TlsFailure(host, TlsWords(Words(code, words)));
    case CURLE_SSL_CACERT_BADFILE:
      return AuthoritiesUnreadable();
    case CURLE_GOT_NOTHING:
      return "connection closed without a reply";
    case CURLE_PARTIAL_FILE:
      return "page broken off before its end";
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return BrokenConnection(curl, code, words);
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return "the reply is not HTTP";
    case CURLE_OUT_OF_MEMORY:  // what libcurl says to a header line beyond its own limit
      return HeaderTooLong;
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
