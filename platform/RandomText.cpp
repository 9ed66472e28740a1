#include "platform/RandomText.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "platform/Ascii.h"

namespace norvane::platform {

std::string RandomText(std::size_t bytes) {
  std::vector<unsigned char> random(bytes);
  for (std::size_t got = 0; got < bytes;) {
    const auto more = ::getrandom(random.data() + got, bytes - got, 0);
    if (more < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
    if (more > 0) got += static_cast<std::size_t>(more);
  }
  std::string text;
  for (const auto byte : random)
    text += HexText(byte);
  return text;
}

}  // namespace norvane::platform
