#pragma once

#include <deque>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "console/shared/Dialogs.h"

namespace norvane::console::shared {
void PrintTo(const Box& box, std::ostream* out);
}

namespace norvane::tests {

/// Opens no window: boxes are recorded and answered from a script. An unannounced box fails the test, and so
/// does an answer left over.
class FakeDialogs : public console::shared::Dialogs {
 public:
  ~FakeDialogs() override;

  /// Announces one more box, and what the user will answer.
  void Announce(console::shared::BoxChoice answer = console::shared::BoxChoice::Ok) {
    m_answers.push_back(answer);
  }
  /// Announces one more file dialog; empty means that the user cancels.
  void AnnounceFile(std::optional<std::string> chosen) { m_files.push_back(std::move(chosen)); }

  /// The boxes shown since the last call.
  [[nodiscard]] std::vector<console::shared::Box> TakeBoxes() { return std::exchange(m_boxes, {}); }

  struct FileRequest {
    std::string startFolder;
    std::string filter;
  };
  std::vector<FileRequest> fileRequests;
  std::vector<std::string> opened;
  bool openFindsFile = true;
  bool hourglass = false;
  /// Receives each event as it happens. A box with OK alone need not be announced then.
  std::function<void(const std::string& event)> onEvent;

  console::shared::BoxChoice Show(const console::shared::Box& box) override;
  std::optional<std::string> OpenFile(const std::string& startFolder, const std::string& filter) override;
  void Open(const std::string& pathOrAddress, std::function<void()> notOpened) override;
  void ShowHourglass(bool shown) override;
  void SetPendingCallText(const std::string& text, const std::string& title) override;

 private:
  void Notify(const std::string& event) const;

  std::deque<console::shared::BoxChoice> m_answers;
  std::deque<std::optional<std::string>> m_files;
  std::vector<console::shared::Box> m_boxes;
};

}  // namespace norvane::tests
