// norvane_demo: Norvane with everything around it, on this machine alone. On a display the user plays with
// the console; else, or with --pictures DIR, the console is driven and pictures of its forms are written.

#include <QApplication>
#include <QLoggingCategory>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "link/StartEngine.h"
#include "demo/DemoFolder.h"
#include "demo/DemoMonitors.h"
#include "demo/DemoServers.h"
#include "demo/Interrupt.h"
#include "demo/Pictures.h"
#include "demo/Play.h"
#include "demo/Story.h"
#include "link/EngineClient.h"
#include "platform/Paths.h"

namespace {
using namespace norvane;

constexpr char Usage[] =
    "Usage: norvane_demo                 starts the console with sample monitors; needs a display\n"
    "       norvane_demo --pictures DIR  drives the console and writes screenshots of its forms to DIR\n";

/// What both forms of the demonstration begin and end with.
struct Stage {
  Stage() { demo::WriteFiles(folder, servers); }
  void Begin() { demo::AddMonitors(engine, folder, servers); }

  const std::string programs = platform::ApplicationFolder() + "/../bin";
  demo::DemoServers servers;
  demo::DemoFolder folder{platform::ApplicationFolder() + "/app", programs};
  link::EngineClient engine{
      {.folder = folder.Path(), .startEngine = [this] { link::StartEngine(folder.Path()); }}};
};

void LetUserPlay(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  Stage stage;
  stage.Begin();
  demo::Play(stage.engine, stage.servers, stage.folder).Run();
}

void RunStory(int argc, char** argv, const std::string& picturesFolder) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  // Qt warns of each thing that this platform lacks.
  QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
  const QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  Stage stage;
  const demo::Interrupt interrupt([&stage] {
    stage.folder.EndEngine();
    std::fprintf(stderr, "norvane_demo: interrupted\n");
    std::_Exit(EXIT_FAILURE);
  });
  demo::Pictures pictures(picturesFolder);
  stage.Begin();
  demo::Story(stage.engine, stage.servers, stage.folder, pictures).Run();
  std::printf("%d pictures are in %s\n", pictures.Count(), picturesFolder.c_str());
}
}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  try {
    if (arguments.empty())
      LetUserPlay(argc, argv);
    else if (arguments.size() == 2 && arguments[0] == "--pictures")
      RunStory(argc, argv, argv[2]);
    else
      throw std::runtime_error(std::string("invalid arguments\n") + Usage);
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "norvane_demo: %s\n", failure.what());
    return EXIT_FAILURE;
  }
}
