#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Mistakes.h"

namespace norvane::text {

/// A value of a YAML document. Scalars are text, whatever YAML makes of "yes" or "1.5"; one that is empty, or
/// a plain "~" or "null", is the empty text.
struct YamlNode {
  enum class Kind : std::uint8_t { Scalar, List, Map };
  Kind kind = Kind::Scalar;
  bool asIs = false;  ///< it has the tag "!raw" or "!!binary"
  Place place;
  std::string text;
  std::vector<YamlNode> children;  ///< of a list; of a map keys and values by turns

  [[nodiscard]] bool IsEmpty() const { return kind == Kind::Scalar && text.empty(); }
};

/// The one document of a file; nothing if it is empty, or so wrong that reading it makes no sense. Anchors
/// and tags, by which a small file may hold much or other than it seems, are mistakes, as are keys that come
/// twice. For any bytes.
[[nodiscard]] std::optional<YamlNode> ReadYaml(std::string_view text, std::uint16_t file, Mistakes& mistakes);

}  // namespace norvane::text
