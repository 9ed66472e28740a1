#include "engine/model/Attributes.h"

#include <algorithm>

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "engine/model/FullName.h"

namespace norvane::engine {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::engine::KnownPosition;

namespace {
[[noreturn]] void Refuse(const char* why) {
  throw EngineError(EngineErrorCode::Invalid, why);
}

void CheckSize(const std::string& value) {
  if (value.size() > console::engine::MaxValueSize) Refuse("value longer than 1 MiB");
}
}  // namespace

const std::string& Attributes::Get(std::string_view key) const {
  static const std::string never;
  if (const auto position = KnownPosition(key)) return m_known[*position];
  const auto other = m_others.find(key);
  return other == m_others.end() ? never : other->second;
}

void Attributes::SetAt(std::size_t index, std::string value) {
  CheckSize(value);
  m_known[index] = std::move(value);
}

void Attributes::Set(std::string_view key, std::string value) {
  if (const auto position = KnownPosition(key)) return SetAt(*position, std::move(value));
  CheckSize(value);
  if (key.empty() || key.size() > console::engine::MaxKeySize) Refuse("attribute name empty or too long");
  const auto other = m_others.find(key);
  if (other != m_others.end()) {
    other->second = std::move(value);
    return;
  }
  if (m_others.size() >= MaxOthers) Refuse("too many attributes");
  m_others.emplace(key, std::move(value));
}

void RequireAttribute(std::string_view key, std::string_view value) {
  namespace keys = console::engine::keys;
  constexpr std::array files = {keys::Command, keys::CommandSucc, keys::LogFile};
  RequireText(key, "attribute name");
  if (std::ranges::find(files, key) == files.end()) RequireText(value, "value");
}

Attributes NewMonitorAttributes() {
  Attributes attributes;
  for (const auto& [key, value] : console::engine::NewMonitorValues)
    attributes.Set(key, std::string(value));
  return attributes;
}

}  // namespace norvane::engine
