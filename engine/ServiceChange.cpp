// Service: many monitors changed at once.

#include <cassert>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/PlannedChanges.h"
#include "engine/Service.h"
#include "engine/store/Writer.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"
#include "platform/MemoryReserve.h"

namespace norvane::engine {

namespace ce = console::engine;

namespace {
/// Of what is done for one monitor after all was judged: rows of the tables, requests for the workers.
constexpr std::size_t MemoryOfOne = 2048;
}  // namespace

void Service::Change(const std::vector<ce::MonitorChange>& changes, std::uint64_t basedOn, Completion done) {
  assert(m_thread.IsInside());
  RequireNotEnding();
  const auto planned = PlanChanges(*m_table, changes, basedOn);
  platform::EnsureMemory(planned.size() * MemoryOfOne);
  std::vector<const Monitor*> toStart;
  for (const auto& change : planned) {
    if (change.attributes == nullptr) {
      static_cast<void>(Forget(*change.monitor));
      continue;
    }
    const auto before = change.monitor == nullptr ? nullptr : change.monitor->attributes;
    if (before == change.attributes) continue;
    const auto id =
        change.monitor == nullptr ? m_table->Add(change.name, *change.attributes).id : change.monitor->id;
    before ? m_table->Replace(id, change.attributes) : m_history->Made(Get(id));
    static_cast<void>(FollowSettings(Get(id), before.get(), toStart));
  }
  StartSpread(toStart);
  m_alarms->Keep();
  NotifyObservers();
  m_storage.KeepChanges([done = std::move(done)](const std::exception_ptr& error) {
    done(error ? std::make_exception_ptr(ce::EngineError(
                     ce::EngineErrorCode::Failed,
                     "done, but not on disk, so that it would be lost if the engine were killed: " +
                         platform::ErrorText(error)))
               : nullptr);
  });
}

void Service::LogChange(std::string text) {
  m_writer->Log({std::string(platform::files::ChangeLog), std::chrono::system_clock::now(), std::move(text),
                 EngineLog::MaxFileSize});
}

}  // namespace norvane::engine
