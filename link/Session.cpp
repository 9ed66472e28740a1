#include "link/Session.h"

#include <cassert>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorNames.h"
#include "console/engine/PageFetch.h"
#include "link/Answer.h"
#include "link/Transaction.h"
#include "link/Wire.h"
#include "platform/MemoryReserve.h"

namespace norvane::link {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::engine::PageReply;

Session::Session(engine::Service& service, ChangeLog log, std::function<void()> onShutdown,
                 AwaitRead awaitRead, kj::PromiseFulfiller<void>& failed)
    : m_service(service),
      m_log(std::move(log)),
      m_onShutdown(std::move(onShutdown)),
      m_awaitRead(std::move(awaitRead)),
      m_failed(failed),
      m_tasks(kj::heap<kj::TaskSet>(static_cast<kj::TaskSet::ErrorHandler&>(*this))) {
  m_service.AddObserver(*this);
}

void Session::Close() {
  m_service.RemoveObserver(*this);
  for (const auto& [number, ticket] : m_fetches)
    m_service.StopFetch(ticket);
  m_fetches.clear();
  m_tasks = nullptr;
  m_mirror = nullptr;
}

// How a call becomes an answer

void Session::RequireGate() const {
  if (!m_gateOpen)
    throw EngineError(
        EngineErrorCode::Refused,
        "the control gate of this connection is closed, so nothing can be changed; start the program again");
}

void Session::WriteAnswer(wire::Answer::Builder to, const std::exception_ptr& error) const {
  link::WriteAnswer(m_service, to, error);
}

template <class Context, class Action>
kj::Promise<void> Session::Act(Context& context, Action action) {
  assert(m_thread.IsInside());
  return AnswerAtOnce(m_service, context, action);
}

/// Starts what the service ends later. The console may be gone by then: the call is dropped with it, and the
/// service's completion finds it gone.
template <class Context, class Start>
kj::Promise<Session::Ended> Session::Begin(Context& context, Start start) {
  assert(m_thread.IsInside());
  context.allowCancellation();
  auto ended = kj::newPromiseAndFulfiller<Ended>();
  const auto fulfiller = std::make_shared<kj::Own<kj::PromiseFulfiller<Ended>>>(kj::mv(ended.fulfiller));
  const End end = [fulfiller](std::exception_ptr error, const engine::CheckResult& result) {
    (*fulfiller)->fulfill({std::move(error), result});
  };
  try {
    start(context.getParams(), end);
  } catch (...) {
    end(std::current_exception(), {});
  }
  return kj::mv(ended.promise);
}

template <class Context, class Start>
kj::Promise<void> Session::ActLater(Context context, Start start) {
  return Begin(context, start).then([this, context](const Ended& ended) mutable {
    WriteAnswer(context.getResults().initAnswer(), ended.error);
  });
}

/// The same for calls that also have an outcome.
template <class Context, class Start>
kj::Promise<void> Session::RunLater(Context context, Start start) {
  return Begin(context, start).then([this, context](const Ended& ended) mutable {
    WriteAnswer(context.getResults().initAnswer(), ended.error);
    auto outcome = context.getResults().initOutcome();
    outcome.setGood(ended.result.IsGood());
    outcome.setReason(ToText(ended.result.reason));
    outcome.setDurationMs(static_cast<std::uint32_t>(ended.result.duration.count()));
  });
}

engine::Completion Session::Logged(std::string verb, std::vector<std::string> names, const End& end) const {
  return [log = m_log, verb = std::move(verb), names = std::move(names), end](std::exception_ptr error) {
    if (!error) log.Write(verb, names);
    end(error, {});
  };
}

// The calls

kj::Promise<void> Session::openGate(OpenGateContext context) {
  return Act(context, [this](auto params, auto&) {
    if (!m_service.IsControlPass(ToString(params.getControlPass())))
      throw EngineError(EngineErrorCode::Refused, "wrong control pass");
    m_gateOpen = true;
  });
}

kj::Promise<void> Session::configValue(ConfigValueContext context) {
  return Act(context, [this](auto params, auto& results) {
    results.setValue(ToData(m_service.ConfigValue(ToString(params.getKey()))));
  });
}

kj::Promise<void> Session::commitConfig(CommitConfigContext context) {
  return ActLater(context, [this](auto params, const End& end) {
    RequireGate();
    std::map<std::string, std::string> values;
    for (const auto pair : params.getValues())
      values[ToString(pair.getKey())] = ToString(pair.getValue());
    std::map<std::string, std::string> before;
    for (const auto& [key, value] : values)
      before[key] = m_service.ConfigValue(key);
    m_service.CommitConfig(values, [end, before, values, log = m_log](std::exception_ptr error) {
      if (!error)
        for (const auto& [key, value] : values)
          log.WriteSet(console::engine::ServiceName, key, before.at(key), value);
      end(error, {});
    });
  });
}

kj::Promise<void> Session::load(LoadContext context) {
  return ActLater(context, [this](auto params, const End& end) {
    const auto path = ToString(params.getPath());
    const auto done = [end](std::exception_ptr error) { end(error, {}); };
    if (m_gateOpen) return m_service.Load(path, Logged("load", {path}, end));
    if (!m_service.IsDataFile(path)) RequireGate();
    m_service.LoadIfReplaced(done);
  });
}

kj::Promise<void> Session::save(SaveContext context) {
  return ActLater(context, [this](auto params, const End& end) {
    RequireGate();
    const auto path = ToString(params.getPath());
    m_service.Save(path, Logged("save", {path}, end));
  });
}

kj::Promise<void> Session::add(AddContext context) {
  return Act(context, [this](auto params, auto&) {
    RequireGate();
    const auto name = ToString(params.getName());
    m_service.Add(name);
    m_log.Write("add", name);
  });
}

kj::Promise<void> Session::remove(RemoveContext context) {
  return Act(context, [this](auto params, auto&) {
    RequireGate();
    const auto name = ToString(params.getName());
    const auto* monitor = m_service.Table().Find(name);
    if (monitor == nullptr) throw EngineError(EngineErrorCode::NotFound, "no such monitor: " + name);
    m_service.Remove(monitor->id);
    m_log.Write("remove", name);
  });
}

kj::Promise<void> Session::setAttribute(SetAttributeContext context) {
  return Act(context, [this](auto params, auto&) {
    RequireGate();
    const auto key = ToString(params.getKey()), value = ToString(params.getValue());
    const auto* monitor = m_service.Table().Find(params.getId());
    const auto before = monitor != nullptr ? monitor->attributes : nullptr;
    m_service.Set(params.getId(), key, value);
    if (before) m_log.WriteSet(monitor->name, key, before->Get(key), value);
  });
}

kj::Promise<void> Session::init(InitContext context) {
  return Act(context, [this](auto params, auto&) {
    RequireGate();
    m_service.Init(params.getId());
  });
}

kj::Promise<void> Session::check(CheckContext context) {
  return RunLater(context, [this](auto params, const End& end) {
    RequireGate();
    m_service.Check(params.getId(), end);
  });
}

kj::Promise<void> Session::notify(NotifyContext context) {
  return RunLater(context, [this](auto params, const End& end) {
    RequireGate();
    m_service.Notify(params.getId(), end);
  });
}

kj::Promise<void> Session::shutdown(ShutdownContext context) {
  return ActLater(context, [this](auto params, const End& end) {
    RequireGate();
    const auto onSaved = [end, log = m_log, force = params.getForce(),
                          onShutdown = m_onShutdown](const std::exception_ptr& error) {
      if (!error || force) {
        log.Write("shutdown");
        onShutdown();
      }
      end(force ? nullptr : error, {});
    };
    m_service.SaveAll(onSaved);
  });
}

namespace {
void WriteStatus(const console::engine::EngineStatus& from, wire::Status::Builder to) {
  to.setChecksMade(from.checksMade);
  to.setChecksFailed(from.checksFailed);
  to.setChecksNotMade(from.checksNotMade);
  to.setResultsThrownAway(from.resultsThrownAway);
  to.setLatestStartMs(static_cast<std::uint64_t>(from.latestStart.count()));
  to.setLongestTurnUs(static_cast<std::uint64_t>(from.longestTurn.count()));
  to.setInFlight(from.inFlight);
  to.setWaiting(from.waiting);
  to.setStalled(ToText(from.stalled));
  to.setStalledForMs(static_cast<std::uint64_t>(from.stalledFor.count()));
  to.setMonitors(static_cast<std::uint32_t>(from.monitors));
  to.setRunning(static_cast<std::uint32_t>(from.running));
  to.setFailing(static_cast<std::uint32_t>(from.failing));
  auto conditions = to.initConditions(static_cast<unsigned>(from.conditions.size()));
  for (unsigned i = 0; i < conditions.size(); ++i) {
    conditions[i].setText(ToText(from.conditions[i].text));
    conditions[i].setSince(ToMilliseconds(from.conditions[i].since));
  }
  auto overdue = to.initOverdue(static_cast<unsigned>(from.overdue.size()));
  for (unsigned i = 0; i < overdue.size(); ++i) {
    overdue[i].setName(ToText(from.overdue[i].name));
    overdue[i].setCheckedAt(ToMilliseconds(from.overdue[i].checkedAt));
  }
}
}  // namespace

kj::Promise<void> Session::status(StatusContext context) {
  return Act(context, [this](auto, auto& results) { WriteStatus(m_service.Status(), results.initStatus()); });
}

namespace {
class TableNames final : public console::engine::MonitorNames {
 public:
  explicit TableNames(const engine::Service& service) : m_service(service) {}
  std::optional<engine::MonitorId> Find(std::string_view fullName) const override {
    const auto* monitor = m_service.Table().Find(fullName);
    return monitor == nullptr ? std::nullopt : std::optional(monitor->id);
  }
  void ForEach(const Visit& visit) const override {
    for (const auto& [id, monitor] : m_service.Table().All())
      visit(id, monitor.name);
  }
  std::vector<std::string_view> Types() const override {
    std::vector<std::string_view> types;
    for (const auto& type : m_service.Types())
      types.push_back(type.name);
    return types;
  }

 private:
  const engine::Service& m_service;
};

std::vector<std::string> ToStrings(capnp::List<capnp::Text>::Reader texts) {
  std::vector<std::string> strings;
  for (const auto text : texts)
    strings.push_back(ToString(text));
  return strings;
}
}  // namespace

kj::Promise<void> Session::select(SelectContext context) {
  return Act(context, [this](auto params, auto& results) {
    const TableNames names(m_service);
    const auto selected = console::engine::SelectMonitors(names, ToStrings(params.getNames()));
    auto monitors = results.initMonitors(static_cast<unsigned>(selected.size()));
    for (unsigned i = 0; i < monitors.size(); ++i) {
      monitors[i].setId(selected[i].id);
      monitors[i].setName(ToText(selected[i].name));
    }
  });
}

kj::Promise<void> Session::read(ReadContext context) {
  return Act(context, [this](auto params, auto& results) {
    ChangeFeed::Batch batch;
    results.setDone(batch.Fill(m_service.Table(), params.getIds()));
    platform::EnsureMemory(batch.WordsHint() * sizeof(capnp::word));
    batch.WriteMonitors(results.initMonitors(static_cast<unsigned>(batch.monitors.size())));
  });
}

kj::Promise<void> Session::owed(OwedContext context) {
  return Act(context, [this](auto, auto& results) {
    const auto owed = m_service.Owed();
    auto messages = results.initMessages(static_cast<unsigned>(owed.size()));
    for (unsigned i = 0; i < messages.size(); ++i) {
      messages[i].setMonitor(ToText(owed[i].monitor));
      messages[i].setMessage(ToText(owed[i].message));
      messages[i].setTo(ToText(owed[i].to));
      messages[i].setMode(ToText(owed[i].mode));
      messages[i].setSince(ToMilliseconds(owed[i].since));
      messages[i].setTries(static_cast<std::uint32_t>(owed[i].tries));
      messages[i].setReason(ToText(owed[i].reason));
      messages[i].setNextTry(ToMilliseconds(owed[i].nextTry));
    }
  });
}

kj::Promise<void> Session::dropOwed(DropOwedContext context) {
  return Act(context, [this](auto params, auto&) {
    RequireGate();
    const auto names = ToStrings(params.getNames());
    m_service.DropOwed(names);
    m_log.Write("drop owed messages of", names);
  });
}

kj::Promise<void> Session::silences(SilencesContext context) {
  return Act(context, [this](auto, auto& results) {
    const auto& active = m_service.ActiveSilences();
    auto silences = results.initSilences(static_cast<unsigned>(active.size()));
    unsigned next = 0;
    for (const auto& [name, silence] : active) {
      auto to = silences[next++];
      to.setMonitor(ToText(name));
      to.setUntil(ToMilliseconds(silence.until));
      to.setBecause(ToText(silence.because));
    }
  });
}

kj::Promise<void> Session::silence(SilenceContext context) {
  return ActLater(context, [this](auto params, const End& end) {
    RequireGate();
    const auto names = ToStrings(params.getNames());
    const auto seconds = params.getSeconds();
    m_service.Silence(names, std::chrono::seconds(seconds), ToString(params.getBecause()),
                      Logged("silence for " + std::to_string(seconds) + " s", names, end));
  });
}

kj::Promise<void> Session::unsilence(UnsilenceContext context) {
  return ActLater(context, [this](auto params, const End& end) {
    RequireGate();
    const auto names = ToStrings(params.getNames());
    m_service.Unsilence(names, Logged("unsilence", names, end));
  });
}

kj::Promise<void> Session::openOutages(OpenOutagesContext context) {
  return Act(context, [this](auto, auto& results) {
    const auto open = m_service.OpenOutages();
    auto outages = results.initOutages(static_cast<unsigned>(open.size()));
    for (unsigned i = 0; i < outages.size(); ++i) {
      outages[i].setMonitor(ToText(open[i].monitor));
      outages[i].setSince(ToMilliseconds(open[i].since));
      outages[i].setIsHeld(open[i].isHeld);
    }
  });
}

kj::Promise<void> Session::change(ChangeContext context) {
  return Act(context, [this](auto, auto& results) {
    RequireGate();
    results.setTransaction(kj::heap<Transaction>(m_service, m_log));
  });
}

// Pages

namespace {
/// Of one console at a time, those that it has not read yet included.
constexpr std::size_t MaxFetchesOfConsole = 4;

constexpr bool Same(wire::Page::End a, PageReply::End b) {
  return static_cast<int>(a) == static_cast<int>(b);
}
static_assert(Same(wire::Page::End::COMPLETE, PageReply::End::Complete) &&
              Same(wire::Page::End::TIMED_OUT, PageReply::End::TimedOut) &&
              Same(wire::Page::End::FAILED, PageReply::End::Failed));

struct Fetched {
  PageReply reply;
  std::shared_ptr<void> place;
};

void WritePage(const PageReply& from, wire::Page::Builder to) {
  to.setEnd(static_cast<wire::Page::End>(from.end));
  to.setReason(ToText(from.reason));
  to.setBody(ToData(from.body));
  to.setContentType(ToText(from.contentType));
  to.setStatus(static_cast<std::uint16_t>(from.status));
}
}  // namespace

kj::Promise<void> Session::fetch(FetchContext context) {
  assert(m_thread.IsInside());
  context.allowCancellation();
  const auto params = context.getParams();
  const auto number = params.getNumber();
  auto ended = kj::newPromiseAndFulfiller<Fetched>();
  try {
    RequireGate();
    if (m_fetches.contains(number))
      throw EngineError(EngineErrorCode::Invalid, "the number of the fetch is in use");
    if (m_fetches.size() >= MaxFetchesOfConsole)
      throw EngineError(EngineErrorCode::Failed, "too many pages are being fetched");
    const auto fulfiller = std::make_shared<kj::Own<kj::PromiseFulfiller<Fetched>>>(kj::mv(ended.fulfiller));
    m_fetches[number] =
        m_service.Fetch(ToString(params.getUrl()), std::chrono::milliseconds(params.getLimitMs()),
                        [fulfiller](PageReply reply, std::shared_ptr<void> place) {
                          (*fulfiller)->fulfill({kj::mv(reply), kj::mv(place)});
                        });
  } catch (...) {
    WriteAnswer(context.getResults().initAnswer(), std::current_exception());
    return kj::READY_NOW;
  }
  auto end = kj::defer([this, number] {  // also when the console has dropped the call
    StopFetch(number);
    m_fetches.erase(number);
  });
  return ended.promise.then([this, context, end = kj::mv(end)](Fetched&& fetched) mutable {
    WriteAnswer(context.getResults().initAnswer(), nullptr);
    WritePage(fetched.reply, context.getResults().initPage());
    if (m_tasks.get() != nullptr) m_tasks->add(m_awaitRead().attach(kj::mv(end), kj::mv(fetched.place)));
  });
}

kj::Promise<void> Session::stopFetch(StopFetchContext context) {
  return Act(context, [this](auto params, auto&) { StopFetch(params.getNumber()); });
}

void Session::StopFetch(std::uint32_t number) {
  if (const auto fetch = m_fetches.find(number); fetch != m_fetches.end()) m_service.StopFetch(fetch->second);
}

// The mirror

kj::Promise<void> Session::follow(FollowContext context) {
  KJ_REQUIRE(m_tasks.get() != nullptr, "the connection has ended");
  KJ_REQUIRE(m_mirror == nullptr, "the session has a mirror already");
  m_mirror = context.getParams().getMirror();
  TableChanged();
  return kj::READY_NOW;
}

void Session::TableChanged() {
  if (m_mirror == nullptr || m_feeding) return;
  m_feeding = true;
  // Later, so that one run of changes becomes one batch.
  m_tasks->add(kj::evalLater([this] { return Feed(); }));
}

/// One batch after the other until nothing is left; the next goes out when the console has answered the last.
kj::Promise<void> Session::Feed() {
  assert(m_thread.IsInside());
  if (!m_feed.Pending(m_service.Table())) {
    m_feeding = false;
    return kj::READY_NOW;
  }
  const auto batch = m_feed.Next(m_service.Table());
  const auto words = batch.WordsHint();
  platform::EnsureMemory(words * sizeof(capnp::word));
  auto request = KJ_ASSERT_NONNULL(m_mirror).updateRequest(capnp::MessageSize{words, 0});
  batch.Write(request.initBatch());
  return request.send().ignoreResult().then([this] { return Feed(); });
}

void Session::taskFailed(kj::Exception&& exception) {
  m_failed.reject(kj::mv(exception));
}

}  // namespace norvane::link
