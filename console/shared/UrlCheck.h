#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>
#include <string>

#include "console/engine/PageFetch.h"

class QAbstractButton;
class QLabel;
class QLineEdit;
class QRadioButton;
class QWidget;

namespace norvane::console::shared {

class InputBlocker;
class MainBas;

/// The controls that the check of a URL works on.
struct UrlCheckControls {
  QWidget& form;
  QLineEdit& txtMonitorPoint;
  QAbstractButton& Command1;
  QLabel& lbl;
  QRadioButton& optFlag_0;
  QLineEdit& txtBySize;
};

/// Has the engine fetch the page at a form's URL, puts its size where the form judges by size, and shows its
/// text. The form is free to go meanwhile: it owns this, and the fetch ends with it.
///
/// `Command1` reads "Check URL" while nothing runs and during the first moments, and "Cancel Check" from then
/// to the end. All else that the user does meanwhile is lost.
class UrlCheck : public QObject {
  Q_OBJECT

 public:
  static constexpr std::chrono::seconds TimeLimit{10};
  /// Whether a page that came selects the option "By size" first.
  enum class Flag { AsSelected, SelectBySize };

  /// All of `controls` must outlive this. `limit` is the time from the request to the end of the reply.
  UrlCheck(MainBas& bas, const UrlCheckControls& controls, Flag flag,
           std::chrono::milliseconds limit = TimeLimit);
  ~UrlCheck() override;

  /// Begins a check, or cancels the one that runs.
  void Command1_Click();

 private:
  void Begin();
  void Look();
  void WaitForEnd();
  void Blink();
  void Finish();
  void ShowFailure(bool timedOut);
  void ShowPage(const engine::PageReply& reply);
  void ShowError(const std::string& text);

  MainBas& m_bas;
  const UrlCheckControls m_controls;
  const Flag m_flag;
  const std::chrono::milliseconds m_limit;
  std::unique_ptr<engine::PageFetch> m_inet1;  ///< from a click to its end
  QTimer m_look;
  int m_looks = 0;  ///< since the check began
  std::unique_ptr<InputBlocker> m_blocker;
};

}  // namespace norvane::console::shared
