#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace norvane::engine {

class Writer;

/// The engine's own messages: on standard error and in "log/engine.log". A message that repeats is throttled:
/// messages of one kind count as the same, others if they differ in numbers only, or behind their first 64
/// bytes. Any thread.
class EngineLog {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  static constexpr int MaxRepeats = 10;  ///< in `RepeatTime`
  static constexpr std::chrono::seconds RepeatTime{60};
  static constexpr std::uintmax_t MaxFileSize = 10 << 20;

  EngineLog(Writer& writer, Clock clock);

  void Write(const std::string& text, std::string kind = {});
  /// Never throttled: for what comes seldom, or what the reader must not miss.
  void WriteAlways(const std::string& text);
  /// Logs how many messages were left out. To be called now and then.
  void Flush();
  /// The same at the end, however short the time.
  void FlushAll();
  /// From now on to the file only: standard error has become that file.
  void LeaveStandardError();

  /// To standard error alone, control characters escaped as in the file.
  static void PrintToStandardError(std::string_view text);
  /// To the file of `folder` alone and at once, when there is no writer: before its start or after its end.
  static void Append(const std::string& folder, const std::string& text);

 private:
  struct Repeated {
    std::chrono::steady_clock::time_point since;
    int count = 0;
    std::string last;
  };

  void Print(const std::string& text);
  void FlushOlder(std::chrono::seconds age);

  Writer& m_writer;
  Clock m_clock;
  std::mutex m_mutex;
  std::map<std::string, Repeated> m_repeated;
  bool m_toStandardError = true;
};

}  // namespace norvane::engine
