// What the console costs at many monitors: the real forms on the offscreen platform, against a real engine.
//
// Called without arguments it fills an engine for each number of monitors, has itself called with the folder
// of that engine, so that memory is that of a console alone, and prints a table. The first list is timed by
// the clock on the wall, the rest by the processor time of the window's thread.

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QProcess>
#include <QTimer>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/EngineProcess.h"
#include "console/ClickTree.h"
#include "console/FrmStart.h"
#include "console/engine/MonitorKeys.h"
#include "console/shared/MainBas.h"
#include "console/shared/MonitorNames.h"
#include "link/EngineClient.h"
#include "loopback/TempFolder.h"
#include "platform/FileNames.h"
#include "platform/Paths.h"

namespace {
using namespace norvane;

constexpr std::array<int, 4> Sizes = {100, 1000, 10000, 32767};

/// Nothing may go wrong here.
class NoDialogs : public console::shared::Dialogs {
 public:
  console::shared::BoxChoice Show(const console::shared::Box& box) override {
    throw std::runtime_error(box.text);
  }
  std::optional<std::string> OpenFile(const std::string&, const std::string&) override {
    return std::nullopt;
  }
  void Open(const std::string&, std::function<void()>) override {}
  void ShowHourglass(bool) override {}
  void SetPendingCallText(const std::string&, const std::string&) override {}
};

double ThreadMilliseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// What it costs the window's thread, painting included; what others do on the machine does not count.
double Milliseconds(const std::function<void()>& act) {
  const double start = ThreadMilliseconds();
  act();
  QCoreApplication::processEvents();  // paints
  return ThreadMilliseconds() - start;
}

/// `before` is not timed.
double MiddleOfFive(const std::function<void()>& before, const std::function<void()>& act) {
  std::array<double, 5> times{};
  for (auto& time : times) {
    (void)Milliseconds(before);
    time = Milliseconds(act);
  }
  std::sort(times.begin(), times.end());
  return times[2];
}

double ResidentMegabytes() {
  std::ifstream statm("/proc/self/statm");
  long total = 0;
  long resident = 0;
  statm >> total >> resident;
  return static_cast<double>(resident) * 4096 / 1e6;
}

/// A click on the middle one of all monitors, or on the root.
void Click(console::FrmStart& form, bool monitor) {
  auto& tree = *form.findChild<console::ClickTree*>(QStringLiteral("TvCtrl"));
  const auto root = tree.model()->index(0, 0);
  const auto node = monitor ? tree.model()->index(tree.model()->rowCount(root) / 2, 0, root) : root;
  tree.setCurrentIndex(node);
  emit tree.NodeClick(node);
}

/// Another program stops or starts the middle monitor: what it costs to show that.
double Follow(console::FrmStart& form, link::EngineClient& engine) {
  const auto id = engine.Find(form.MonitorTexts()[form.MonitorTexts().size() / 2]);
  auto& timer = *form.findChild<QTimer*>(QStringLiteral("FollowTimer"));
  bool isStopped = false;
  return MiddleOfFive(
      [&] {
        isStopped = !isStopped;
        engine.SetAttribute(id, console::engine::keys::Status,
                            isStopped ? console::engine::StatusDisable : console::engine::StatusEnable);
        QCoreApplication::processEvents();
      },
      [&timer] { QMetaObject::invokeMethod(&timer, "timeout"); });
}

/// The dearest keystroke in the search field: one that leaves some, one that leaves none, one that asks how
/// all are, and the one that clears it.
double Search(console::FrmStart& form) {
  auto& field = *form.findChild<QLineEdit*>(QStringLiteral("txtSearch"));
  const auto type = [&field](const char* text) { field.setText(QLatin1String(text)); };
  double dearest = 0;
  for (const auto& [from, to] : {std::pair("", "7"), std::pair("77777", "777777"), std::pair("erro", "error"),
                                 std::pair("777777", "")})
    dearest = std::max(dearest, MiddleOfFive([&] { type(from); }, [&] { type(to); }));
  return dearest;
}

void Measure(const std::string& folder) {
  NoDialogs dialogs;
  link::EngineClient port({.folder = folder, .startEngine = {}});
  console::engine::EngineFactory engine(port);
  console::shared::MainBas bas(engine, dialogs, folder,
                               [] { throw std::runtime_error("the service is lost"); });
  console::FrmStart form(bas);
  QElapsedTimer sinceSplash;
  QTimer::singleShot(0, [&sinceSplash] {
    sinceSplash.start();
    QApplication::activeModalWidget()->close();
  });
  form.Form_Load();
  QCoreApplication::processEvents();
  const double firstList = static_cast<double>(sinceSplash.nsecsElapsed()) / 1e6;

  const double sort = Milliseconds([&form] { form.LstV_ColumnClick(3); });
  const double poll = MiddleOfFive([] {}, [&form] { form.Timer1_Timer(); });
  const double click = MiddleOfFive([&form] { Click(form, false); }, [&form] { Click(form, true); });
  if (form.windowTitle() == QStringLiteral("Norvane")) throw std::runtime_error("no page came up");
  Click(form, false);
  const double follow = Follow(form, port);
  const double search = Search(form);
  std::printf("%zu %f %f %f %f %f %f %f\n", form.MonitorTexts().size(), firstList, poll, click, sort, follow,
              search, ResidentMegabytes());
}

/// Running monitors whose checks fail at once and rarely come again, in an order that is not that of names.
void Fill(link::EngineClient& engine, const std::string& folder, int count) {
  namespace ce = console::engine;
  ce::OpenGate(engine);
  ce::MonitorId last = 0;
  for (int i = 0; i < count; ++i) {
    const auto name = "WebMonitor Of site " + std::to_string(i * 7919LL % 100003);
    engine.Add(name);
    last = engine.Find(name);
    engine.SetAttribute(last, ce::keys::Interval, "3600");
    engine.SetAttribute(last, ce::keys::Status, ce::StatusEnable);
  }
  while (engine.Get(last)->Get(ce::keys::Result).empty())
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  engine.Save(platform::PathIn(folder, platform::files::EngineData));
}

void MeasureInChild(int count) {
  const loopback::TempFolder folder;
  const bench::EngineProcess process(folder.Path());
  link::EngineClient engine(bench::ConsoleOptions(folder.Path()));
  Fill(engine, folder.Path(), count);
  QProcess child;
  child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  child.start(QCoreApplication::applicationFilePath(), {QString::fromStdString(folder.Path())});
  child.waitForFinished(-1);
  double figures[8] = {};
  std::istringstream line(child.readAllStandardOutput().toStdString());
  for (double& figure : figures)
    line >> figure;
  if (!line) throw std::runtime_error("the console did not get through");
  std::printf("%8.0f %14.1f %9.2f %10.2f %9.2f %11.2f %11.2f %11.1f\n", figures[0], figures[1], figures[2],
              figures[3], figures[4], figures[5], figures[6], figures[7]);
  std::fflush(stdout);
}

/// What it costs to propose a name when all lower numbers are in use.
double ProposeName(int count) {
  constexpr char Head[] = "WebMonitor Of ";
  std::vector<std::string> names;
  for (int number = 1; number <= count; ++number)
    names.push_back(Head + std::to_string(number));
  const double start = ThreadMilliseconds();
  const int proposed = console::shared::MonitorNames(names).LowestFreeNumber(Head);
  const double milliseconds = ThreadMilliseconds() - start;
  if (proposed != count + 1) throw std::runtime_error("the proposed name is not free");
  return milliseconds;
}
}  // namespace

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  const QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  try {
    if (argc == 2) {
      Measure(argv[1]);
      return EXIT_SUCCESS;
    }
    std::printf(
        "monitors  first list ms   poll ms   click ms   sort ms   follow ms   search ms   memory MB\n");
    for (const int count : Sizes)
      MeasureInChild(count);
    std::printf("limit at %d:%7d %9d %10d %9d %11d %11d %11d\n", Sizes.back(), 500, 100, 16, 200, 100, 50,
                150);
    std::printf("name proposed among %d: %.2f ms, limit 50\n", Sizes.back(), ProposeName(Sizes.back()));
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "console_bench: %s\n", failure.what());
    return EXIT_FAILURE;
  }
}
