#include "engine/history/History.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/model/Health.h"
#include "engine/store/DataFile.h"
#include "engine/store/KeepAside.h"
#include "engine/store/StoreError.h"
#include "platform/ErrorText.h"

namespace norvane::engine {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using datafile::NumberOf;
using Kind = StateChange::Kind;

namespace {
/// The disk is too slow for more.
constexpr int MaxWriting = 4;
constexpr int MaxReading = 32;
/// That wait for a disk that refuses them.
constexpr std::size_t MaxWaitingChanges = 100000;
constexpr std::chrono::seconds JoinPause{60};
}  // namespace

/// The file, on the history's own thread.
struct History::Keeper {
  std::string folder;
  HistoryAges ages;
  std::optional<HistoryFile> file{};
  std::string event{};  ///< what is to be told

  /// Opens it where that has to be done; one that cannot be read makes way. Gives whether it was opened.
  bool Open() {
    if (file && file->IsInPlace()) return false;
    file.reset();
    try {
      file.emplace(folder, ages);
    } catch (const StoreError& error) {
      if (error.Code() == StoreErrorCode::Failed) throw;
      BeginAnew(error.what());
      file.emplace(folder, ages);
    }
    return true;
  }
  /// `action(file)`; when it finds damage the file makes way, and the action has failed all the same.
  template <class Action>
  void Use(Action action) {
    try {
      action(*file);
    } catch (const StoreError& error) {
      if (error.Code() == StoreErrorCode::Unreadable) BeginAnew(error.what());
      throw;
    }
  }
  void BeginAnew(const std::string& why) {
    file.reset();
    event = why + "; kept as " + KeepAside(HistoryFile::PathIn(folder)) + ", the history begins anew";
  }
};

History::History(Options options, platform::EventFd& wake, Health& health,
                 std::function<const MonitorTable&()> table)
    : m_options(std::move(options)),
      m_health(health),
      m_table(std::move(table)),
      m_keeper(std::make_shared<Keeper>(Keeper{m_options.folder, m_options.ages})),
      m_writer(m_options.folder, wake, [](const auto&) {}) {
  m_next.isWhole = true;
}

History::~History() {
  Send();
}

// What happens

void History::Checked(const Monitor& monitor, const CheckResult& result, bool isAsBefore, bool isOutage) {
  const auto span =
      std::chrono::floor<std::chrono::seconds>(result.at.time_since_epoch()) / HistoryFile::Span;
  // One that began before the last span ended counts in the next: spans are handed over in order.
  const bool isEarlier = span < m_next.span && m_next.span - span <= 12;
  if (span != m_next.span && !isEarlier) {
    if (!m_next.results.empty()) Send();
    m_next.span = span;
  }
  const auto milliseconds = std::clamp<std::int64_t>(result.duration.count(), 0, AnswerSums::MaxMilliseconds);
  m_next.results.push_back({NumberOf(monitor.id), static_cast<std::uint32_t>(milliseconds) & 0x7fffffffu,
                            result.IsGood() ? 1u : 0u});
  const bool isNewOutage = isOutage && m_open.insert(monitor.id).second;
  if (!isOutage && !m_open.empty()) m_open.erase(monitor.id);
  if (!isAsBefore || isNewOutage)
    Add(monitor, {result.IsGood() ? Kind::Up
                  : isOutage      ? Kind::Down
                                  : Kind::Failing,
                  result.at,
                  {},
                  result.IsGood() ? std::string() : result.reason});
  SendIfFull();
}

void History::Made(const Monitor& monitor) {
  m_next.monitors.push_back({NumberOf(monitor.id), monitor.name, true, monitor.Running()});
}

void History::Switched(const Monitor& monitor) {
  m_open.erase(monitor.id);
  Add(monitor, {monitor.Running() ? Kind::Unwatched : Kind::Stopped, m_options.wallClock(), {}, {}});
}

void History::Removed(const Monitor& monitor) {
  m_open.erase(monitor.id);
  m_next.removed.push_back(NumberOf(monitor.id));
}

/// Numbers have another meaning from now on.
void History::TableReplaced() {
  Send();
  m_open.clear();
  m_next.isWhole = true;
}

void History::Silenced(const Monitor& monitor, StateChange::Time until) {
  Add(monitor, {Kind::Silenced, m_options.wallClock(), until, {}});
}

void History::Unsilenced(const Monitor& monitor) {
  Add(monitor, {Kind::Unsilenced, m_options.wallClock(), {}, {}});
}

void History::Add(const Monitor& monitor, StateChange change) {
  m_next.changes.push_back({NumberOf(monitor.id), std::move(change)});
}

// What is written

void History::OnSecond() {
  const auto now = m_options.wallClock();
  const bool isUrgent =
      m_next.isWhole || !m_next.changes.empty() || !m_next.monitors.empty() || !m_next.removed.empty();
  if ((isUrgent && m_writing == 0) || now >= m_nextWrite || m_nextWrite > now + MaxAge) Send();
  if (!m_isJoining && (now >= m_nextJoin || m_nextJoin > now + JoinPause)) Join();
}

void History::SendIfFull() {
  if (m_next.results.size() >= MaxResults) Send();
}

void History::Send() {
  if (m_writing >= MaxWriting) {
    m_lost += m_next.results.size();
    m_next.results.clear();
    m_health.Set(Unwritten, "history: results lost: the disk is too slow");
    return;
  }
  m_next.at = m_options.wallClock();
  m_nextWrite = m_next.at + MaxAge;
  if (m_next.isWhole) AddAll(m_next);
  auto batch = std::make_shared<HistoryBatch>(std::move(m_next));
  m_next = {};
  m_next.span = batch->span;
  Write(std::move(batch));
}

/// Those that are new already say so.
void History::AddAll(HistoryBatch& batch) const {
  std::unordered_set<std::uint32_t> added;
  for (const auto& monitor : batch.monitors)
    added.insert(monitor.number);
  for (const auto& [id, monitor] : m_table().All()) {
    if (!added.contains(NumberOf(id)))
      batch.monitors.push_back({NumberOf(id), monitor.name, false, monitor.Running()});
  }
}

/// On the history's thread; tells when the file had to make way.
void History::Run(std::function<void(Keeper&)> work, std::function<void(std::exception_ptr)> done) {
  const auto event = std::make_shared<std::string>();
  m_writer.Run(
      [keeper = m_keeper, event, work = std::move(work)] {
        try {
          work(*keeper);
        } catch (...) {
          *event = std::exchange(keeper->event, {});
          throw;
        }
        *event = std::exchange(keeper->event, {});
      },
      [this, event, done = std::move(done)](const std::exception_ptr& error) {
        if (!event->empty()) m_health.Note(Damaged, "history: " + *event);
        done(error);
      });
}

void History::Write(std::shared_ptr<HistoryBatch> batch) {
  ++m_writing;
  Run(
      [batch](Keeper& keeper) {
        // Numbers mean nothing to a file that was just opened.
        if (keeper.Open() && !batch->isWhole)
          throw StoreError(StoreErrorCode::Failed, HistoryFile::PathIn(keeper.folder) + ": was replaced");
        keeper.Use([&](auto& file) { file.Write(*batch); });
      },
      [this, batch](const std::exception_ptr& error) { Written(*batch, error); });
}

void History::Written(HistoryBatch& batch, const std::exception_ptr& error) {
  --m_writing;
  if (error) RequeueFailed(batch);
  if (!error) m_lost = 0;
  m_health.Set(Unwritten, error ? "history: " + platform::ErrorText(error) : std::string());
}

/// All but the results, which belong to a span of their own.
void History::RequeueFailed(HistoryBatch& batch) {
  m_lost += batch.results.size();
  m_next.isWhole = true;
  const auto prepend = [](auto& next, auto& before) {
    before.insert(before.end(), std::make_move_iterator(next.begin()), std::make_move_iterator(next.end()));
    next = std::move(before);
  };
  std::erase_if(batch.monitors, [](const auto& monitor) { return !monitor.isNew; });
  prepend(m_next.monitors, batch.monitors);
  prepend(m_next.removed, batch.removed);
  prepend(m_next.changes, batch.changes);
  if (m_next.changes.size() > MaxWaitingChanges)
    m_next.changes.erase(m_next.changes.begin(), m_next.changes.end() - MaxWaitingChanges);
}

void History::Join() {
  m_isJoining = true;
  const auto now = m_options.wallClock();
  const auto hasMore = std::make_shared<bool>(false);
  Run(
      [hasMore, now](Keeper& keeper) {
        if (keeper.file) keeper.Use([&](auto& file) { *hasMore = file.Join(now); });
      },
      [this, hasMore, now](const std::exception_ptr& error) {
        m_isJoining = false;
        m_nextJoin = *hasMore ? now : now + JoinPause;
        if (error) m_health.Set(Unwritten, "history: " + platform::ErrorText(error));
      });
}

void History::Deliver() {
  for (const auto& problem : m_writer.Deliver())
    m_health.Note("history", "history: " + problem.text);
}

// What is read

void History::Read(console::engine::HistoryQuery query, ReadCompletion done) {
  if (m_reading >= MaxReading) throw EngineError(EngineErrorCode::Failed, "too many ask for histories");
  if (!m_next.results.empty() || !m_next.changes.empty() || m_next.isWhole || !m_next.monitors.empty())
    Send();
  ++m_reading;
  const auto reply = std::make_shared<console::engine::MonitorHistory>();
  Run(
      [reply, query = std::move(query), now = m_options.wallClock()](Keeper& keeper) {
        if (!keeper.file) throw EngineError(EngineErrorCode::Failed, "the history cannot be read");
        keeper.Use([&](auto& file) { *reply = file.Read(query, now); });
      },
      [this, reply, done = std::move(done)](const std::exception_ptr& error) {
        --m_reading;
        done(error ? ForConsole(error) : nullptr, std::move(*reply));
      });
}

}  // namespace norvane::engine
