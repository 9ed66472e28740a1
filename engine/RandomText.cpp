#include "engine/RandomText.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace norvane::engine {

std::string RandomText(std::size_t bytes) {
  static constexpr char Digits[] = "0123456789abcdef";
  std::string text;
  while (text.size() < 2 * bytes) {
    unsigned char byte = 0;
    if (::getrandom(&byte, 1, 0) != 1) {
      if (errno == EINTR) continue;
      throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    text += Digits[byte >> 4];
    text += Digits[byte & 15];
  }
  return text;
}

}  // namespace norvane::engine
