#pragma once

#include <QMainWindow>
#include <QTimer>
#include <memory>
#include <string>
#include <string_view>

#include "console/Follower.h"
#include "console/HealthTips.h"
#include "console/ImageList.h"
#include "console/MonitorCommands.h"
#include "console/MonitorMenu.h"
#include "console/MonitorTips.h"
#include "console/StatusModel.h"
#include "console/TreeModel.h"
#include "console/shared/MonitorTree.h"
#include "console/shared/Page.h"
#include "console/shared/StrayClicks.h"

class QAction;

namespace norvane::console {

namespace shared {
class MainBas;
}
namespace Ui {
class FrmStart;
}

/// The main window: the monitors' tree on the left, the status list or a monitor's page on the right.
class FrmStart : public QMainWindow, public shared::MonitorTree {
  Q_OBJECT

 public:
  explicit FrmStart(shared::MainBas& bas);
  ~FrmStart() override;

  /// The program's start, up to the main window on show. Waits for the splash.
  void Form_Load();
  /// Lays out and connects, once, as soon as the window isn't minimised.
  void Form_Resize();
  /// Sets `cancel` if the user wants to go on; ends the process otherwise.
  void Form_QueryUnload(bool& cancel);

  [[nodiscard]] std::vector<std::string> MonitorTexts() const override;
  void RequireRoot() const override;
  const shared::TreeNode& AddMonitorNode(shared::TreeNode node) override;
  void SelectNode(const shared::TreeNode& node) override;
  void TvCtrl_NodeClick(const shared::TreeNode& node) override;

  void LstV_ColumnClick(int column);
  void LstV_ItemClick();
  /// The status poll.
  void Timer1_Timer();

  void ToolBar_ButtonClick(QAction* button);
  void mnuDelete_Click();
  void mnuExit_Click();
  void mnuStop_Click();
  void mnuStart_Click();
  void mnuAbout_Click();
  void mnuhelphelp_Click();
  void mnuFeedback_Click();

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  using Node = shared::TreeNode;
  using Page = shared::Page;

  void WireControls();
  void DrawImages();
  void FillMenuNew();
  /// The search field, the context menu of tree and list, and the counts.
  void AddSearchAndMenu();
  void TvCtrl_Click(const QModelIndex& index);

  void LoadDataFile();
  void ConnectService(const std::string& machine);
  void FillTree();

  /// Null if none is.
  [[nodiscard]] const Node* SelectedNode() const;
  /// Null if none is, or the root.
  [[nodiscard]] const Node* SelectedMonitor() const;
  [[nodiscard]] Page& LoadedPage(std::size_t slot);
  /// Null for a type without a page.
  [[nodiscard]] Page* PageOf(std::string_view type);
  void ShowRoot();
  void ShowMonitor(const Node& node);
  void ShowPage(Page& form);
  /// The page on show stays, but belongs to no current monitor.
  void DisablePages();
  void BuildList();
  void MonitorMenu_Click(const MonitorMenu::Choice& choice);
  void OpenMonitor(const std::string& fullName);
  void EnableButtons(bool canDelete, bool canStart, bool canStop);
  /// Those for a monitor with this `Status`.
  void EnableCommands(std::string_view status);
  /// Each menu entry is enabled as the button of the same name.
  void EnableMenus();

  /// Shows what the follower found.
  void Follow();
  void FollowPage(const Node& node);

  void SetStopped(const Node& node, bool stopped);
  void DeleteMonitor(const std::string& fullName);

  shared::MainBas& m_bas;
  std::unique_ptr<Ui::FrmStart> m_ui;
  ImageList ImgLstS;
  MonitorTips m_tips;
  TreeModel m_tree;
  StatusModel m_list;
  HealthTips m_healthTips;
  Follower m_follower;
  MonitorCommands m_commands;
  shared::StrayClicks m_strayClicks;
  std::string m_connectFailure;  ///< its reason; empty if there was none
  QTimer Timer1;
  bool LaidOut = false;
  bool InPoll = false;
};

}  // namespace norvane::console
