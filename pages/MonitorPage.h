#pragma once

#include <QPointer>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "console/engine/Engine.h"
#include "console/shared/FieldControls.h"
#include "console/shared/Page.h"
#include "settings/Type.h"

namespace norvane::console::shared {
class MainBas;
}

namespace norvane::pages {

namespace Ui {
class MonitorPage;
}
class SeenSettings;

/// What the pages of all types have in common: the buttons, the tabs "Notification" and "Command", and the
/// handlers. Each page puts its own controls on the tab "General".
class MonitorPage : public console::shared::Page {
  Q_OBJECT

 public:
  ~MonitorPage() override;

  bool Validate() override;
  void SaveData() override;
  /// Hides the page if that fails: it would show one monitor's fields for another's.
  void RefreshData() override;
  void FollowEngine() override;

  void cmdTest_Click();
  void cmdRestore_Click();
  void cmdApply_Click();
  void cmdHelp_Click();
  /// The two buttons send the same notification, the stored one.
  void cmdTestEmail_Click();
  void cmdTestPager_Click();
  /// 0 is the command at a failure, 1 the one at a restart.
  void cmdBrowse_Click(int index);
  void chkByEmail_Click();
  void chkByPager_Click();
  void chkInetCall_Click();
  void cmbPagerType_DropDown();
  /// The pager type rule.
  void cmbPagerType_Change();

 protected:
  /// `type` must outlive this.
  MonitorPage(console::shared::MainBas& bas, const settings::Type& type, const QString& name,
              QWidget* parent);

  /// Finds, wires and fills the controls. Each page calls it once, with its own controls in place. `tabOrder`
  /// has the names of all controls that can get the focus, the tab strip among them.
  void Form_Load(std::span<const char* const> tabOrder);
  /// Something has changed since the last load or save.
  void EnableApply();
  /// Lets what the notification enables follow from its controls after a load, which need not have changed
  /// any of them.
  virtual void RunNotificationHandlers();
  /// False, after a box, if the fields don't allow a test.
  [[nodiscard]] virtual bool ReadyToTest() { return Validate(); }
  [[nodiscard]] settings::Fields& Fields() { return *m_fields; }

  /// Keeps Enter and the idle wheel from the controls, and gives a button that is reached by its access key
  /// the focus first.
  bool eventFilter(QObject* watched, QEvent* event) override;

  console::shared::MainBas& m_bas;
  const std::unique_ptr<Ui::MonitorPage> m_ui;

 private:
  void OrderTabs(std::span<const char* const> names);
  void WireControls();
  void WireSpinners();
  void FilterInput();
  void FitLargeFont();
  /// `mode` is what `settings::RefreshData` gave.
  void KeepMode(const std::string& mode);
  /// The tool tips of the buttons say so after an Apply that failed.
  void ShowWhatIsSaved();
  /// The focus goes back where it came from, or to another button.
  void DisableApply();

  using RunnerCall =
      std::int32_t (console::engine::MonitorRunner::*)(std::shared_ptr<console::engine::MonitorItem>& item);
  /// The result of the call, which Esc ends; the item that it gives back is `CurrentMonitor` from then on.
  /// The reason of a failure becomes the tool tip of `button`.
  [[nodiscard]] std::int32_t Run(RunnerCall call, QWidget& button);
  [[nodiscard]] bool Notified(QWidget& button);
  void SendTestMessage(QWidget& button);

  const settings::Type& m_type;
  std::unique_ptr<SeenSettings> m_seen;
  std::optional<console::shared::FieldControls> m_fields;  ///< from Form_Load on
  std::string m_keptMode;  ///< a notification that the fields cannot show, until the user chooses one
  QPointer<QWidget> m_beforeApply;  ///< had the focus before `cmdApply`
  std::string m_chosenFile;  ///< the last one that the file dialog gave; it keeps it when it is cancelled
};

}  // namespace norvane::pages
