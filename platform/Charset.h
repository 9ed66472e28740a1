#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace norvane::platform {

/// Converts between two character sets that iconv knows. For one thread.
class CharsetConverter {
 public:
  /// Nothing if iconv does not know a name. The suffixes of iconv such as "//IGNORE" are no part of a name.
  [[nodiscard]] static std::optional<CharsetConverter> Open(const std::string& to, const std::string& from);

  enum class Stop { End, Invalid, Incomplete };
  /// Converts from the start of `input`, appends to `output` and drops from `input` what was converted. Stops
  /// at what is invalid or cannot be held by the other set, and at a sequence that `input` only begins.
  Stop Convert(std::string_view& input, std::string& output);
  /// Appends what the conversion still holds back, and goes back to its initial state.
  void Finish(std::string& output);

 private:
  struct Close {
    void operator()(void* handle) const noexcept;
  };
  explicit CharsetConverter(void* handle) : m_handle(handle) {}

  std::unique_ptr<void, Close> m_handle;
};

/// What each byte of a character set means, as UTF-8; U+FFFD where it means nothing.
using ByteMeanings = std::array<std::string, 256>;

/// The meanings in `charset`, if each of its characters is one byte and ASCII is a part of it; else null, and
/// for a name that iconv does not know. Looked up once in each thread; the result lives as long as the
/// thread.
[[nodiscard]] const ByteMeanings* SingleByteCharset(const std::string& charset);

}  // namespace norvane::platform
