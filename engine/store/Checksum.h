#pragma once

#include <cstdint>
#include <string_view>

namespace norvane::engine {

/// FNV-1a over all that a row holds, lengths included: SQLite's own check doesn't look into values.
class Checksum {
 public:
  void Add(std::uint64_t number) {
    for (int i = 0; i < 8; ++i)
      AddByte(static_cast<unsigned char>(number >> (8 * i)));
  }
  void Add(std::string_view text) {
    Add(text.size());
    for (const char c : text)
      AddByte(static_cast<unsigned char>(c));
  }
  [[nodiscard]] std::int64_t Value() const { return static_cast<std::int64_t>(m_value); }

 private:
  void AddByte(unsigned char byte) { m_value = (m_value ^ byte) * 0x100000001b3u; }
  std::uint64_t m_value = 0xcbf29ce484222325u;
};

}  // namespace norvane::engine
