#include "engine/mail/MailArguments.h"

#include <algorithm>

#include "engine/net/Reason.h"
#include "platform/Blanks.h"

namespace norvane::engine {

namespace {

/// Servers need not accept lines of more than 512 bytes.
constexpr std::size_t MaxArgument = 480;

/// Parts of an address that would end it in a command or a header.
constexpr std::string_view AddressBreakers = " <>";

}  // namespace

std::string ArgumentFailure(std::string_view what, std::string_view text) {
  const auto the = "the " + std::string(what);
  if (text.empty()) return the + " is missing";
  if (text.size() > MaxArgument) return the + " is too long";
  if (PlainText(text, text.size()) != text) return the + " contains invalid characters";
  return {};
}

std::string AddressFailure(std::string_view what, std::string_view address) {
  auto failure = ArgumentFailure(what, address);
  if (failure.empty() && address.find_first_of(AddressBreakers) != std::string_view::npos)
    failure = "the " + std::string(what) + " is not a bare mail address";
  return failure;
}

std::vector<std::string> AddressesIn(std::string_view list) {
  std::vector<std::string> addresses;
  bool isQuoted = false;  // the local part may be
  std::size_t begin = 0;
  for (std::size_t at = 0; at <= list.size(); ++at) {
    if (at < list.size() && list[at] == '"') isQuoted = !isQuoted;
    const bool isEnd = at == list.size() || (!isQuoted && (list[at] == ',' || list[at] == ';'));
    if (!isEnd) continue;
    const std::string address(platform::Trimmed(list.substr(begin, at - begin)));
    if (!address.empty() && std::ranges::find(addresses, address) == addresses.end())
      addresses.push_back(address);
    begin = at + 1;
  }
  return addresses;
}

}  // namespace norvane::engine
