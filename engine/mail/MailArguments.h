#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace norvane::engine {

/// Why `text` cannot be said in a command, as "the account is too long" for `what` "account";
/// empty if it can. Whatever could end a line, and so begin a command of its own, is among the reasons.
[[nodiscard]] std::string ArgumentFailure(std::string_view what, std::string_view text);

/// The same of a mail address, which must come without a name or angle brackets.
[[nodiscard]] std::string AddressFailure(std::string_view what, std::string_view address);

/// The mail addresses of a list, which commas, semicolons and the blanks around them separate; each once.
[[nodiscard]] std::vector<std::string> AddressesIn(std::string_view list);

}  // namespace norvane::engine
