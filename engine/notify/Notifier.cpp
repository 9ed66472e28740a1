#include "engine/notify/Notifier.h"

#include <cassert>
#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/net/Deadline.h"
#include "engine/net/Reason.h"
#include "platform/FileNames.h"

namespace norvane::engine {

using std::chrono::milliseconds;

/// One notification from the moment it was asked for.
class Notifier::Sending final : public ProbeClient {
 public:
  Sending(Notifier& owner, Queue& queue, NotifyMode mode, NotifyRequest request, NotificationEnded report)
      : m_owner(owner),
        m_queue(queue),
        m_mode(std::move(mode)),
        m_request(std::move(request)),
        m_report(std::move(report)),
        m_asked(owner.m_loop.Now()),
        m_deadline(owner.m_loop, *this, [this] { TimeOut(); }) {}

  void Enter(Sendings::iterator at) { m_at = at; }
  void Begin() {
    BeginStep(m_queue.row.timeout);
    m_probe = m_queue.channel->Make(m_mode, m_request, m_queue.row.timeout, *this);
    m_probe->Begin();
  }
  void Ended(std::string failure) noexcept override {
    auto& loop = m_owner.m_loop;
    loop.Serve(loop, [&] {
      if (m_probe && !failure.empty()) m_report.failure = m_probe->WhatFailed();
      m_report.retryAfter = m_probe ? m_probe->RetryAfter() : std::chrono::seconds(0);
      m_report.result.duration = std::chrono::duration_cast<milliseconds>(loop.Now() - m_asked);
      m_owner.End(std::move(m_report), failure);
      m_owner.m_begin.Set(loop.Now());
    });
    m_queue.inFlight.erase(m_at);  // this object
  }
  void BeginStep(milliseconds limit) override {
    m_limit = limit;
    m_deadline.Set(limit);
  }
  void Broke(const std::string& why) override {
    m_owner.m_loop.Log("notification to " + m_request.to + ": " + why);
    Ended(why);
  }

 private:
  void TimeOut() { Ended(NoAnswerWithin(m_limit, m_probe->Step())); }

  Notifier& m_owner;
  Queue& m_queue;
  NotifyMode m_mode;
  NotifyRequest m_request;
  NotificationEnded m_report;
  Moment m_asked;
  milliseconds m_limit{};
  Deadline m_deadline;
  std::unique_ptr<Probe> m_probe;
  Sendings::iterator m_at;
};

Notifier::Notifier(ProbeContext& probes, const std::string& folder, Deliver deliver)
    : m_loop(probes.loop),
      m_configFile(platform::PathIn(folder, platform::files::Config)),
      m_deliver(std::move(deliver)),
      m_begin(m_loop, m_loop, [this] { BeginWaiting(); }) {
  for (const auto& row : ChannelTable())
    m_queues.emplace(row.form, Queue{row, row.make({probes, m_configFile}), {}, {}});
}

Notifier::~Notifier() = default;

void Notifier::Notify(NotifyRequest request, std::uint64_t ticket) {
  assert(m_loop.IsInside());
  NotificationEnded report{request.id, ticket, {}};
  auto mode = NotifyMode::Parse(request.mode);
  if (!request.url.empty()) mode.form = NotifyMode::Form::Exit;
  if (mode.form == NotifyMode::Form::None) return End(std::move(report), "no notification configured");
  const auto queue = m_queues.find(mode.form);
  if (queue == m_queues.end()) return End(std::move(report), "unknown notification mode");
  auto& waiting = queue->second.waiting;
  if (waiting.size() >= MaxWaiting) return End(std::move(report), "notification queue full");
  waiting.push_back(std::make_unique<Sending>(*this, queue->second, std::move(mode), std::move(request),
                                              std::move(report)));
  m_begin.Set(m_loop.Now());
}

void Notifier::BeginWaiting() {
  for (auto& [form, queue] : m_queues) {
    while (!queue.waiting.empty() && queue.inFlight.size() < queue.row.maxInFlight) {
      queue.inFlight.splice(queue.inFlight.end(), queue.waiting, queue.waiting.begin());
      const auto last = std::prev(queue.inFlight.end());
      (*last)->Enter(last);
      m_loop.Serve(**last, [&] { (*last)->Begin(); });
    }
  }
}

void Notifier::End(NotificationEnded report, const std::string& failure) {
  // Not when it was asked for, which may be long ago: a log must not say that a mail went out while its
  // server was down.
  report.result.at = std::chrono::system_clock::now();
  report.result.outcome = failure.empty() ? Outcome::Good : Outcome::Failed;
  report.result.reason = failure.empty() ? std::string(console::engine::ResultOk) : PlainText(failure);
  m_deliver(std::move(report));
}

}  // namespace norvane::engine
