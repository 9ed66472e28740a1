#include "engine/mail/SaslClient.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/sha.h>

#include <array>
#include <charconv>
#include <utility>

#include "platform/Ascii.h"
#include "platform/Base64.h"
#include "platform/RandomText.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace {

constexpr const char* Unasked = "the server asks for more than the mechanism knows";

class PlainClient final : public SaslClient {
 public:
  PlainClient(std::string user, std::string password)
      : m_message('\0' + std::move(user) + '\0' + std::move(password)) {}
  std::string_view Mechanism() const override { return "PLAIN"; }
  std::optional<std::string> Begin() override { return m_message; }
  std::string Receive(std::string_view) override { return Unasked; }
  std::string Respond() override { return {}; }

 private:
  std::string m_message;
};

/// Servers ask for user and password in words of their own, but in this order.
class LoginClient final : public SaslClient {
 public:
  LoginClient(std::string user, std::string password) : m_answers{std::move(user), std::move(password)} {}
  std::string_view Mechanism() const override { return "LOGIN"; }
  std::string Receive(std::string_view) override { return m_next < m_answers.size() ? "" : Unasked; }
  std::string Respond() override { return m_answers[m_next++]; }

 private:
  std::array<std::string, 2> m_answers;
  std::size_t m_next = 0;
};

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

std::string_view Bytes(const Digest& digest) {
  return {reinterpret_cast<const char*>(digest.data()), digest.size()};
}

Digest Hmac(const Digest& key, std::string_view text) {
  Digest digest{};
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), nullptr);
  return digest;
}

/// RFC 5802 with SHA-256, without channel binding.
class ScramClient final : public SaslClient {
 public:
  ScramClient(std::string_view user, std::string_view password, std::string nonce)
      : m_password(Prepared(password)),
        m_nonce(std::move(nonce)),
        m_first("n=" + Escaped(Prepared(user)) + ",r=" + m_nonce) {}
  std::string_view Mechanism() const override { return "SCRAM-SHA-256"; }
  std::optional<std::string> Begin() override { return "n,," + m_first; }
  std::string Receive(std::string_view challenge) override;
  void Compute() noexcept override;
  std::string Respond() override;
  std::string Confirm() const override {
    return m_at == At::Confirmed ? "" : "the server did not prove that it knows the password";
  }

 private:
  /// As few as RFC 7677 wants, and as many as a server may make us work.
  static constexpr int MinIterations = 4096, MaxIterations = 600000;

  enum class At { First, Final, Confirmed };

  static std::string Prepared(std::string_view text);
  static std::string Escaped(std::string_view name);
  std::string ReceiveFirst(std::string_view challenge);
  std::string ReceiveFinal(std::string_view challenge);

  std::string m_password;
  std::string m_nonce;  // that of the server behind it, once that is known
  std::string m_first;
  std::string m_serverFirst;
  std::string m_salt;
  int m_iterations = 0;
  At m_at = At::First;  // what the server says next
  Digest m_salted{};
  Digest m_serverSignature{};
};

/// SASLprep (RFC 4013), but for characters that are refused before, being invisible.
std::string ScramClient::Prepared(std::string_view text) {
  return platform::IsAscii(text) ? std::string(text) : platform::CompatibilityForm(text);
}

std::string ScramClient::Escaped(std::string_view name) {
  std::string escaped;
  for (const char c : name) {
    if (c == ',')
      escaped += "=2C";
    else if (c == '=')
      escaped += "=3D";
    else
      escaped += c;
  }
  return escaped;
}

/// Cuts "NAME=VALUE" and the comma behind it off `text`; none if it begins with another attribute.
std::optional<std::string_view> CutAttribute(std::string_view& text, char name) {
  if (text.size() < 2 || text[0] != name || text[1] != '=') return std::nullopt;
  const auto end = text.find(',');
  const auto value = text.substr(2, end == std::string_view::npos ? end : end - 2);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return value;
}

std::string ScramClient::Receive(std::string_view challenge) {
  switch (m_at) {
    case At::First:
      return ReceiveFirst(challenge);
    case At::Final:
      return ReceiveFinal(challenge);
    case At::Confirmed:
      break;
  }
  return Unasked;
}

std::string ScramClient::ReceiveFirst(std::string_view challenge) {
  auto rest = challenge;
  const auto nonce = CutAttribute(rest, 'r'), salt = CutAttribute(rest, 's'), count = CutAttribute(rest, 'i');
  const auto saltBytes = platform::DecodeBase64(salt.value_or(""));
  int iterations = 0;
  const auto digits = count.value_or("");
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), iterations);
  if (!nonce || !saltBytes || saltBytes->empty() || error != std::errc() ||
      end != digits.data() + digits.size())
    return "the challenge is not SCRAM";
  if (!nonce->starts_with(m_nonce) || *nonce == m_nonce) return "the server's nonce is not made from ours";
  if (iterations < MinIterations || iterations > MaxIterations)
    return "the server wants " + std::to_string(iterations) + " iterations";
  m_nonce = *nonce;
  m_salt = *saltBytes;
  m_iterations = iterations;
  m_serverFirst = challenge;
  return {};
}

std::string ScramClient::ReceiveFinal(std::string_view challenge) {
  const auto verifier = CutAttribute(challenge, 'v');
  const auto signature = platform::DecodeBase64(verifier.value_or(""));
  if (!signature || signature->size() != m_serverSignature.size() ||
      CRYPTO_memcmp(signature->data(), m_serverSignature.data(), m_serverSignature.size()) != 0)
    return "the server's signature is wrong";
  m_at = At::Confirmed;
  return {};
}

void ScramClient::Compute() noexcept {
  if (m_at != At::First) return;
  PKCS5_PBKDF2_HMAC(m_password.data(), static_cast<int>(m_password.size()),
                    reinterpret_cast<const unsigned char*>(m_salt.data()), static_cast<int>(m_salt.size()),
                    m_iterations, EVP_sha256(), static_cast<int>(m_salted.size()), m_salted.data());
}

std::string ScramClient::Respond() {
  if (m_at != At::First) return {};
  m_at = At::Final;
  const auto withoutProof = "c=biws,r=" + m_nonce;  // "n,," in base64
  const auto text = m_first + "," + m_serverFirst + "," + withoutProof;
  auto proof = Hmac(m_salted, "Client Key");
  Digest stored{};
  SHA256(proof.data(), proof.size(), stored.data());
  const auto signature = Hmac(stored, text);
  for (std::size_t i = 0; i < proof.size(); ++i)
    proof[i] ^= signature[i];
  m_serverSignature = Hmac(Hmac(m_salted, "Server Key"), text);
  return withoutProof + ",p=" + platform::EncodeBase64(Bytes(proof));
}

bool IsOffered(std::string_view offers, std::string_view mechanism) {
  while (!offers.empty()) {
    const auto end = std::min(offers.find(' '), offers.size());
    if (platform::EqualsIgnoringCase(offers.substr(0, end), mechanism)) return true;
    offers.remove_prefix(std::min(end + 1, offers.size()));
  }
  return false;
}

}  // namespace

std::shared_ptr<SaslClient> MakeSaslClient(std::string_view offers, std::string user, std::string password) {
  if (IsOffered(offers, "SCRAM-SHA-256")) return MakeScramClient(user, password, platform::RandomText(16));
  if (IsOffered(offers, "PLAIN")) return std::make_shared<PlainClient>(std::move(user), std::move(password));
  if (IsOffered(offers, "LOGIN")) return std::make_shared<LoginClient>(std::move(user), std::move(password));
  return nullptr;
}

std::shared_ptr<SaslClient> MakeScramClient(std::string_view user, std::string_view password,
                                            std::string nonce) {
  return std::make_shared<ScramClient>(user, password, std::move(nonce));
}

}  // namespace norvane::engine
