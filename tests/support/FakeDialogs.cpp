#include "tests/support/FakeDialogs.h"

#include <gtest/gtest.h>

#include <ostream>

namespace norvane::console::shared {

void PrintTo(const Box& box, std::ostream* out) {
  constexpr const char* Icons[] = {"no icon", "information", "exclamation", "question", "critical"};
  *out << "box [" << box.title << "] \"" << box.text << "\" " << Icons[static_cast<int>(box.icon)]
       << (box.buttons == BoxButtons::Ok ? " OK" : " Yes/No");
}

}  // namespace norvane::console::shared

namespace norvane::tests {

using console::shared::Box;
using console::shared::BoxButtons;
using console::shared::BoxChoice;

FakeDialogs::~FakeDialogs() {
  EXPECT_TRUE(m_answers.empty()) << m_answers.size() << " announced boxes were not shown";
  EXPECT_TRUE(m_files.empty()) << m_files.size() << " announced file dialogs were not shown";
}

BoxChoice FakeDialogs::Show(const Box& box) {
  m_boxes.push_back(box);
  Notify(::testing::PrintToString(box));
  if (onEvent && box.buttons == BoxButtons::Ok) return BoxChoice::Ok;
  if (m_answers.empty()) {
    ADD_FAILURE() << "unannounced box: " << ::testing::PrintToString(box);
    return box.buttons == BoxButtons::Ok ? BoxChoice::Ok : BoxChoice::No;
  }
  const auto answer = m_answers.front();
  m_answers.pop_front();
  EXPECT_EQ(box.buttons == BoxButtons::Ok, answer == BoxChoice::Ok) << "no such button: " << box.text;
  Notify(answer == BoxChoice::Yes ? "answered Yes" : "answered No");
  return answer;
}

std::optional<std::string> FakeDialogs::OpenFile(const std::string& startFolder, const std::string& filter) {
  fileRequests.push_back({startFolder, filter});
  Notify("file dialog in " + startFolder + " with " + filter);
  if (m_files.empty()) {
    ADD_FAILURE() << "unannounced file dialog";
    return std::nullopt;
  }
  auto chosen = std::move(m_files.front());
  m_files.pop_front();
  return chosen;
}

void FakeDialogs::Open(const std::string& pathOrAddress, std::function<void()> notOpened) {
  opened.push_back(pathOrAddress);
  Notify("opens the document \"" + pathOrAddress + '"');
  if (!openFindsFile) notOpened();
}

void FakeDialogs::SetPendingCallText(const std::string& text, const std::string& title) {
  Notify("text while a call is pending: [" + title + "] " + text);
}

void FakeDialogs::ShowHourglass(bool shown) {
  if (hourglass != shown) Notify(shown ? "hourglass" : "normal pointer");
  hourglass = shown;
}

void FakeDialogs::Notify(const std::string& event) const {
  if (onEvent) onEvent(event);
}

}  // namespace norvane::tests
