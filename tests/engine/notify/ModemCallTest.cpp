#include "engine/notify/channels/ModemCall.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <stdexcept>

#include "loopback/TempFolder.h"
#include "platform/FileDescriptor.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using platform::FileDescriptor;
using std::chrono::milliseconds;
using std::chrono::seconds;
using tests::Rows;

/// A modem on a pseudo-terminal, which answers commands by a script.
class Modem {
 public:
  Modem() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    char name[64];
    if (!m_master || ::grantpt(m_master.Get()) != 0 || ::unlockpt(m_master.Get()) != 0 ||
        ::ptsname_r(m_master.Get(), name, sizeof name) != 0)
      throw std::runtime_error("no pseudo-terminal");
    m_device = name;
    m_line.Reset(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));  // keeps the line up between callers
  }
  /// True if the caller said something.
  bool Serve() {
    char bytes[256];
    const auto size = ::read(m_master.Get(), bytes, sizeof bytes);
    for (ssize_t i = 0; i < size; ++i) {
      said += bytes[i] == '\r' ? '|' : bytes[i];
      m_command += bytes[i];
      const auto reply = replies.find(m_command);
      if (reply != replies.end()) Say(reply->second);
      if (bytes[i] == '\r' || reply != replies.end()) m_command.clear();
    }
    return size > 0;
  }
  void Say(const std::string& text) {
    EXPECT_EQ(::write(m_master.Get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void Vanish() {
    m_line.Reset();
    m_master.Reset();
  }
  [[nodiscard]] const std::string& Device() const { return m_device; }
  [[nodiscard]] tcflag_t LocalFlags() const {
    termios settings{};
    EXPECT_EQ(::tcgetattr(m_line.Get(), &settings), 0);
    return settings.c_lflag;
  }

  std::map<std::string, std::string> replies;
  std::string said;  // "|" for each carriage return

 private:
  FileDescriptor m_master;
  FileDescriptor m_line;
  std::string m_device;
  std::string m_command;
};

/// One call, whose time passes while nothing else happens.
class Call : public ProbeClient {
 public:
  Call(const std::string& device, const std::string& number, int speed = 9600)
      : m_probe(MakeModemCall(m_loop, {device, speed, "ATZ", "ATDT", seconds(2)}, number, *this)) {
    m_probe->Begin();
  }
  void Ended(std::string failure) noexcept override {
    outcome = std::move(failure);
    m_probe.reset();
  }
  void Broke(const std::string& why) override { ADD_FAILURE() << why; }
  void RunUntil(Modem& modem, const std::function<bool()>& condition) {
    int idle = 0;
    for (int i = 0; i < 5000 && !condition(); ++i) {
      idle = modem.Serve() ? 0 : idle + 1;
      if (idle == 30) m_now += milliseconds(900);
      if (idle == 30) idle = 0;
      m_loop.RunOnce(milliseconds(1));
    }
    ASSERT_TRUE(condition()) << modem.said;
  }
  void GiveUp() { m_probe.reset(); }

  std::optional<std::string> outcome;

 private:
  Moment m_now{std::chrono::hours(1)};
  EventLoop m_loop{[this] { return m_now; }};
  std::unique_ptr<Probe> m_probe;
};

TEST(ModemCall, TellsResultsApartAndAlwaysHangsUp) {
  using Replies = std::map<std::string, std::string>;
  const std::string ok = "\r\nOK\r\n", usual = "ATZ|ATDT555|ATH|";
  const auto says = [&](Replies replies) {
    replies.insert({{"ATZ\r", ok}, {"ATH\r", ok}});
    return replies;
  };
  const auto dialled = [&](const std::string& result) {
    return says({{"ATDT555\r", "\r\n" + result + "\r\n"}, {"+++", ok}, {"\r", ok}});
  };
  auto echoing = dialled("RINGING\r\n\r\nBUSY");
  for (auto& [command, reply] : echoing)
    reply = command + reply;
  struct Row {
    const char* name;
    Replies replies;
    std::string failure, said, number = "555";
  };
  const Row rows[] = {
      {"ok", dialled("OK"), "", usual},
      {"connect", dialled("CONNECT 9600"), "", "ATZ|ATDT555|+++ATH|"},
      {"busy", dialled("BUSY"), "modem: busy", usual},
      {"no carrier", dialled("NO CARRIER"), "modem: no carrier", usual},
      {"no dial tone", dialled("NO DIALTONE"), "modem: no dial tone", usual},
      {"no dial tone in two words", dialled("NO DIAL TONE"), "modem: no dial tone", usual},
      {"no answer", dialled("NO ANSWER"), "modem: no answer", usual},
      {"error", dialled("ERROR"), "modem: the number was refused (ERROR)", usual},
      {"echo and other words", echoing, "modem: busy", usual},
      {"number cleaned", says({{"ATDT+4*9#,;\r", ok}}), "", "ATZ|ATDT+4*9#,;|ATH|", "+4 *a(9)\r#,;"},
      {"refused", says({{"ATZ\r", "ERROR\r\n"}}), "modem: initialisation refused (ERROR)", "ATZ|ATH|"},
      {"rubbish", says({{"ATZ\r", std::string(3000, 'x') + "\r\n" + ok}, {"ATDT555\r", "OK\r"}}), "", usual},
      {"silent after dialling", says({{"\r", "NO CARRIER\r"}}),
       "modem: no answer within 2 s (result of the call)", "ATZ|ATDT555||ATH|"},
      {"silent", {}, "modem: no answer within 5 s (initialisation)", "ATZ|ATH|"},
      {"no word about hanging up", {{"ATZ\r", ok}, {"ATDT555\r", ok}}, "", usual},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Modem modem;
    modem.replies = row.replies;
    const auto before = modem.LocalFlags();
    Call call(modem.Device(), row.number);
    call.RunUntil(modem, [&] { return call.outcome.has_value(); });
    EXPECT_EQ(call.outcome, row.failure);
    EXPECT_EQ(modem.said, row.said);
    EXPECT_EQ(modem.LocalFlags(), before);
  }
}

TEST(ModemCall, HangsUpWhenGivenUp) {
  Modem modem;
  modem.replies["ATZ\r"] = "OK\r\n";
  const auto before = modem.LocalFlags();
  Call call(modem.Device(), "555");
  call.RunUntil(modem, [&] { return modem.said == "ATZ|ATDT555|"; });
  EXPECT_NE(modem.LocalFlags(), before);
  call.GiveUp();
  modem.Serve();
  EXPECT_EQ(modem.said, "ATZ|ATDT555||ATH|");
  EXPECT_EQ(modem.LocalFlags(), before);
}

TEST(ModemCall, AModemThatIsPulledOutIsAFailure) {
  Modem modem;
  Call call(modem.Device(), "555");
  call.RunUntil(modem, [&] { return modem.said == "ATZ|"; });
  modem.Vanish();
  call.RunUntil(modem, [&] { return call.outcome.has_value(); });
  EXPECT_EQ(call.outcome, "modem " + modem.Device() + ": the line was closed");
}

TEST(ModemCall, TellsWhyItCannotBegin) {
  const loopback::TempFolder folder;
  const auto file = tests::WriteFile(folder / "file", "x");
  Modem modem;
  const Rows<std::string, std::string, int, std::string> rows = {
      {"", "555", 9600, "no modem configured"},
      {modem.Device(), "call me", 9600, "no number to dial"},
      {modem.Device(), "555", 9601, "unsupported modem speed: 9601"},
      {folder / "none", "555", 9600, "modem " + folder / "none" + ": No such file or directory"},
      {file, "555", 9600, "modem " + file + ": Inappropriate ioctl for device"},
  };
  for (const auto& [device, number, speed, failure] : rows) {
    SCOPED_TRACE(failure);
    const Call call(device, number, speed);
    EXPECT_EQ(call.outcome, failure);
  }
}

TEST(ModemSettings, ComeFromTheConfiguration) {
  const loopback::TempFolder folder;
  const Rows<const char*, const char*, int, const char*, const char*, int> rows = {
      {"", "", 9600, "ATZ", "ATDT", 30},
      {"[modem]\ndevice=/dev/ttyS1\nspeed=2400\ninit=ATZ0\ndial=ATDP\nwait=45\n", "/dev/ttyS1", 2400, "ATZ0",
       "ATDP", 45},
      {"[modem]\nspeed=fast\nwait=0\ninit=\n", "", 9600, "", "ATDT", 30},
      {"[modem]\nwait=601\n", "", 9600, "ATZ", "ATDT", 30},
  };
  for (const auto& [text, device, speed, init, dial, wait] : rows) {
    SCOPED_TRACE(text);
    const auto settings = ModemSettings::FromConfig(tests::WriteFile(folder / "config.ini", text));
    EXPECT_EQ(settings.device, device);
    EXPECT_EQ(settings.speed, speed);
    EXPECT_EQ(settings.init, init);
    EXPECT_EQ(settings.dial, dial);
    EXPECT_EQ(settings.wait, seconds(wait));
  }
}

}  // namespace
}  // namespace norvane::engine
