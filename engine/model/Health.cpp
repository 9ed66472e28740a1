#include "engine/model/Health.h"

namespace norvane::engine {

void Health::Set(std::string_view key, const std::string& problem) {
  const auto known = m_conditions.find(key);
  if (problem.empty()) {
    if (known != m_conditions.end()) End(known);
  } else if (known != m_conditions.end()) {
    known->second.text = problem;
  } else {
    Begin(key, problem);
  }
}

void Health::Note(std::string_view key, const std::string& text, std::chrono::seconds lasting) {
  const auto end = m_clock() + lasting;
  const auto known = m_conditions.find(key);
  if (known == m_conditions.end() && m_conditions.size() < MaxConditions) return Begin(key, text, end);
  if (known != m_conditions.end()) {
    known->second.text = text;
    known->second.end = end;
  }
  m_observer(key, {text, std::chrono::system_clock::now(), end}, Change::Recurs);
}

void Health::Replace(std::string_view key) {
  if (const auto known = m_conditions.find(key); known != m_conditions.end()) m_conditions.erase(known);
}

void Health::EndExpired() {
  const auto now = m_clock();
  for (auto each = m_conditions.begin(); each != m_conditions.end();) {
    const auto condition = each++;
    if (condition->second.end <= now) End(condition);
  }
}

void Health::Begin(std::string_view key, const std::string& text, Moment end) {
  const auto begun = m_conditions.emplace(key, Condition{text, std::chrono::system_clock::now(), end}).first;
  m_observer(key, begun->second, Change::Begins);
}

void Health::End(Conditions::iterator at) {
  const auto ended = m_conditions.extract(at);
  m_observer(ended.key(), ended.mapped(), Change::Ends);
}

}  // namespace norvane::engine
