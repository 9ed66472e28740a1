#include "engine/web/ReplyBudget.h"

namespace norvane::engine {

namespace {

constexpr std::size_t MaxHeaderSize = 256 << 10;
constexpr std::size_t MaxHeaderLines = 2000;
/// A page may come in so many pieces, and in more if they are not small on average: each costs a call,
/// however little is in it.
constexpr std::size_t MaxPieces = 32 << 10;
constexpr std::size_t SmallPiece = 64;
/// Of a chunk, in front of its bytes and behind them: its size, and two line ends.
constexpr std::size_t ChunkFrame = 24;
constexpr std::size_t MaxChunkExtensions = 64 << 10;

}  // namespace

std::string_view ReplyBudget::AddHeaderLine(std::size_t bytes) noexcept {
  m_header += bytes;
  return m_header > MaxHeaderSize || ++m_headerLines > MaxHeaderLines ? HeaderTooLong : "";
}

std::string_view ReplyBudget::AddPiece(std::size_t bytes) noexcept {
  m_page += bytes;
  if (m_page > MaxPageSize) return PageTooLarge;
  const bool areSmall = ++m_pieces > MaxPieces && m_page / SmallPiece < m_pieces;
  return areSmall ? "the page comes in pieces of less than 64 bytes" : "";
}

std::string_view ReplyBudget::ChunkFailure() const noexcept {
  const auto framed = m_page + m_header + m_pieces * ChunkFrame;
  return m_chunked > framed + MaxChunkExtensions ? "more than 64 KiB of chunk extensions" : "";
}

}  // namespace norvane::engine
