#include "console/engine/MonitorRecord.h"

namespace norvane::console::engine {

KnownValues::KnownValues(const Views& values) {
  std::size_t size = 0;
  for (const auto value : values)
    size += value.size();
  m_text.reserve(size);
  for (std::size_t i = 0; i < values.size(); ++i) {
    m_text += values[i];
    m_ends[i] = static_cast<std::uint32_t>(m_text.size());
  }
}

std::string_view KnownValues::operator[](std::size_t position) const {
  const std::size_t begin = position == 0 ? 0 : m_ends[position - 1];
  return std::string_view(m_text).substr(begin, m_ends[position] - begin);
}

std::string_view MonitorRecord::TypeName() const {
  return std::string_view(name).substr(0, name.find(NameSeparator));
}

std::string_view MonitorRecord::Get(std::string_view key) const {
  const auto position = KnownPosition(key);
  if (position.has_value() && !known[*position].empty()) return known[*position];
  const auto other = others.find(key);
  return other == others.end() ? std::string_view() : std::string_view(other->second);
}

}  // namespace norvane::console::engine
