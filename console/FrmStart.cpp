#include "console/FrmStart.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QScopedValueRollback>
#include <QScreen>
#include <cstdio>

#include "console/FormTable.h"
#include "console/MonitorCounts.h"
#include "console/MonitorSearch.h"
#include "console/NodeDelegate.h"
#include "console/ScrollKeeper.h"
#include "console/StatusPoll.h"
#include "console/WindowLayout.h"
#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "console/shared/ConnectHandler.h"
#include "console/shared/MainBas.h"
#include "console/shared/WindowTitle.h"
#include "platform/Paths.h"
#include "platform/Registry.h"
#include "support/FrmSplash.h"
#include "support/frmAbout.h"
#include "ui_FrmStart.h"

namespace norvane::console {

namespace {
namespace keys = engine::keys;
using shared::BoxButtons;
using shared::BoxChoice;
using shared::BoxIcon;

constexpr int PollMilliseconds = 5000;
}  // namespace

FrmStart::FrmStart(shared::MainBas& bas)
    : m_bas(bas),
      m_ui(std::make_unique<Ui::FrmStart>()),
      m_tips(bas.Engine),
      m_tree(ImgLstS, m_tips),
      m_list(ImgLstS, m_tips),
      m_healthTips(bas, m_tree, m_tips),
      m_follower(bas, m_tree, this),
      m_commands(bas, m_tree, m_follower),
      Timer1(this) {
  m_ui->setupUi(this);
  setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                 Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
  setFixedSize(size());
  m_ui->TvCtrl->setModel(&m_tree);
  m_ui->TvCtrl->setItemDelegate(new NodeDelegate(m_ui->TvCtrl));
  m_ui->LstV->setModel(&m_list);
  DrawImages();
  FillMenuNew();
  m_ui->TvCtrl->setFocus();  // not the tool bar
  WireControls();
  AddSearchAndMenu();
  m_bas.Tree = this;
  Timer1.setObjectName(QStringLiteral("Timer1"));
  Timer1.start(PollMilliseconds);
}

FrmStart::~FrmStart() {
  m_bas.Tree = nullptr;
}

void FrmStart::DrawImages() {
  for (QAction* button : m_ui->ToolBar->actions()) {
    button->setIcon(Drawing(button->objectName().toStdString()));
    m_ui->ToolBar->widgetForAction(button)->setFocusPolicy(Qt::TabFocus);
  }
  m_ui->Img->setPixmap(Drawing("Img").pixmap(m_ui->Img->size(), devicePixelRatioF()));
}

void FrmStart::FillMenuNew() {
  for (const auto& type : FormTable()) {
    if (type.menuClick == nullptr) continue;
    auto* entry = m_ui->mnuNew->addAction(QLatin1String(type.caption));
    entry->setObjectName(QLatin1String(type.menu));
    connect(entry, &QAction::triggered, this,
            [this, &type] { m_bas.RunHandler([this, &type] { type.menuClick(m_bas, *this); }); });
  }
}

void FrmStart::WireControls() {
  using shared::ConnectHandler;
  ConnectHandler(m_bas, m_ui->TvCtrl, &ClickTree::NodeClick, this, &FrmStart::TvCtrl_Click);
  ConnectHandler(m_bas, m_ui->LstV, &QTreeView::clicked, this, &FrmStart::LstV_ItemClick);
  ConnectHandler(m_bas, m_ui->LstV->header(), &QHeaderView::sectionClicked, this,
                 &FrmStart::LstV_ColumnClick);
  ConnectHandler(m_bas, &Timer1, &QTimer::timeout, this, &FrmStart::Timer1_Timer);
  ConnectHandler(m_bas, &m_follower, &Follower::Followed, this, &FrmStart::Follow);
  ConnectHandler(m_bas, m_ui->ToolBar, &QToolBar::actionTriggered, this, &FrmStart::ToolBar_ButtonClick);
  ConnectHandler(m_bas, m_ui->mnuDelete, &QAction::triggered, this, &FrmStart::mnuDelete_Click);
  ConnectHandler(m_bas, m_ui->mnuExit, &QAction::triggered, this, &FrmStart::mnuExit_Click);
  ConnectHandler(m_bas, m_ui->mnuStop, &QAction::triggered, this, &FrmStart::mnuStop_Click);
  ConnectHandler(m_bas, m_ui->mnuStart, &QAction::triggered, this, &FrmStart::mnuStart_Click);
  ConnectHandler(m_bas, m_ui->mnuAbout, &QAction::triggered, this, &FrmStart::mnuAbout_Click);
  ConnectHandler(m_bas, m_ui->mnuhelphelp, &QAction::triggered, this, &FrmStart::mnuhelphelp_Click);
  ConnectHandler(m_bas, m_ui->mnuFeedback, &QAction::triggered, this, &FrmStart::mnuFeedback_Click);
}

void FrmStart::AddSearchAndMenu() {
  using shared::ConnectHandler;
  const MonitorSearch::Views views = {*m_ui->TvCtrl, m_tree, *m_ui->LstV, m_list};
  auto* search = new MonitorSearch(m_bas.Engine, *m_ui->txtSearch, views);
  const auto refresh = [this, search] {
    search->Refresh();
    ShowCounts(*m_ui->lblCounts, m_bas.Engine);
  };
  // After the handlers of the same signals, which bring tree and list up to date.
  connect(&Timer1, &QTimer::timeout, this, refresh);
  connect(&m_follower, &Follower::Followed, this, refresh);
  connect(&m_list, &QAbstractItemModel::modelReset, this, refresh);
  auto* menu = new MonitorMenu(m_tree, this);
  menu->Serve(*m_ui->TvCtrl);
  menu->Serve(*m_ui->LstV);
  ConnectHandler(m_bas, menu, &MonitorMenu::Chosen, this, &FrmStart::MonitorMenu_Click);
  ConnectHandler(m_bas, m_ui->LstV, &StatusList::Opened, this, &FrmStart::OpenMonitor);
}

// Start and end.

void FrmStart::Form_Load() {
  m_bas.Dialogs.SetPendingCallText("Your request is processing, please wait ... ...", "Wait Please");
  LaidOut = false;
  m_bas.MachineName = platform::ComputerName();
  LoadDataFile();
  support::FrmSplash().exec();
  show();
}

void FrmStart::LoadDataFile() {
  const auto path = m_bas.DataFile();
  if (!platform::FileExists(path)) return;
  try {
    m_bas.FetchComponent<engine::ServiceStore>(m_bas.MachineName)->Load(path);
  } catch (const engine::EngineError& failure) {
    m_bas.ShowFailure("Can not load " + path, failure);
  }
}

void FrmStart::ConnectService(const std::string& machine) {
  m_ui->mnuNew->setEnabled(true);
  m_ui->ToolBar_new->setEnabled(true);
  try {
    const auto config = m_bas.Engine.NewServiceConfig();
    config->SetService(engine::ServiceName);
    config->SetValue(engine::service::BackupFile, m_bas.DataFile());
    config->SetValue(engine::service::LogFile, m_bas.LogPattern());
    config->Commit();
    m_bas.Engine.NewControlGate()->Open(config->GetValue(engine::service::ControlPass));
    m_bas.Store = m_bas.FetchComponent<engine::ServiceStore>(machine);
    m_bas.Monitors = m_bas.FetchComponent<engine::MonitorList>(machine);
    FillTree();
    m_ui->LstV->SetEmptyText(
        QStringLiteral("There are no monitors yet. To add the first one choose File, New Monitor."));
    TvCtrl_NodeClick(*m_tree.Root());
    SelectNode(*m_tree.Root());
    m_follower.Begin(*m_ui->TvCtrl);
  } catch (const std::exception& failure) {
    m_connectFailure = failure.what();
    setWindowTitle(QStringLiteral("Norvane - can not connect to the monitor engine"));
    m_ui->LstV->SetEmptyText(QStringLiteral("Can not connect to the monitor engine: ") +
                             QString::fromStdString(m_connectFailure));
    std::fprintf(stderr, "norvane: cannot connect to the monitor engine: %s\n", failure.what());
  }
}

void FrmStart::FillTree() {
  m_tree.Clear();
  const Node* last = &m_tree.AddRoot({.name = "LocalHost---" + m_bas.MachineName});
  SelectNode(*last);  // so that the poll of the first click counts already
  const int count = m_bas.Monitors->Count();
  for (int index = 1; index <= count; ++index) {
    auto& item = m_bas.CurrentMonitor;
    item = m_bas.Monitors->Item(index);
    if (item->TypeName() == engine::TypeServer) continue;
    // The order of the calls of a start is fixed, and name and type are read twice in it.
    Node node{.name = item->Name()};
    node.name = item->Name();
    node.stopped = item->GetAttr(keys::Status) == engine::StatusDisable;
    node.type = item->TypeName();
    node.type = item->TypeName();
    last = &m_tree.AddChild(std::move(node));
    item.reset();
  }
  if (m_bas.Monitors->Count() > 0) m_ui->TvCtrl->scrollTo(m_tree.IndexOf(*last));
}

void FrmStart::Form_QueryUnload(bool& cancel) {
  cancel = m_bas.Dialogs.Show({.title = "Information",
                               .text = "Are you sure you want to quit Norvane?",
                               .icon = BoxIcon::Exclamation,
                               .buttons = BoxButtons::YesNo}) != BoxChoice::Yes;
  if (cancel) return;
  try {
    if (m_bas.Store) m_bas.Store->Save(m_bas.DataFile());
  } catch (const engine::EngineError&) {
    // The user has decided to leave; what the engine can't save now it still holds.
  }
  Timer1.stop();
  m_bas.ReleaseAll();
  m_bas.EndProcess();
}

// Window.

void FrmStart::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  Form_Resize();
}

// A window that started minimised is not resized when it is restored.
void FrmStart::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() == QEvent::WindowStateChange) Form_Resize();
}

void FrmStart::closeEvent(QCloseEvent* event) {
  bool cancel = false;
  Form_QueryUnload(cancel);
  event->setAccepted(!cancel);
}

void FrmStart::Form_Resize() {
  if (isMinimized() || LaidOut) return;
  LaidOut = true;
  LayOutWindow(*this, *m_ui, LoadedPage(0));
  m_bas.CenterForm(*this, *screen());
  ConnectService(m_bas.MachineName);
}

// Tree, list and pages.

const FrmStart::Node* FrmStart::SelectedNode() const {
  return m_tree.NodeAt(m_ui->TvCtrl->currentIndex());
}

const FrmStart::Node* FrmStart::SelectedMonitor() const {
  const Node* selected = SelectedNode();
  return selected == m_tree.Root() ? nullptr : selected;
}

std::vector<std::string> FrmStart::MonitorTexts() const {
  std::vector<std::string> texts;
  texts.reserve(m_tree.Children().size());
  for (const auto& node : m_tree.Children())
    texts.push_back(node->name);
  return texts;
}

void FrmStart::RequireRoot() const {
  if (m_tree.Root() == nullptr)
    throw engine::EngineError(
        engine::EngineErrorCode::Gone,
        "Norvane could not connect to the monitor engine at its start: " + m_connectFailure);
}

const shared::TreeNode& FrmStart::AddMonitorNode(Node node) {
  return m_tree.AddChild(std::move(node));
}

void FrmStart::SelectNode(const Node& node) {
  m_ui->TvCtrl->setCurrentIndex(m_tree.IndexOf(node));
}

void FrmStart::TvCtrl_Click(const QModelIndex& index) {
  TvCtrl_NodeClick(*m_tree.NodeAt(index));
}

void FrmStart::TvCtrl_NodeClick(const Node& node) {
  m_ui->LstV->hide();
  if (&node == m_tree.Root())
    ShowRoot();
  else
    ShowMonitor(node);
}

void FrmStart::ShowRoot() {
  m_ui->mnuControl->setEnabled(false);
  EnableButtons(false, false, false);
  EnableMenus();
  BuildList();
  m_ui->LstV->move(0, 0);
  m_bas.HidePages(*this);
  m_ui->LstV->show();
  Timer1_Timer();
}

void FrmStart::BuildList() {
  m_ui->LstV->SizeColumns();
  setWindowTitle(QString::fromLatin1(shared::ApplicationTitle));
  m_list.Fill(RowsOf(m_tree));
}

void FrmStart::ShowMonitor(const Node& node) {
  m_ui->mnuControl->setEnabled(true);
  m_ui->ToolBar_delete->setEnabled(true);
  m_ui->ToolBar_property->setEnabled(true);
  if (!m_commands.Resolve(node)) return;
  auto monitor = m_bas.CurrentRef->GetMonitor();
  const bool mayHavePage = monitor->Kind() != engine::KindWithoutPage;
  Page* page = mayHavePage ? PageOf(monitor->TypeName()) : nullptr;
  m_bas.CurrentMonitor = std::move(monitor);  // if all that has failed, the page on show still edits its own
  if (page != nullptr)
    ShowPage(*page);
  else
    DisablePages();
  if (!mayHavePage) return;
  EnableCommands(m_bas.CurrentMonitor->GetAttr(keys::Status));
  show();
}

shared::Page& FrmStart::LoadedPage(std::size_t slot) {
  auto& page = m_bas.PageForms[slot];
  if (!page) {
    page = FormTable()[slot].loadPage(m_bas, m_ui->Fram);
    page->hide();  // or it would come up together with the window
  }
  return *page;
}

FrmStart::Page* FrmStart::PageOf(std::string_view type) {
  for (std::size_t slot = 0; slot < FormTable().size(); ++slot)
    if (FormTable()[slot].name == type) return &LoadedPage(slot);
  return nullptr;
}

void FrmStart::DisablePages() {
  for (const auto& page : m_bas.PageForms)
    if (page) page->setEnabled(false);
}

void FrmStart::ShowPage(Page& form) {
  m_bas.HidePages(form);
  form.setEnabled(true);
  form.show();
  form.RefreshData();
  setWindowTitle(shared::WindowTitle(QStringLiteral("Norvane ---- ") +
                                     QString::fromStdString(m_bas.CurrentMonitor->Name())));
}

void FrmStart::EnableButtons(bool canDelete, bool canStart, bool canStop) {
  m_ui->ToolBar_delete->setEnabled(canDelete);
  m_ui->ToolBar_start->setEnabled(canStart);
  m_ui->ToolBar_stop->setEnabled(canStop);
}

void FrmStart::EnableCommands(std::string_view status) {
  const bool running = status == engine::StatusEnable;
  EnableButtons(true, !running, running);
  EnableMenus();
}

void FrmStart::EnableMenus() {
  m_ui->mnuDelete->setEnabled(m_ui->ToolBar_delete->isEnabled());
  m_ui->mnuStart->setEnabled(m_ui->ToolBar_start->isEnabled());
  m_ui->mnuStop->setEnabled(m_ui->ToolBar_stop->isEnabled());
}

void FrmStart::Follow() {
  if (const Node* monitor = SelectedMonitor()) return FollowPage(*monitor);
  if (m_ui->LstV->isHidden()) return TvCtrl_NodeClick(*m_tree.Root());  // the monitor on show was removed
  const ScrollKeeper scroll(*m_ui->LstV);
  m_list.Follow(RowsOf(m_tree));
}

void FrmStart::FollowPage(const Node& node) {
  engine::MonitorPtr monitor;
  try {
    if (m_bas.CurrentMonitor) monitor = m_bas.CurrentMonitor->Record();
  } catch (const engine::EngineError&) {
    return TvCtrl_NodeClick(node);  // there is another one of this name
  }
  if (!monitor || monitor->name != node.name || !monitor->hasPage) return;
  EnableCommands(monitor->Get(keys::Status));
  for (const auto& page : m_bas.PageForms)
    if (page && page->isVisible()) page->FollowEngine();
}

void FrmStart::LstV_ColumnClick(int column) {
  m_list.SetSortKey(column);
  m_ui->LstV->MarkColumn(column);
}

void FrmStart::LstV_ItemClick() {
  EnableButtons(false, false, false);
}

void FrmStart::OpenMonitor(const std::string& fullName) {
  if (const Node* node = m_tree.Find(fullName)) {
    SelectNode(*node);
    m_ui->TvCtrl->setFocus();
    TvCtrl_NodeClick(*node);
  }
}

void FrmStart::MonitorMenu_Click(const MonitorMenu::Choice& choice) {
  using Command = MonitorMenu::Command;
  const Node* node = m_tree.Find(choice.fullName);
  if (node == nullptr) return;
  if (choice.command == Command::Open) return OpenMonitor(choice.fullName);
  if (choice.command == Command::Delete) return DeleteMonitor(choice.fullName);
  SetStopped(*node, choice.command == Command::Stop);
}

void FrmStart::Timer1_Timer() {
  if (InPoll) return;
  const Node* selected = SelectedNode();
  if (selected == nullptr || selected != m_tree.Root()) return;
  const QScopedValueRollback polling(InPoll, true);
  if (!PollRows(m_bas, m_list)) {
    m_bas.Dialogs.Show({.title = "Restart",
                        .text = "You have restarted the service, so this program must be restarted too",
                        .icon = BoxIcon::Exclamation});
    m_bas.EndProcess();
    return;
  }
  m_healthTips.Refresh();
  m_ui->LstV->clearSelection();
}

// Commands.

void FrmStart::ToolBar_ButtonClick(QAction* button) {
  const auto key = button->text();
  if (key == QLatin1String("new"))
    m_ui->mnuNew->popup(QCursor::pos());
  else if (key == QLatin1String("delete"))
    mnuDelete_Click();
  else if (key == QLatin1String("start"))
    mnuStart_Click();
  else if (key == QLatin1String("stop"))
    mnuStop_Click();
}

void FrmStart::SetStopped(const Node& node, bool stopped) {
  if (!m_commands.SetStopped(node, stopped)) return;
  if (&node == SelectedNode()) return TvCtrl_NodeClick(node);
  Follow();  // keeps selection and scroll position of the list
  Timer1_Timer();
}

void FrmStart::DeleteMonitor(const std::string& fullName) {
  if (!m_commands.Delete(fullName)) return;
  const Node& node = *m_tree.Find(fullName);
  const bool isSelected = &node == SelectedNode();
  const Node& next = m_tree.Neighbour(node);
  m_tree.Remove(node);
  if (!isSelected) return Follow();
  SelectNode(next);
  TvCtrl_NodeClick(next);
}

void FrmStart::mnuStart_Click() {
  if (const Node* monitor = SelectedMonitor()) SetStopped(*monitor, false);
}

void FrmStart::mnuStop_Click() {
  if (const Node* monitor = SelectedMonitor()) SetStopped(*monitor, true);
}

void FrmStart::mnuDelete_Click() {
  if (const Node* monitor = SelectedMonitor()) DeleteMonitor(std::string(monitor->name));
}

void FrmStart::mnuExit_Click() {
  close();
}

void FrmStart::mnuAbout_Click() {
  support::frmAbout(m_bas, this, platform::SystemRegistry()).exec();
}

void FrmStart::mnuhelphelp_Click() {
  m_bas.OpenHelp();
}

void FrmStart::mnuFeedback_Click() {
  const auto target = m_bas.GetIniValue("help", "feedback", "", "");
  if (target > " ") {
    m_bas.OpenDocument(target, false);
    return;
  }
  m_bas.Dialogs.Show({.title = shared::ApplicationTitle, .text = "can not get ini config of feed back"});
}

}  // namespace norvane::console
