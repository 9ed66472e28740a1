#include "engine/web/WebReason.h"

#include <openssl/x509_vfy.h>

#include <string_view>

#include "engine/net/PeerReason.h"
#include "engine/web/ReplyBudget.h"

namespace norvane::engine {

namespace {

/// The system's own, if it has one.
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

std::string_view MessageOf(CURLcode code, const char* message) {
  return *message != '\0' ? message : curl_easy_strerror(code);
}

std::string WithMessage(const std::string& what, CURLcode code, const char* message) {
  return what + ": " + std::string(MessageOf(code, message));
}

/// libcurl hands on OpenSSL's line, "OpenSSL/3.0.22: error:0A00010B:SSL routines::wrong version number". Of a
/// connection that broke it says "OpenSSL SSL_connect: SSL_ERROR_SYSCALL in connection to HOST:PORT", or
/// "Recv failure: Connection reset by peer", as the moment has it.
std::string_view TlsMessage(std::string_view message) {
  for (const std::string_view broken : {"OpenSSL SSL_connect: ", "Recv failure: ", "Send failure: "})
    if (message.starts_with(broken)) return "connection closed by the server";
  const auto routine = message.rfind("::");
  return routine == std::string_view::npos ? message : message.substr(routine + 2);
}

std::string BrokenConnection(CURL* curl, CURLcode code, const char* message) {
  const auto text = MessageOf(code, message);
  if (text.starts_with("Out of memory in chunked"))
    return std::string(HeaderTooLong);  // the header behind the chunks
  if (text.find("::") != text.npos) {
    const auto reason = TlsMessage(text);
    return "TLS broken: " + std::string(reason.substr(0, reason.find(", errno")));
  }
  const auto broken = WithMessage("connection broken", code, message);
  // Only then is the system's error this transfer's own; libcurl keeps it from one to the next.
  return text.find(" failure: ") != text.npos ? SystemFailure(curl, broken) : broken;
}

}  // namespace

std::string TransferFailure(CURL* curl, CURLcode code, const char* message, const std::string& host) {
  switch (code) {
    case CURLE_COULDNT_CONNECT:
      return SystemFailure(curl, "cannot connect");
    case CURLE_PEER_FAILED_VERIFICATION:
      return VerificationFailure(curl, host);
    case CURLE_SSL_CONNECT_ERROR:
      return TlsFailure(host, TlsMessage(MessageOf(code, message)));
    case CURLE_SSL_CACERT_BADFILE:
      return std::string(AuthoritiesUnreadable);
    case CURLE_GOT_NOTHING:
      return "connection closed without a reply";
    case CURLE_PARTIAL_FILE:
      return "connection closed before the end of the page";
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return BrokenConnection(curl, code, message);
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return "the reply is not HTTP";
    case CURLE_OUT_OF_MEMORY:  // what libcurl says to a header line beyond its own limit
      return std::string(HeaderTooLong);
    default:
      return WithMessage("web check failed", code, message);
  }
}

}  // namespace norvane::engine
