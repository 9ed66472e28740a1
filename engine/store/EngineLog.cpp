#include "engine/store/EngineLog.h"

#include <cstdio>
#include <utility>

#include "engine/store/Writer.h"
#include "platform/Ascii.h"
#include "platform/FileNames.h"

namespace norvane::engine {

namespace {
constexpr std::uintmax_t MaxFileSize = 10 << 20;
constexpr std::size_t ComparedBytes = 64;
/// Beyond, all others count as one message.
constexpr std::size_t MaxDifferent = 50;

std::string WithoutNumbers(std::string_view text) {
  std::string shape;
  for (const char c : text.substr(0, ComparedBytes)) {
    if (!platform::IsAsciiDigit(c)) shape += c;
  }
  return shape;
}
}  // namespace

EngineLog::EngineLog(Writer& writer, Clock clock) : m_writer(writer), m_clock(std::move(clock)) {}

void EngineLog::Write(const std::string& text) {
  const std::lock_guard lock(m_mutex);
  auto shape = WithoutNumbers(text);
  if (m_repeated.size() >= MaxDifferent && !m_repeated.contains(shape)) shape.clear();
  auto& repeated = m_repeated[shape];
  if (repeated.count == 0) repeated.since = m_clock();
  if (++repeated.count <= MaxRepeats)
    Print(text);
  else
    repeated.last = text;
}

void EngineLog::Flush() {
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_repeated, [this, now = m_clock()](const auto& entry) {
    const auto& repeated = entry.second;
    if (now - repeated.since < RepeatTime) return false;
    if (const int more = repeated.count - MaxRepeats; more > 0)
      Print(repeated.last + " (and " + std::to_string(more - 1) + " more like this in the last minute)");
    return true;
  });
}

void EngineLog::LeaveStandardError() {
  const std::lock_guard lock(m_mutex);
  m_toStandardError = false;
}

void EngineLog::Print(const std::string& text) {
  if (m_toStandardError) std::fprintf(stderr, "norvane-engine: %s\n", text.c_str());
  m_writer.Log(
      {std::string(platform::files::EngineLog), std::chrono::system_clock::now(), text, MaxFileSize});
}

}  // namespace norvane::engine
