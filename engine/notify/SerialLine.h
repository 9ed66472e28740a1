#pragma once

#include <termios.h>

#include <string>
#include <string_view>

#include "platform/FileDescriptor.h"

namespace norvane::engine {

/// A serial line with a modem, opened without ever waiting for it: raw, eight bits, no parity. Its settings
/// are put back at the end.
class SerialLine {
 public:
  /// Throws std::runtime_error with the reason, for the user.
  SerialLine(const std::string& device, int speed);
  /// Lets the modem see that its computer has gone (DTR), at which it hangs up.
  ~SerialLine();
  SerialLine(const SerialLine&) = delete;
  SerialLine& operator=(const SerialLine&) = delete;

  [[nodiscard]] int Fd() const { return m_fd.Get(); }
  /// False if the line does not take it all at once; commands are short.
  [[nodiscard]] bool Write(std::string_view text) const;

 private:
  platform::FileDescriptor m_fd;
  termios m_before{};
};

}  // namespace norvane::engine
