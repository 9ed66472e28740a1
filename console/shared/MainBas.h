#pragma once

#include <QPointer>
#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/Engine.h"
#include "console/engine/EngineError.h"
#include "console/shared/Dialogs.h"
#include "console/shared/OnFirstUse.h"
#include "console/shared/Page.h"
#include "platform/LegacyCharset.h"
#include "settings/GatewaySettings.h"

class QScreen;

namespace norvane::console::shared {

class MonitorTree;

/// How many slots of `PageForms` are for pages; the last stays empty.
inline constexpr std::size_t UsedSlots = 5;

/// The title of a box that has none of its own.
inline constexpr char ApplicationTitle[] = "Norvane";

/// The state that all forms share, and the routines that all of them use. One object, made in `main` and
/// given to each form by reference. Belongs to the window system's thread, on which all forms run; the
/// engine's objects that it holds block that thread until the engine answers (see QtCallWaiter.h).
class MainBas {
 public:
  /// `folder` is the application folder. `endProcess` ends the process at once; should it return, as in
  /// tests, the handler that called it does nothing more. Throws std::invalid_argument, whose text is for the
  /// user, if the folder's configuration file has something that the console cannot work with.
  MainBas(engine::EngineFactory& engine, shared::Dialogs& dialogs, std::string folder,
          std::function<void()> endProcess);
  MainBas(const MainBas&) = delete;
  MainBas& operator=(const MainBas&) = delete;

  /// Name of the local computer, read once at the start.
  std::string MachineName;
  OnFirstUse<engine::ServiceRef> CurrentRef;
  /// The root of the last `GetRoot`.
  std::shared_ptr<engine::ServiceRoot> CurrentRoot;
  OnFirstUse<engine::MonitorList> Monitors;
  /// The monitor that the page on show edits; empty until a monitor's node is clicked.
  std::shared_ptr<engine::MonitorItem> CurrentMonitor;
  /// Through which the data file is saved. Empty if connecting failed.
  std::shared_ptr<engine::ServiceStore> Store;
  /// Why the last Apply did not reach the data file; empty if it did.
  std::string NotSaved;
  /// The loaded pages: 0 web, 1 POP3, 2 SMTP, as in console/FormTable.cpp.
  std::array<QPointer<Page>, 6> PageForms;
  /// The rows of the gateway's list of pager types, by their numbers; empty until it has been asked. See
  /// support/PagerTypes.h.
  std::vector<std::string> PagerTypes;
  /// Set by the main window for as long as it lives.
  MonitorTree* Tree = nullptr;

  engine::EngineFactory& Engine;
  shared::Dialogs& Dialogs;
  const std::function<void()> EndProcess;

  // From the configuration file, as it was at the start.
  const settings::GatewaySettings Gateway;
  /// In which the size of a page is counted.
  const platform::LegacyCharset Charset;

  /// The application folder.
  [[nodiscard]] const std::string& Folder() const { return m_folder; }
  [[nodiscard]] std::string PathInFolder(std::string_view name) const;
  [[nodiscard]] std::string DataFile() const;
  /// Where logs go; the engine puts the date for "%d%m%y".
  [[nodiscard]] std::string LogPattern() const;

  /// The component T of the engine on `machine`. Sets machine and class of `CurrentRef`, and `CurrentRoot`,
  /// on the way. Never empty; throws EngineError.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> FetchComponent(const std::string& machine) {
    FetchRoot(machine);
    return engine::ComponentOf<T>(*CurrentRoot, *CurrentRef);
  }

  /// Puts a window in the middle of a screen, or of another window.
  static void CenterForm(QWidget& form, const QScreen& screen);
  static void CenterForm(QWidget& form, const QWidget& parent);

  /// Hides every page but `keep`.
  void HidePages(const QWidget& keep);
  /// Whether the tree has a monitor of that full name, in any letter case, or one whose name ends with it.
  [[nodiscard]] bool MonitorExists(std::string_view fullName) const;
  /// Unloads the pages and drops the shared engine objects.
  void ReleaseAll();

  /// Value from a sectioned text file, at most 299 characters; empty `file` means `config.ini`.
  [[nodiscard]] std::string GetIniValue(const std::string& section, const std::string& key,
                                        const std::string& defaultValue, const std::string& file) const;
  /// Opens a document or address with the desktop's program for it. Shows a box if `mustExist` is set and
  /// there is no such file, or, maybe later, if the desktop finds none, or no program for it.
  void OpenDocument(const std::string& path, bool mustExist);
  /// The document behind the help commands of the main window and the pages.
  void OpenHelp();

  /// A box that tells why something could not be done.
  void ShowFailure(const std::string& what, const std::exception& failure);
  /// Runs an event's handler. Nothing may be thrown through the window system, so an exception that the
  /// handler does not catch becomes a box with its text.
  void RunHandler(const std::function<void()>& handler);

 private:
  void FetchRoot(const std::string& machine);

  std::string m_folder;
};

}  // namespace norvane::console::shared
