#include "console/shared/MainBas.h"

#include <QScreen>
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "console/shared/FitScreen.h"
#include "console/shared/MonitorNames.h"
#include "console/shared/MonitorTree.h"
#include "platform/FileNames.h"
#include "platform/IniFile.h"
#include "platform/Paths.h"

namespace norvane::console::shared {

namespace files = platform::files;

namespace {

settings::GatewaySettings ReadGateway(const std::string& configFile) {
  auto gateway = settings::ReadGatewaySettings(configFile);
  if (const auto fault = settings::FaultOf(gateway)) throw std::invalid_argument(*fault);
  return gateway;
}

QPoint MiddleOf(const QRect& area, QSize size) {
  return {area.left() + (area.width() - size.width()) / 2, area.top() + (area.height() - size.height()) / 2};
}

Box ErrorBox(std::string text) {
  return {.title = "Error", .text = std::move(text), .icon = BoxIcon::Critical};
}
}  // namespace

MainBas::MainBas(engine::EngineFactory& engine, shared::Dialogs& dialogs, std::string folder,
                 std::function<void()> endProcess)
    : CurrentRef([&engine] { return engine.NewServiceRef(); }),
      Monitors([&engine] { return engine.NewMonitorList(); }),
      Engine(engine),
      Dialogs(dialogs),
      EndProcess(std::move(endProcess)),
      Gateway(ReadGateway(platform::PathIn(folder, files::Config))),
      Charset(platform::LegacyCharset::FromConfig(platform::PathIn(folder, files::Config))),
      m_folder(std::move(folder)) {}

std::string MainBas::PathInFolder(std::string_view name) const {
  return platform::PathIn(m_folder, name);
}

std::string MainBas::DataFile() const {
  return PathInFolder(files::EngineData);
}

std::string MainBas::LogPattern() const {
  return PathInFolder(files::MonitorLog);
}

void MainBas::FetchRoot(const std::string& machine) {
  CurrentRef->SetMachine(machine);
  CurrentRef->SetClassId(engine::RootClassId);
  CurrentRoot = CurrentRef->GetRoot();
}

void MainBas::CenterForm(QWidget& form, const QScreen& screen) {
  const auto place = MiddleOf(screen.geometry(), form.size());
  form.move(place.x(), std::max(place.y(), screen.availableGeometry().top()));
}

void MainBas::CenterForm(QWidget& form, const QWidget& parent) {
  // Of their insides, since the frames are alike, and not known while the window manager makes them.
  const auto screen = parent.screen()->availableGeometry();
  const int title = std::clamp(parent.geometry().top() - parent.frameGeometry().top(), 0, FrameHeight);
  auto place = MiddleOf(parent.geometry(), form.size());
  place.setY(std::max(std::min(place.y(), screen.bottom() - form.height()), screen.top() + title));
  form.setGeometry({place, form.size()});
}

void MainBas::HidePages(const QWidget& keep) {
  for (std::size_t slot = 0; slot < UsedSlots; ++slot) {
    const auto& page = PageForms[slot];
    if (page && page != &keep && page->isVisible()) page->hide();
  }
}

bool MainBas::MonitorExists(std::string_view fullName) const {
  return MonitorNames(Tree->MonitorTexts()).Exists(fullName);
}

void MainBas::ReleaseAll() {
  for (std::size_t slot = 0; slot < UsedSlots; ++slot)
    delete std::exchange(PageForms[slot], {}).data();  // out of reach of whoever hears of its end
  CurrentRef.Release();
  Monitors.Release();
  PagerTypes.clear();
}

std::string MainBas::GetIniValue(const std::string& section, const std::string& key,
                                 const std::string& defaultValue, const std::string& file) const {
  return platform::IniValue(section, key, defaultValue, file.empty() ? PathInFolder(files::Config) : file);
}

void MainBas::OpenDocument(const std::string& path, bool mustExist) {
  if (mustExist && !platform::FileExists(path)) {
    Dialogs.Show(ErrorBox("Help File Doesn't Exist In Installed Folder"));
    return;
  }
  Dialogs.Open(path, [this] {
    Dialogs.Show(ErrorBox(
        "Your computer is not installed htm or html browser, or does not make htm associate to the browser"));
  });
}

void MainBas::OpenHelp() {
  OpenDocument(PathInFolder(files::Help), true);
}

void MainBas::ShowFailure(const std::string& what, const std::exception& failure) {
  Dialogs.Show(ErrorBox(what + ": " + failure.what()));
}

void MainBas::RunHandler(const std::function<void()>& handler) {
  try {
    handler();
  } catch (const std::exception& failure) {
    Dialogs.Show(ErrorBox(failure.what()));
  }
}

}  // namespace norvane::console::shared
