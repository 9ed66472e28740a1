#include <algorithm>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/store/DataFile.h"
#include "engine/store/Journal.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/Storage.h"
#include "engine/store/Writer.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"

// What Storage has to do with the journal.

namespace norvane::engine {

using console::engine::EngineError;

namespace {
// Conditions.
constexpr std::string_view JournalKept = "journal kept aside";
constexpr std::string_view NotEnded = "not ended in order";

/// Between two syncs of the journal, less than between two calls; a change is on disk within a second, also
/// on a busy machine.
constexpr std::chrono::milliseconds BatchPause{400};
}  // namespace

/// `state` is the data file's.
void Storage::Replay(std::string state, std::unique_ptr<MonitorTable>& table) {
  NewFile::RemoveLeftovers(JournalPath());
  auto journal = m_journal->Read(state);
  if (!journal) {
    m_journaled = table->LastChange();
    return;
  }
  Replay(*journal, "the engine was not ended in order", table);
  m_journaled = table->LastChange();
  if (journal->continuesFile && journal->damage.empty()) return;
  if (!journal->continuesFile && journal->damage.empty() && state == Journal::UnreadableState) {
    m_journal->LeaveToOthers();
    return;
  }
  // What was read of it is in no file now.
  m_journalAnew = !journal->batches.empty();
  const auto kept = KeepAside(JournalPath());
  m_health.Note(
      JournalKept,
      journal->damage.empty()
          ? "the data file was replaced; what was not saved in the old one is kept as " + kept
          : "the journal is damaged, changes may be lost: " + journal->damage + "; kept as " + kept);
}

void Storage::Replay(Journal::Contents& journal, const std::string& why,
                     std::unique_ptr<MonitorTable>& table) {
  std::size_t monitors = 0;
  try {
    for (const auto& batch : journal.batches) {
      Apply(batch, table);
      monitors += batch.rows.size() + batch.removed.size();
    }
  } catch (const EngineError& error) {
    journal.damage = error.what();
  }
  if (monitors != 0)
    m_health.Note(NotEnded, why + "; changes taken from its journal: " + std::to_string(monitors));
}

void Storage::NoteJournalKept(const std::string& keptAs) {
  if (!keptAs.empty())
    m_health.Note(JournalKept,
                  "what was not saved in the data file that cannot be read is kept as " + keptAs);
}

void Storage::Apply(const datafile::Changes& batch, std::unique_ptr<MonitorTable>& table) {
  if (batch.all) {  // of another file
    table = std::make_unique<MonitorTable>(++m_lastGeneration, m_types);
    m_saved.reset();
    m_servedFile.clear();
  }
  const auto find = [&](std::uint32_t number) {
    return table->Find((MonitorId{table->Generation()} << 32) | number);
  };
  for (const auto number : batch.removed) {
    if (const auto* monitor = find(number)) table->Remove(monitor->id);
  }
  for (const auto& row : batch.rows) {
    const auto* monitor = find(row.number);
    if (monitor == nullptr) {
      table->Add(row.name, Attributes(*row.attributes), row.number);
      continue;
    }
    for (const auto key : console::engine::KnownKeys)
      table->Set(monitor->id, key, row.attributes->Get(key));
    for (const auto& [key, value] : row.attributes->Unknown())
      table->Set(monitor->id, key, value);
  }
}

void Storage::KeepChanges(Pace pace) {
  const auto now = m_clock();
  const auto& table = m_client.Table();
  if (m_isJournaling || (pace == Pace::Batched && now < m_nextBatch)) return;
  // A save or load takes the journal's base away.
  m_isBatchDue = !m_steps.empty();
  if (m_isBatchDue) return;
  const auto last = table.LastChange();
  auto batch = std::make_shared<datafile::Changes>();
  const bool anew = std::exchange(m_journalAnew, false) || m_journal->Size() > m_foldAt;
  batch->all = anew && !m_saved;
  const auto since = batch->all ? 0 : anew ? m_saved->change : m_journaled;
  if (!batch->all) {
    for (const auto id : table.RemovedSince(since))
      batch->removed.push_back(datafile::NumberOf(id));
  }
  for (const auto* monitor = table.NextSettingChanged(since); monitor != nullptr;
       monitor = table.NextSettingChanged(monitor->settingChange))
    batch->rows.push_back(datafile::RowOf(*monitor));
  if (batch->rows.empty() && batch->removed.empty() && !anew) {
    m_journaled = last;
    return CompleteKept();
  }
  m_isJournaling = true;
  m_nextBatch = now + BatchPause;
  const auto keptAs = std::make_shared<std::string>();
  m_writer.Run([journal = m_journal, batch, anew, keptAs] { *keptAs = journal->Write(*batch, anew); },
               [this, last, anew, keptAs](const std::exception_ptr& error) {
                 NoteJournalKept(*keptAs);
                 m_isJournaling = false;
                 if (error)
                   m_journalAnew = true;
                 else
                   m_journaled = std::max(m_journaled, last);
                 if (anew) m_foldAt = std::max(MinFoldSize, 2 * m_journal->Size());
                 m_health.Set(JournalUnwritten, error ? "changes would be lost if the engine were killed: " +
                                                            platform::ErrorText(error)
                                                      : std::string());
                 CompleteKept(error);
                 if (!m_awaited.empty()) KeepChanges(Pace::AtOnce);
               });
}

void Storage::KeepChanges(Completion done) {
  m_awaited.push_back({m_client.Table().LastChange(), std::move(done)});
  KeepChanges(Pace::AtOnce);
}

void Storage::CompleteKept(const std::exception_ptr& error) {
  while (!m_awaited.empty() && (error || m_awaited.front().change <= m_journaled)) {
    const auto done = std::move(m_awaited.front().done);
    m_awaited.pop_front();
    done(error);
  }
}

/// The data file has all.
void Storage::BeginJournal(const std::string& state) {
  m_journalAnew = false;
  m_health.Set(JournalUnwritten, {});
  const auto keptAs = std::make_shared<std::string>();
  m_writer.Run([journal = m_journal, state, keptAs] { *keptAs = journal->Begin(state); },
               [this, keptAs](const std::exception_ptr&) { NoteJournalKept(*keptAs); });
}

std::string Storage::JournalPath() const {
  return platform::PathIn(m_folder, platform::files::EngineJournal);
}

}  // namespace norvane::engine
