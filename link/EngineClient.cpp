#include "link/EngineClient.h"

#include <algorithm>
#include <thread>

#include "console/engine/EngineError.h"
#include "link/ChangeCall.h"
#include "link/HistoryWire.h"
#include "link/Link.h"
#include "platform/FileLock.h"
#include "platform/FileNames.h"

namespace norvane::link {

namespace ce = console::engine;
using Session = wire::Session::Client;

namespace {
using namespace std::chrono_literals;

/// On a disk that is slow, but not stuck.
constexpr std::chrono::milliseconds SaveTimeOfOne{4};
constexpr std::size_t IdsInOneRead = 1000;

/// The connection ends a moment before the process.
void AwaitFreeFolder(const std::string& folder) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!platform::FileLock::TryLock(platform::PathIn(folder, platform::files::EngineLock))) {
    if (std::chrono::steady_clock::now() > deadline)
      throw ce::EngineError(ce::EngineErrorCode::TimedOut,
                            "the engine saved and closed its socket but did not exit");
    std::this_thread::sleep_for(20ms);
  }
}

template <class Request>
void CallWithPath(Link& link, Link::Method<Request> method, std::string_view path,
                  std::chrono::milliseconds timeout) {
  link.Call(timeout, method, [&](auto& request) { request.setPath(ToText(std::string(path))); });
}

template <class Request>
void CallWithName(Link& link, Link::Method<Request> method, std::string_view fullName) {
  link.Call(link.Options().callTimeout, method,
            [&](auto& request) { request.setName(ToText(std::string(fullName))); });
}

template <class Request>
void SetNames(Request& request, const std::vector<std::string>& from) {
  auto names = request.initNames(static_cast<unsigned>(from.size()));
  for (unsigned i = 0; i < names.size(); ++i)
    names.set(i, ToText(from[i]));
}

template <class Request>
ce::Outcome Run(Link& link, Link::Method<Request> method, ce::MonitorId id) {
  ce::Outcome outcome;
  outcome.monitor = id;
  const auto call = link.Begin(
      link.Options().runTimeout, method, [&](auto& request) { request.setId(id); },
      [&](const auto& results) {
        const auto from = results.getOutcome();
        outcome.good = from.getGood();
        outcome.reason = ToString(from.getReason());
        outcome.duration = std::chrono::milliseconds(from.getDurationMs());
      });
  link.WaitCancellable(*call);
  return outcome;
}

/// The engine keeps the limit of a fetch; this is for its answer to come.
constexpr auto FetchAnswerTime = 5s;

class LinkFetch final : public ce::PageFetch {
 public:
  LinkFetch(Link& link, std::uint32_t number, const std::string& url, std::chrono::milliseconds limit)
      : m_link(link), m_number(number) {
    try {
      m_call = m_link.Begin(
          limit + FetchAnswerTime, &Session::fetchRequest,
          [&](auto& request) {
            request.setNumber(m_number);
            request.setUrl(ToText(url));
            request.setLimitMs(static_cast<std::uint32_t>(limit.count()));
          },
          [reply = m_reply](const auto& results) {
            const auto page = results.getPage();
            *reply = {static_cast<ce::PageReply::End>(page.getEnd()), ToString(page.getReason()),
                      ToString(page.getBody()), ToString(page.getContentType()), page.getStatus()};
          });
    } catch (const ce::EngineError& error) {
      *m_reply = FailureOf(error);
    }
  }
  ~LinkFetch() override { Stop(); }

  bool HasEnded() override { return m_call == nullptr || m_call->WaitFor({}); }
  void Stop() override {
    if (HasEnded()) return;
    try {
      static_cast<void>(m_link.Begin(m_link.Options().callTimeout, &Session::stopFetchRequest,
                                     [&](auto& request) { request.setNumber(m_number); }));
    } catch (const ce::EngineError&) {
      // The connection is lost, which ends the fetch too.
    }
  }
  ce::PageReply Reply() override {
    try {
      if (const auto call = std::exchange(m_call, nullptr)) m_link.Wait(*call);
      return std::move(*m_reply);
    } catch (const ce::EngineError& error) {
      return FailureOf(error);
    }
  }

 private:
  static ce::PageReply FailureOf(const ce::EngineError& error) {
    const bool timedOut = error.Code() == ce::EngineErrorCode::TimedOut;
    return {timedOut ? ce::PageReply::End::TimedOut : ce::PageReply::End::Failed, error.what(), {}, {}};
  }

  Link& m_link;
  std::uint32_t m_number;
  std::shared_ptr<CallState> m_call;  ///< null if it could not begin, or was read
  std::shared_ptr<ce::PageReply> m_reply = std::make_shared<ce::PageReply>();
};
}  // namespace

namespace {
ce::EngineStatus ReadStatus(wire::Status::Reader from) {
  ce::EngineStatus status;
  status.checksMade = from.getChecksMade();
  status.checksFailed = from.getChecksFailed();
  status.checksNotMade = from.getChecksNotMade();
  status.resultsThrownAway = from.getResultsThrownAway();
  status.latestStart = std::chrono::milliseconds(from.getLatestStartMs());
  status.longestTurn = std::chrono::microseconds(from.getLongestTurnUs());
  status.inFlight = from.getInFlight();
  status.waiting = from.getWaiting();
  status.stalled = ToString(from.getStalled());
  status.stalledFor = std::chrono::milliseconds(from.getStalledForMs());
  for (const auto condition : from.getConditions())
    status.conditions.push_back({ToString(condition.getText()), ToTime(condition.getSince())});
  for (const auto overdue : from.getOverdue())
    status.overdue.push_back({ToString(overdue.getName()), ToTime(overdue.getCheckedAt())});
  status.monitors = from.getMonitors();
  status.running = from.getRunning();
  status.failing = from.getFailing();
  return status;
}

class LinkStatusQuery final : public ce::StatusQuery {
 public:
  explicit LinkStatusQuery(Link& link)
      : m_link(link),
        m_call(link.Begin(
            link.Options().callTimeout, &Session::statusRequest, [](auto&) {},
            [reply = m_reply](const auto& results) { *reply = ReadStatus(results.getStatus()); })) {}
  bool HasEnded() override { return m_call->WaitFor({}); }
  ce::EngineStatus Reply() override {
    m_link.Wait(*m_call);
    return std::move(*m_reply);
  }

 private:
  Link& m_link;
  std::shared_ptr<ce::EngineStatus> m_reply = std::make_shared<ce::EngineStatus>();
  std::shared_ptr<CallState> m_call;
};
}  // namespace

EngineClient::EngineClient(LinkOptions options) : m_link(std::make_unique<Link>(std::move(options))) {}
EngineClient::~EngineClient() = default;

// Reads

const ce::EngineInfo& EngineClient::Info() {
  return m_link->ConnectedInfo();
}
std::size_t EngineClient::Count() {
  return m_link->ConnectedMirror().Count();
}
ce::MonitorId EngineClient::IdAt(int position) {
  return m_link->ConnectedMirror().IdAt(position);
}
ce::MonitorId EngineClient::Find(std::string_view fullName) {
  return m_link->ConnectedMirror().Find(fullName);
}
ce::MonitorPtr EngineClient::Get(ce::MonitorId id) {
  return m_link->ConnectedMirror().Get(id);
}
ce::MonitorSnapshot EngineClient::Snapshot() {
  return m_link->ConnectedMirror().All();
}
std::uint64_t EngineClient::LastChange() {
  return m_link->ConnectedMirror().Change();
}
std::uint64_t EngineClient::WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) {
  return m_link->ConnectedMirror().WaitForUpdate(seen, time);
}

std::vector<ce::NamedMonitor> EngineClient::Select(const std::vector<std::string>& names) {
  std::vector<ce::NamedMonitor> selected;
  m_link->Call(
      m_link->Options().callTimeout, &Session::selectRequest,
      [&](auto& request) { SetNames(request, names); },
      [&](const auto& results) {
        for (const auto monitor : results.getMonitors())
          selected.push_back({monitor.getId(), ToString(monitor.getName())});
      });
  return selected;
}

ce::MonitorSnapshot EngineClient::Read(const std::vector<ce::MonitorId>& ids) {
  ce::MonitorSnapshot monitors;
  for (std::size_t done = 0; done < ids.size();) {
    const auto count = std::min(ids.size() - done, IdsInOneRead);
    m_link->Call(
        m_link->Options().callTimeout, &Session::readRequest,
        [&](auto& request) {
          auto wanted = request.initIds(static_cast<unsigned>(count));
          for (unsigned i = 0; i < count; ++i)
            wanted.set(i, ids[done + i]);
        },
        [&](const auto& results) {
          for (const auto monitor : results.getMonitors())
            monitors.push_back(m_link->Read(monitor));
          done += std::clamp<std::size_t>(results.getDone(), 1, count);
        });
  }
  return monitors;
}

void EngineClient::OnUpdate(std::function<void()> callback) {
  m_link->OnUpdate(std::move(callback));
}

std::string EngineClient::ServiceValue(std::string_view key) {
  std::string value;
  m_link->Call(
      m_link->Options().callTimeout, &Session::configValueRequest,
      [&](auto& request) { request.setKey(ToText(std::string(key))); },
      [&](const auto& results) { value = ToString(results.getValue()); });
  return value;
}

std::unique_ptr<ce::StatusQuery> EngineClient::QueryStatus() {
  return std::make_unique<LinkStatusQuery>(*m_link);
}

std::vector<ce::OwedMessage> EngineClient::Owed() {
  std::vector<ce::OwedMessage> owed;
  m_link->Call(
      m_link->Options().callTimeout, &Session::owedRequest, [](auto&) {},
      [&](const auto& results) {
        for (const auto from : results.getMessages())
          owed.push_back({ToString(from.getMonitor()), ToString(from.getMessage()), ToString(from.getTo()),
                          ToString(from.getMode()), ToTime(from.getSince()),
                          static_cast<int>(from.getTries()), ToString(from.getReason()),
                          ToTime(from.getNextTry())});
      });
  return owed;
}

std::map<std::string, ce::SilenceInfo> EngineClient::Silences() {
  std::map<std::string, ce::SilenceInfo> silences;
  m_link->Call(
      m_link->Options().callTimeout, &Session::silencesRequest, [](auto&) {},
      [&](const auto& results) {
        for (const auto from : results.getSilences())
          silences[ToString(from.getMonitor())] = {ToTime(from.getUntil()), ToString(from.getBecause())};
      });
  return silences;
}

std::vector<ce::OpenOutage> EngineClient::OpenOutages() {
  std::vector<ce::OpenOutage> outages;
  m_link->Call(
      m_link->Options().callTimeout, &Session::openOutagesRequest, [](auto&) {},
      [&](const auto& results) {
        for (const auto from : results.getOutages())
          outages.push_back({ToString(from.getMonitor()), ToTime(from.getSince()), from.getIsHeld()});
      });
  return outages;
}

ce::MonitorHistory EngineClient::History(const ce::HistoryQuery& query) {
  ce::MonitorHistory history;
  m_link->Call(
      m_link->Options().callTimeout, &Session::historyRequest,
      [&](auto& request) {
        request.setMonitor(ToText(query.monitor));
        request.setSince(ToMilliseconds(query.since));
        request.setUntil(ToMilliseconds(query.until));
        request.setStepSeconds(static_cast<std::uint32_t>(query.step.count()));
        request.setHasPoints(query.hasPoints);
      },
      [&](const auto& results) { history = ReadHistory(results.getHistory()); });
  return history;
}

// Writes

void EngineClient::OpenGate(std::string_view controlPass) {
  m_link->Call(m_link->Options().callTimeout, &Session::openGateRequest,
               [&](auto& request) { request.setControlPass(ToData(controlPass)); });
}

void EngineClient::CommitServiceValues(const ce::ServiceValues& values) {
  m_link->Call(m_link->Options().callTimeout, &Session::commitConfigRequest, [&](auto& request) {
    auto pairs = request.initValues(static_cast<unsigned>(values.size()));
    unsigned next = 0;
    for (const auto& [key, value] : values) {
      auto pair = pairs[next++];
      pair.setKey(ToText(key));
      pair.setValue(ToData(value));
    }
  });
}

void EngineClient::Load(std::string_view path) {
  CallWithPath(*m_link, &Session::loadRequest, path, m_link->Options().storeTimeout);
}
void EngineClient::Save(std::string_view path) {
  const auto& options = m_link->Options();
  auto timeout = options.storeTimeout;
  if (options.follows)
    timeout = std::min(timeout, options.callTimeout + static_cast<int>(Count()) * SaveTimeOfOne);
  CallWithPath(*m_link, &Session::saveRequest, path, timeout);
}
void EngineClient::Add(std::string_view fullName) {
  CallWithName(*m_link, &Session::addRequest, fullName);
}
void EngineClient::Remove(std::string_view fullName) {
  CallWithName(*m_link, &Session::removeRequest, fullName);
}

void EngineClient::SetAttribute(ce::MonitorId id, std::string_view key, std::string_view value) {
  m_link->Call(m_link->Options().callTimeout, &Session::setAttributeRequest, [&](auto& request) {
    request.setId(id);
    request.setKey(ToText(std::string(key)));
    request.setValue(ToData(value));
  });
}

void EngineClient::Change(const std::vector<ce::MonitorChange>& changes, std::uint64_t basedOn) {
  ChangeCall change(changes, basedOn);
  m_link->Wait(*m_link->BeginLong(
      m_link->Options().storeTimeout,
      [&](wire::Session::Client& session, CallState& state) { return change.Run(session, state); }));
}

ce::MonitorId EngineClient::Init(ce::MonitorId id) {
  m_link->Call(m_link->Options().callTimeout, &Session::initRequest,
               [&](auto& request) { request.setId(id); });
  return id;
}
ce::Outcome EngineClient::Check(ce::MonitorId id) {
  return Run(*m_link, &Session::checkRequest, id);
}
ce::Outcome EngineClient::Notify(ce::MonitorId id) {
  return Run(*m_link, &Session::notifyRequest, id);
}

void EngineClient::DropOwed(const std::vector<std::string>& fullNames) {
  m_link->Call(m_link->Options().callTimeout, &Session::dropOwedRequest,
               [&](auto& request) { SetNames(request, fullNames); });
}

void EngineClient::Silence(const std::vector<std::string>& fullNames, std::chrono::seconds time,
                           std::string_view because) {
  m_link->Call(m_link->Options().callTimeout, &Session::silenceRequest, [&](auto& request) {
    SetNames(request, fullNames);
    request.setSeconds(time.count());
    request.setBecause(ToText(std::string(because)));
  });
}

void EngineClient::Unsilence(const std::vector<std::string>& fullNames) {
  m_link->Call(m_link->Options().callTimeout, &Session::unsilenceRequest,
               [&](auto& request) { SetNames(request, fullNames); });
}

void EngineClient::Shutdown(bool force) {
  static_cast<void>(Info());  // an engine that was not there is no engine that has ended
  try {
    m_link->Call(m_link->Options().storeTimeout, &Session::shutdownRequest,
                 [&](auto& request) { request.setForce(force); });
    m_link->WaitUntilGone(m_link->Options().storeTimeout);
  } catch (const ce::EngineError& error) {
    if (error.Code() != ce::EngineErrorCode::Gone) throw;  // it ended faster than its answer came
  }
  AwaitFreeFolder(m_link->Options().folder);
}

std::unique_ptr<ce::PageFetch> EngineClient::Fetch(const std::string& url, std::chrono::milliseconds limit) {
  return std::make_unique<LinkFetch>(*m_link, ++m_lastFetch, url, limit);
}

}  // namespace norvane::link
