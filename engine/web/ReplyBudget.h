#pragma once

#include <cstddef>
#include <string_view>

namespace norvane::engine {

/// Bytes of a page at most.
inline constexpr std::size_t MaxPageSize = std::size_t{16} << 20;
inline constexpr std::string_view PageTooLarge = "page larger than 16 MiB";
inline constexpr std::string_view HeaderTooLong = "reply header too long";

/// What a web server may send, counted as it comes: all of it costs, whether it is a part of the page or not.
/// What gives a text tells why the reply is refused, a literal for the user; empty while it is not.
class ReplyBudget {
 public:
  /// A line of the header, of an interim one or of a trailer.
  [[nodiscard]] std::string_view AddHeaderLine(std::size_t bytes) noexcept;
  [[nodiscard]] std::string_view AddPiece(std::size_t bytes) noexcept;
  /// Of a page in chunks, with what lies between them.
  void AddChunked(std::size_t bytes) noexcept { m_chunked += bytes; }
  [[nodiscard]] std::string_view ChunkFailure() const noexcept;

 private:
  std::size_t m_header = 0;
  std::size_t m_headerLines = 0;
  std::size_t m_page = 0;
  std::size_t m_pieces = 0;  // of the page
  std::size_t m_chunked = 0;
};

}  // namespace norvane::engine
