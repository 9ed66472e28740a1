#include "platform/TimeText.h"

namespace norvane::platform {

std::tm LocalTime(WallTime at) {
  const auto seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(at));
  std::tm local{};
  ::localtime_r(&seconds, &local);
  return local;
}

std::string FormatTime(const char* format, const std::tm& local) {
  char text[64];
  return {text, std::strftime(text, sizeof text, format, &local)};
}

std::string TimeText(WallTime at, const std::tm& local) {
  const auto time = at.time_since_epoch();
  const auto fraction =
      std::chrono::floor<std::chrono::milliseconds>(time) - std::chrono::floor<std::chrono::seconds>(time);
  const auto milliseconds = std::to_string(1000 + fraction.count()).substr(1);
  const auto zone = FormatTime("%z", local);  // +0200
  return FormatTime("%Y-%m-%dT%H:%M:%S", local) + "." + milliseconds + zone.substr(0, 3) + ":" +
         zone.substr(3);
}

std::string TimeText(WallTime at) {
  return TimeText(at, LocalTime(at));
}

}  // namespace norvane::platform
