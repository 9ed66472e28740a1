#include "platform/UrlText.h"

namespace norvane::platform {

std::string WithoutPassword(std::string_view target) {
  const auto scheme = target.find("://");
  const auto begin = scheme == std::string_view::npos ? 0 : scheme + 3;
  const auto authority = target.substr(begin, target.substr(begin).find_first_of("/?#\\"));
  const auto at = authority.rfind('@');
  const auto host = at == std::string_view::npos ? begin : begin + at + 1;
  return std::string(target.substr(0, begin)).append(target.substr(host));
}

}  // namespace norvane::platform
