#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace norvane::engine {

class Writer;

/// The engine's own messages: on standard error and in "log/engine.log". A message that repeats is throttled:
/// messages that differ in numbers only, or behind their first 64 bytes, count as the same. Any thread.
class EngineLog {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  static constexpr int MaxRepeats = 10;  ///< in `RepeatTime`
  static constexpr std::chrono::seconds RepeatTime{60};

  EngineLog(Writer& writer, Clock clock);

  void Write(const std::string& text);
  /// Logs how many messages were left out. To be called now and then.
  void Flush();
  /// From now on to the file only: standard error has become that file.
  void LeaveStandardError();

 private:
  struct Repeated {
    std::chrono::steady_clock::time_point since;
    int count = 0;
    std::string last;
  };

  void Print(const std::string& text);

  Writer& m_writer;
  Clock m_clock;
  std::mutex m_mutex;
  std::map<std::string, Repeated> m_repeated;
  bool m_toStandardError = true;
};

}  // namespace norvane::engine
