#include "engine/notify/channels/ModemCall.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <utility>

#include "engine/net/Reason.h"
#include "engine/notify/Channel.h"
#include "engine/notify/SerialLine.h"
#include "formats/Number.h"
#include "platform/Ascii.h"
#include "platform/IniFile.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

/// What a modem says at the end of a command.
struct Result {
  std::string_view text;     // at the head of a line
  std::string_view failure;  // of the call; empty: it succeeded
  bool isOnline = false;     // the modem treats what follows as data
};
constexpr Result Results[] = {
    {"OK", ""},
    {"CONNECT", "", true},
    {"BUSY", "modem: busy"},
    {"NO CARRIER", "modem: no carrier"},
    {"NO DIALTONE", "modem: no dial tone"},
    {"NO DIAL TONE", "modem: no dial tone"},
    {"NO ANSWER", "modem: no answer"},
    {"ERROR", "modem: the number was refused (ERROR)"},
};

const Result* ResultOf(std::string_view line) {
  const auto* result = std::find_if(std::begin(Results), std::end(Results),
                                    [&](const Result& row) { return line.starts_with(row.text); });
  return result == std::end(Results) ? nullptr : result;
}

constexpr seconds InitTime{5};
constexpr seconds HangUpTime{3};
/// Silence on both sides of "+++", without which the modem treats it as data; a second by default.
constexpr milliseconds GuardTime{1200};
constexpr std::size_t MaxLineSize = 200;

class ModemCall final : public Probe, private Watcher {
 public:
  ModemCall(EventLoop& loop, ModemSettings settings, std::string_view number, ProbeClient& client)
      : m_loop(loop),
        m_settings(std::move(settings)),
        m_number(DialableNumber(number)),
        m_client(client),
        m_timer(loop, client, [this] { TimeOut(); }) {}
  ~ModemCall() override;

  void Begin() override;
  [[nodiscard]] std::string_view Step() const override { return "waiting for the modem"; }

 private:
  enum class Stage { Init, Dial, Guard, Escape, Abort, HangUp };

  void Enter(Stage stage);
  void Expect(std::string_view command, milliseconds time);
  void HangUpAfter(std::string failure, Stage next);
  void Ready(int fd, std::uint32_t events) override;
  EventOwner& Owner() override { return m_client; }
  void Receive(const Result& result);
  void TimeOut();
  void Break(const char* why);
  void Close();

  EventLoop& m_loop;
  ModemSettings m_settings;
  std::string m_number;
  ProbeClient& m_client;
  EventLoop::Timer m_timer;
  std::optional<SerialLine> m_line;
  Stage m_stage = Stage::Init;
  std::string m_failure;
  std::string m_received;
};

ModemCall::~ModemCall() {
  if (!m_line) return;
  // In any state: a character aborts the dialling, and a single write is all that needs no waiting.
  [[maybe_unused]] const bool isSaid = m_line->Write("\rATH\r");
  Close();
}

void ModemCall::Begin() {
  if (m_settings.device.empty()) return m_client.Ended("no modem configured");
  if (m_number.empty()) return m_client.Ended("no number to dial");
  try {
    m_line.emplace(m_settings.device, m_settings.speed);
  } catch (const std::runtime_error& error) {
    return m_client.Ended(error.what());
  }
  if (!m_loop.Watch(m_line->Fd(), EPOLLIN, *this)) return Break("cannot watch the line");
  Enter(m_settings.init.empty() ? Stage::Dial : Stage::Init);
}

void ModemCall::Enter(Stage stage) {
  m_stage = stage;
  switch (stage) {
    case Stage::Init:
      return Expect(m_settings.init + "\r", InitTime);
    case Stage::Dial:
      return Expect(m_settings.dial + m_number + "\r", m_settings.wait);
    case Stage::Guard:
      return Expect("", GuardTime);
    case Stage::Escape:
      return Expect("+++", GuardTime);
    case Stage::Abort:
      return Expect("\r", HangUpTime);
    case Stage::HangUp:
      return Expect("ATH\r", HangUpTime);
  }
}

void ModemCall::Expect(std::string_view command, milliseconds time) {
  m_timer.Set(m_loop.Now() + time);
  if (!command.empty() && !m_line->Write(command)) Break("cannot write to the line");
}

void ModemCall::HangUpAfter(std::string failure, Stage next) {
  m_failure = std::move(failure);
  Enter(next);
}

void ModemCall::Ready(int, std::uint32_t) {
  std::array<char, 256> bytes;
  const auto size = ::read(m_line->Fd(), bytes.data(), bytes.size());
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) return Break("the line was closed");
  const Result* result = nullptr;
  for (std::size_t i = 0; i < static_cast<std::size_t>(size) && result == nullptr; ++i) {
    const char c = bytes[i];
    const bool isEnd = c == '\r' || c == '\n';
    if (isEnd) result = ResultOf(std::exchange(m_received, {}));
    if (!isEnd && m_received.size() < MaxLineSize) m_received += c;
  }
  if (result != nullptr) Receive(*result);
}

void ModemCall::Receive(const Result& result) {
  switch (m_stage) {
    case Stage::Init:
      if (result.text == "OK") return Enter(Stage::Dial);
      return HangUpAfter("modem: initialisation refused (" + std::string(result.text) + ")", Stage::HangUp);
    case Stage::Dial:
      return HangUpAfter(std::string(result.failure), result.isOnline ? Stage::Guard : Stage::HangUp);
    case Stage::Guard:
      return;  // the silence counts, not what the other side sends
    case Stage::Escape:
    case Stage::Abort:
      return Enter(Stage::HangUp);
    case Stage::HangUp:
      Close();
      return m_client.Ended(m_failure);
  }
}

void ModemCall::TimeOut() {
  switch (m_stage) {
    case Stage::Init:
      return HangUpAfter("modem: " + NoAnswerWithin(InitTime, "initialisation"), Stage::HangUp);
    case Stage::Dial:
      return HangUpAfter("modem: " + NoAnswerWithin(m_settings.wait, "result of the call"), Stage::Abort);
    case Stage::Guard:
      return Enter(Stage::Escape);
    case Stage::Escape:
    case Stage::Abort:
      return Enter(Stage::HangUp);
    case Stage::HangUp:
      Close();
      return m_client.Ended(m_failure);
  }
}

/// The line is broken. A call that had a result before keeps it.
void ModemCall::Break(const char* why) {
  const bool isOver = m_stage != Stage::Init && m_stage != Stage::Dial;
  Close();
  m_client.Ended(isOver ? m_failure : "modem " + m_settings.device + ": " + why);
}

void ModemCall::Close() {
  m_timer.Clear();
  m_loop.Forget(m_line->Fd());
  m_line.reset();
}

class ModemChannel final : public Channel {
 public:
  explicit ModemChannel(const ChannelContext& context)
      : m_loop(context.probes.loop), m_configFile(context.configFile) {}
  std::unique_ptr<Probe> Make(const NotifyMode&, const NotifyRequest& request, milliseconds,
                              ProbeClient& client) override {
    return MakeModemCall(m_loop, ModemSettings::FromConfig(m_configFile), request.to, client);
  }

 private:
  EventLoop& m_loop;
  const std::string& m_configFile;
};

}  // namespace

ModemSettings ModemSettings::FromConfig(const std::string& path) {
  const auto text = [&](const char* key, const char* standard) {
    return platform::IniValue("modem", key, standard, path);
  };
  const auto number = [&](const char* key, int standard, double most) {
    const auto value = formats::ParseNumber(text(key, ""), 1, most);
    return value ? static_cast<int>(*value) : standard;
  };
  ModemSettings settings;
  settings.device = text("device", "");
  settings.speed = number("speed", settings.speed, MaxSpeed);
  settings.init = text("init", "ATZ");
  settings.dial = text("dial", "ATDT");
  settings.wait = seconds(number("wait", static_cast<int>(settings.wait.count()), MaxWait.count()));
  return settings;
}

std::string DialableNumber(std::string_view number) {
  std::string dialable;
  for (const char c : number) {
    if (platform::IsAsciiDigit(c) || std::string_view("+*#,;").find(c) != std::string_view::npos)
      dialable += c;
  }
  return dialable;
}

std::unique_ptr<Probe> MakeModemCall(EventLoop& loop, ModemSettings settings, std::string_view number,
                                     ProbeClient& client) {
  return std::make_unique<ModemCall>(loop, std::move(settings), number, client);
}

std::unique_ptr<Channel> MakeModemChannel(const ChannelContext& context) {
  return std::make_unique<ModemChannel>(context);
}

}  // namespace norvane::engine
