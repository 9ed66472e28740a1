#pragma once

#include <string>
#include <string_view>

namespace norvane::engine {

/// What broke a connection, or kept it from coming about, as far as the system's `error` (an errno) tells;
/// `otherwise` heads what has no words of its own, and stands alone for 0. For the user.
[[nodiscard]] std::string ConnectionFailure(int error, const std::string& otherwise);

/// Why the certificate of `host` was not taken, from OpenSSL's result of its verification. For the user.
[[nodiscard]] std::string CertificateFailure(long result, const std::string& host);

/// TLS with `host` did not come about: `why`. For the user.
[[nodiscard]] std::string TlsFailure(const std::string& host, std::string_view why);

/// This engine cannot tell whom to trust, which says nothing about any server. For the user.
inline constexpr std::string_view AuthoritiesUnreadable =
    "cannot read the file of trusted certificate authorities";

}  // namespace norvane::engine
