#include "console/OneConsole.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>
#include <future>
#include <stdexcept>

#include "loopback/TempFolder.h"

namespace norvane::tests {
namespace {

using namespace std::chrono_literals;
using console::OneConsole;

TEST(OneConsoleTest, TheSecondCallsTheFirst) {
  const loopback::TempFolder parent;
  for (const std::size_t length : {1, 200}) {  // the latter is too long for the address of a socket
    const auto folder = parent / std::string(length, 'd');
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    const auto first = OneConsole::Claim(folder, "");
    ASSERT_TRUE(first);
    for (const char* name : {"/NorvaneConsole.sock", "/NorvaneConsole.lock"}) {
      struct stat status {};
      ASSERT_EQ(::stat((folder + name).c_str(), &status), 0) << name;
      EXPECT_EQ(status.st_mode & 0077U, 0U) << name;  // nothing for others
    }
    QSignalSpy called(first.get(), &OneConsole::Called);
    for (const char* token : {"", "token_TIME12"}) {
      auto second = std::async(std::launch::async, [&] { return OneConsole::Claim(folder, token); });
      EXPECT_TRUE(QTest::qWaitFor([&] { return second.wait_for(0s) == std::future_status::ready; }));
      EXPECT_FALSE(second.get());
      ASSERT_EQ(called.count(), 1);
      EXPECT_EQ(called.takeFirst().first().toByteArray(), QByteArray(token));
    }
  }
}

TEST(OneConsoleTest, AFirstThatHangsIsNotWaitedForForLong) {
  const loopback::TempFolder folder;
  const auto first = OneConsole::Claim(folder.Path(), "");
  EXPECT_THROW((void)OneConsole::Claim(folder.Path(), "", 100ms), std::runtime_error);
}

TEST(OneConsoleTest, TheFolderIsFreeAfterwards) {
  const loopback::TempFolder folder, other;
  auto first = OneConsole::Claim(folder.Path(), "");
  EXPECT_TRUE(OneConsole::Claim(other.Path(), ""));
  first.reset();
  EXPECT_TRUE(OneConsole::Claim(folder.Path(), ""));
}

}  // namespace
}  // namespace norvane::tests
