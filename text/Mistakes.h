#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace norvane::text {

/// Where something stands in a file; line and column count from 1, the column in characters. Line 0: the file
/// as a whole.
struct Place {
  std::uint16_t file = 0;  ///< its position in a list of files
  std::uint32_t line = 0, column = 0;
};

struct Mistake {
  Place place;
  std::string text;
};

/// What is wrong with files, in the order in which it was found.
class Mistakes {
 public:
  /// Later ones are only counted.
  static constexpr std::size_t MaxKept = 100;

  void Add(const Place& place, std::string text);
  [[nodiscard]] bool IsEmpty() const { return m_count == 0; }
  [[nodiscard]] std::size_t Count() const { return m_count; }
  [[nodiscard]] const std::vector<Mistake>& Kept() const { return m_kept; }

 private:
  std::vector<Mistake> m_kept;
  std::size_t m_count = 0;
};

/// "shop.yaml:3:7: unknown setting"; `files` are the names of the files.
[[nodiscard]] std::string TextOf(const Mistake& mistake, const std::vector<std::string>& files);
/// "shop.yaml:3"
[[nodiscard]] std::string TextOf(const Place& place, const std::vector<std::string>& files);

}  // namespace norvane::text
