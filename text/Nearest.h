#pragma once

#include <span>
#include <string>
#include <string_view>

namespace norvane::text {

/// The one of `candidates` that somebody who typed `word` probably meant, whatever the case of its letters;
/// empty if none is near. Of several the first.
[[nodiscard]] std::string_view Nearest(std::string_view word, std::span<const std::string_view> candidates);

/// `; did you mean "..."?`, or nothing if there is no nearest one.
[[nodiscard]] std::string DidYouMean(std::string_view nearest);

/// In quotation marks, fit for one line of a terminal, and not longer than a line.
[[nodiscard]] std::string Quoted(std::string_view value);

}  // namespace norvane::text
