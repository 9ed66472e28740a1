#include "text/Mistakes.h"

namespace norvane::text {

void Mistakes::Add(const Place& place, std::string text) {
  if (++m_count <= MaxKept) m_kept.push_back({place, std::move(text)});
}

std::string TextOf(const Place& place, const std::vector<std::string>& files) {
  return files[place.file] + (place.line == 0 ? std::string() : ":" + std::to_string(place.line));
}

std::string TextOf(const Mistake& mistake, const std::vector<std::string>& files) {
  const auto& place = mistake.place;
  return TextOf(place, files) + (place.line == 0 ? std::string() : ":" + std::to_string(place.column)) +
         ": " + mistake.text;
}

}  // namespace norvane::text
