#include "engine/store/EngineLog.h"

#include <cstdio>
#include <utility>

#include "engine/store/Writer.h"
#include "platform/Ascii.h"
#include "platform/FileNames.h"

namespace norvane::engine {

namespace {
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

LogLine Line(std::string text) {
  return {std::string(platform::files::EngineLog), std::chrono::system_clock::now(), std::move(text),
          EngineLog::MaxFileSize};
}
}  // namespace

EngineLog::EngineLog(Writer& writer, Clock clock) : m_writer(writer), m_clock(std::move(clock)) {}

void EngineLog::Write(const std::string& text, std::string kind) {
  const std::lock_guard lock(m_mutex);
  auto shape = kind.empty() ? WithoutNumbers(text) : std::move(kind);
  if (m_repeated.size() >= MaxDifferent && !m_repeated.contains(shape)) shape.clear();
  auto& repeated = m_repeated[shape];
  if (repeated.count == 0) repeated.since = m_clock();
  if (++repeated.count <= MaxRepeats)
    Print(text);
  else
    repeated.last = text;
}

void EngineLog::WriteAlways(const std::string& text) {
  const std::lock_guard lock(m_mutex);
  Print(text);
}

void EngineLog::Flush() {
  FlushOlder(RepeatTime);
}

void EngineLog::FlushAll() {
  FlushOlder(std::chrono::seconds(0));
}

void EngineLog::FlushOlder(std::chrono::seconds age) {
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_repeated, [this, age, now = m_clock()](const auto& entry) {
    const auto& repeated = entry.second;
    if (now - repeated.since < age) return false;
    if (const int more = repeated.count - MaxRepeats - 1; more >= 0)
      Print(repeated.last +
            (more == 0 ? "" : " (and " + std::to_string(more) + " more like this in the last minute)"));
    return true;
  });
}

void EngineLog::LeaveStandardError() {
  const std::lock_guard lock(m_mutex);
  m_toStandardError = false;
}

void EngineLog::Print(const std::string& text) {
  if (m_toStandardError) PrintToStandardError(text);
  m_writer.Log(Line(text));
}

void EngineLog::PrintToStandardError(std::string_view text) {
  std::fprintf(stderr, "norvane-engine: %s\n", EscapeControls(text).c_str());
}

void EngineLog::Append(const std::string& folder, const std::string& text) {
  LogFiles(folder, [](const auto&, const auto&) {}).Write({Line(text)});
}

}  // namespace norvane::engine
