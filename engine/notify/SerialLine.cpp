#include "engine/notify/SerialLine.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace norvane::engine {

namespace {

struct Speed {
  int bits;
  speed_t code;
};
constexpr Speed Speeds[] = {{300, B300},     {1200, B1200},   {2400, B2400},
                            {4800, B4800},   {9600, B9600},   {19200, B19200},
                            {38400, B38400}, {57600, B57600}, {115200, B115200}};

speed_t CodeOf(int bits) {
  const auto* speed =
      std::find_if(std::begin(Speeds), std::end(Speeds), [&](const Speed& row) { return row.bits == bits; });
  if (speed == std::end(Speeds)) throw std::runtime_error("unsupported modem speed: " + std::to_string(bits));
  return speed->code;
}

[[noreturn]] void Fail(const std::string& device) {
  throw std::runtime_error("modem " + device + ": " + std::generic_category().message(errno));
}

}  // namespace

SerialLine::SerialLine(const std::string& device, int speed) {
  const auto code = CodeOf(speed);
  m_fd.Reset(::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  termios settings{};
  if (!m_fd || ::tcgetattr(m_fd.Get(), &settings) != 0) {
    m_fd.Reset();
    Fail(device);
  }
  m_before = settings;
  ::cfmakeraw(&settings);
  settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
  settings.c_cflag |= CLOCAL | CREAD | HUPCL;
  settings.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXANY);
  ::cfsetispeed(&settings, code);
  ::cfsetospeed(&settings, code);
  if (::tcsetattr(m_fd.Get(), TCSANOW, &settings) != 0) Fail(device);
  ::tcflush(m_fd.Get(), TCIFLUSH);  // what the modem said to an earlier user
}

SerialLine::~SerialLine() {
  const int dtr = TIOCM_DTR;
  ::ioctl(m_fd.Get(), TIOCMBIC, &dtr);  // a line without such a wire refuses, which does no harm
  ::tcsetattr(m_fd.Get(), TCSANOW, &m_before);
}

bool SerialLine::Write(std::string_view text) const {
  return ::write(m_fd.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace norvane::engine
