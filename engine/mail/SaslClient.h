#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace norvane::engine {

/// The client's side of one logon (RFC 4422), in bytes that the protocol around it encodes. Used in the loop,
/// but for `Compute`.
class SaslClient {
 public:
  virtual ~SaslClient() = default;
  [[nodiscard]] virtual std::string_view Mechanism() const = 0;
  /// What is said first; none if the server begins.
  [[nodiscard]] virtual std::optional<std::string> Begin() { return std::nullopt; }
  /// Gives why the logon cannot go on after `challenge`, for the user; empty if it can.
  [[nodiscard]] virtual std::string Receive(std::string_view challenge) = 0;
  /// Prepares the answer, in any thread: up to half a second of CPU.
  virtual void Compute() noexcept {}
  /// The answer to the last challenge.
  [[nodiscard]] virtual std::string Respond() = 0;
  /// The server has accepted the logon. Gives why that isn't to be believed; empty if it is.
  [[nodiscard]] virtual std::string Confirm() const { return {}; }
};

/// The strongest of the mechanisms named in `offers`, separated by blanks: SCRAM-SHA-256 (RFC 7677), PLAIN
/// (RFC 4616), LOGIN; null if none of them is. `user` and `password` are valid UTF-8.
[[nodiscard]] std::shared_ptr<SaslClient> MakeSaslClient(std::string_view offers, std::string user,
                                                         std::string password);

/// SCRAM-SHA-256; `nonce` is printable and without a comma.
[[nodiscard]] std::shared_ptr<SaslClient> MakeScramClient(std::string_view user, std::string_view password,
                                                          std::string nonce);

}  // namespace norvane::engine
