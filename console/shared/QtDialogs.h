#pragma once

#include <memory>

#include "console/shared/Dialogs.h"

class QMessageBox;

namespace norvane::console::shared {

/// The dialogs of the running program.
class QtDialogs : public Dialogs {
 public:
  BoxChoice Show(const Box& box) override;
  std::optional<std::string> OpenFile(const std::string& startFolder, const std::string& filter) override;
  void Open(const std::string& pathOrAddress, std::function<void()> notOpened) override;
  void ShowHourglass(bool shown) override;
  void SetPendingCallText(const std::string& text, const std::string& title) override;

  /// A box that is not on show yet.
  [[nodiscard]] static std::unique_ptr<QMessageBox> MakeMessageBox(const Box& box);
  /// The box of `SetPendingCallText`.
  [[nodiscard]] const Box& PendingCallBox() const { return m_pendingCall; }

 private:
  Box m_pendingCall;
  bool m_hourglass = false;
};

}  // namespace norvane::console::shared
