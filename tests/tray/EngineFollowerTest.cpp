#include "tray/EngineFollower.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "loopback/HttpServer.h"
#include "loopback/TempFolder.h"
#include "tests/support/Process.h"

namespace norvane::tests {
namespace {

using namespace std::chrono_literals;
using tray::Colour;

/// What the follower has last shown.
class Shown {
 public:
  void Show(const tray::TrayUpdate& update) {
    const std::lock_guard lock(m_mutex);
    m_colour = update.colour;
    for (const auto& notice : update.notices)
      m_titles.push_back(notice.title);
    ++m_times;
    m_changed.notify_all();
  }
  /// In an answer that was asked for from now on; the test's time-out ends a wait in vain.
  void Await(Colour colour) {
    std::unique_lock lock(m_mutex);
    const auto next = m_times + 2;
    m_changed.wait(lock, [&] { return m_times >= next && m_colour == colour; });
  }
  std::vector<std::string> Titles() {
    const std::lock_guard lock(m_mutex);
    return m_titles;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_times = 0;
  Colour m_colour = Colour::Grey;
  std::vector<std::string> m_titles;
};

TEST(EngineFollower, SeesOutagesAndComesBackToTheNextEngine) {
  const loopback::TempFolder folder;
  loopback::HttpServer web;
  const std::string name = "WebMonitor Of shop";
  const auto startEngine = [&] {
    ASSERT_EQ(RunProgram({Program("norvane-engine"), "--folder", folder.Path(), "--detach"}).code, 0);
  };
  const auto ctl = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {Program("norvanectl"), "--folder", folder.Path()});
    const auto finished = RunProgram(arguments);
    EXPECT_EQ(finished.code, 0) << finished.err;
  };
  Shown shown;
  const tray::EngineFollower follower(folder.Path(), 20ms, [&](const auto& update) { shown.Show(update); });
  shown.Await(Colour::Grey);
  startEngine();
  ctl({"add", name});
  ctl({"set", name, "Monitor_Parameter", web.Url("/")});  // 404 so far
  ctl({"set", name, "Monitor_InterVal (s)", "0.5"});
  ctl({"set", name, "Monitor_FailTimes", "2"});
  shown.Await(Colour::Green);
  ctl({"start", name});
  shown.Await(Colour::Red);
  ctl({"shutdown"});
  shown.Await(Colour::Grey);
  startEngine();
  shown.Await(Colour::Red);
  EXPECT_EQ(shown.Titles(), std::vector{"Outage: " + name});
  ctl({"silence", name, "--for", "1h"});
  web.Set("/", loopback::HttpServer::Reply("well"));
  shown.Await(Colour::Green);
  EXPECT_EQ(shown.Titles(), (std::vector{"Outage: " + name, "Outage over: " + name}));
  web.Set("/", loopback::HttpServer::Reply("", "text/html", "503 Service Unavailable"));
  shown.Await(Colour::Red);
  EXPECT_EQ(shown.Titles().size(), 2U) << "what is silenced is not notified";
  ctl({"shutdown"});
  shown.Await(Colour::Grey);
}

}  // namespace
}  // namespace norvane::tests
