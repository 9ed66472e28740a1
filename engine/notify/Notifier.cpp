#include "engine/notify/Notifier.h"

#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/net/Reason.h"

namespace norvane::engine {

using std::chrono::milliseconds;

/// One notification from the moment it was asked for.
class Notifier::Sending final : public ProbeClient {
 public:
  Sending(Notifier& owner, Line& line, NotifyMode mode, NotifyRequest request, CheckReport report)
      : m_owner(owner),
        m_line(line),
        m_mode(std::move(mode)),
        m_request(std::move(request)),
        m_report(std::move(report)),
        m_asked(owner.m_loop.Now()),
        m_deadline(owner.m_loop, [this] { RunOut(); }) {}

  void Begin(Sendings::iterator at) {
    m_at = at;
    m_deadline.Set(m_owner.m_loop.Now() + m_line.row.timeout);
    m_probe = m_line.channel->Make(m_mode, m_request, m_line.row.timeout, *this);
    m_probe->Begin();
  }
  void Ended(std::string failure) override {
    m_report.result.duration = std::chrono::duration_cast<milliseconds>(m_owner.m_loop.Now() - m_asked);
    m_owner.Tell(std::move(m_report), failure);
    m_owner.m_begin.Set(m_owner.m_loop.Now());
    m_line.inFlight.erase(m_at);  // this object
  }

 private:
  void RunOut() { Ended(NoAnswerWithin(m_line.row.timeout, m_probe->Step())); }

  Notifier& m_owner;
  Line& m_line;
  NotifyMode m_mode;
  NotifyRequest m_request;
  CheckReport m_report;
  Moment m_asked;
  EventLoop::Timer m_deadline;
  std::unique_ptr<Probe> m_probe;
  Sendings::iterator m_at;
};

Notifier::Notifier(ProbeContext& probes, const std::string& folder, Report report)
    : m_loop(probes.loop),
      m_configFile(folder + "/config.ini"),
      m_report(std::move(report)),
      m_begin(m_loop, [this] { BeginWaiting(); }) {
  for (const auto& row : ChannelTable())
    m_lines.emplace(row.form, Line{row, row.make({probes, m_configFile}), {}, {}});
}

Notifier::~Notifier() = default;

void Notifier::Notify(NotifyRequest request, std::uint64_t ticket) {
  CheckReport report;
  report.id = request.id;
  report.ticket = ticket;
  report.kind = CheckReport::Kind::Notification;
  auto mode = NotifyMode::Parse(request.mode);
  if (mode.form == NotifyMode::Form::None) return Tell(std::move(report), "no notification is set");
  const auto line = m_lines.find(mode.form);
  if (line == m_lines.end())
    return Tell(std::move(report), "the notification mode is none that this engine knows");
  auto& waiting = line->second.waiting;
  if (waiting.size() >= MaxWaiting) return Tell(std::move(report), "too many notifications are waiting");
  waiting.push_back(
      std::make_unique<Sending>(*this, line->second, std::move(mode), std::move(request), std::move(report)));
  m_begin.Set(m_loop.Now());
}

void Notifier::BeginWaiting() {
  for (auto& [form, line] : m_lines) {
    while (!line.waiting.empty() && line.inFlight.size() < line.row.maxInFlight) {
      line.inFlight.splice(line.inFlight.end(), line.waiting, line.waiting.begin());
      const auto last = std::prev(line.inFlight.end());
      (*last)->Begin(last);
    }
  }
}

void Notifier::Tell(CheckReport report, const std::string& failure) {
  // Not when it was asked for, which may be long ago: a log must not say that a mail went out while its
  // server was down.
  report.result.at = std::chrono::system_clock::now();
  report.result.good = failure.empty();
  report.result.reason = failure.empty() ? std::string(console::engine::ResultOk) : PlainText(failure);
  m_report(std::move(report));
}

}  // namespace norvane::engine
