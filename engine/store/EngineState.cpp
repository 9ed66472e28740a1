#include "engine/store/EngineState.h"

#include <openssl/crypto.h>

#include <filesystem>
#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "console/engine/MonitorKeys.h"
#include "engine/model/Health.h"
#include "engine/store/GoodCopy.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/StoreError.h"
#include "engine/store/Writer.h"
#include "platform/ErrorText.h"
#include "platform/RandomText.h"

namespace norvane::engine {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::engine::service::ControlPass;

namespace {
constexpr std::size_t MaxValues = 64;
constexpr std::chrono::hours StateCopyPause{1};
constexpr std::chrono::minutes StateCopyRetryPause{1};
constexpr std::chrono::seconds LookPause{10};

// Conditions.
constexpr std::string_view StateFileUnreadable = "state file unreadable";
constexpr std::string_view StateFileUncopied = "state file not copied";
constexpr std::string_view StateFileLost = "state file lost";
constexpr std::string_view StateFileReplaced = "state file replaced";

/// Of an earlier engine.
bool HasDamaged(const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().string().starts_with(StateFile::PathIn(folder) + ".unreadable-")) return true;
  }
  return false;
}
}  // namespace

EngineState::EngineState(std::string folder, Writer& writer, Health& health)
    : m_folder(std::move(folder)), m_writer(writer), m_health(health) {
  NewFile::RemoveLeftovers(StateFile::PathIn(m_folder));
  try {
    const auto path = StateFile::PathIn(m_folder);
    if (Exists(path)) {
      Open();
    } else if (!GoodCopyTime(path).empty()) {
      Recover(path + ": no such file");
    } else {
      // A kill may have come when a damaged one had got another name.
      if (HasDamaged(m_folder))
        m_health.Note(StateFileLost, path + ": no such file; outages, messages and silences are lost");
      Open();
    }
  } catch (const StoreError& error) {
    if (error.Code() != StoreErrorCode::Unreadable) throw;
    Recover(error.what());
  }
  if (!Value(ControlPass).empty()) return;
  m_values[std::string(ControlPass)] = platform::RandomText(16);
  m_file->SetConfig(m_values);
}

void EngineState::Recover(std::string problem) {
  const auto path = StateFile::PathIn(m_folder);
  m_file.reset();
  if (const auto time = GoodCopyTime(path); !time.empty()) {
    problem += "; going on with its copy of " + time + "; kept as " + RestoreGoodCopy(path);
    try {
      Open();
      return m_health.Note(StateFileUnreadable, problem);
    } catch (const StoreError& error) {
      if (error.Code() != StoreErrorCode::Unreadable) throw;
      problem += std::string("; ") + error.what();
      m_file.reset();
    }
  }
  m_health.Set(StateFileUnreadable, problem + "; kept as " + KeepAside(path) +
                                        ", service-wide values lost until a console starts");
  Open();
}

/// At most once an hour: a copy reads and writes the whole file.
void EngineState::KeepCopy() {
  const auto now = std::chrono::steady_clock::now();
  if (now < m_nextCopy) return;
  m_nextCopy = now + StateCopyPause;
  m_writer.Run([file = m_file] { file->KeepCopy(); },
               [this](const std::exception_ptr& error) {
                 if (error) m_nextCopy = std::chrono::steady_clock::now() + StateCopyRetryPause;
                 m_health.Set(
                     StateFileUncopied,
                     error ? "no copy of the state file: " + platform::ErrorText(error) : std::string());
               });
}

void EngineState::Open() {
  m_file = std::make_shared<StateFile>(m_folder);
  m_values = m_file->Config();
  m_atStart = m_file->Read();
}

std::string EngineState::Value(std::string_view key) const {
  const auto value = m_values.find(key);
  return value == m_values.end() ? std::string() : value->second;
}

void EngineState::Commit(const std::map<std::string, std::string>& values, Completion done) {
  for (const auto& [key, value] : values) {
    if (key == ControlPass || key.empty() || key.size() > console::engine::MaxKeySize ||
        value.size() > console::engine::MaxValueSize)
      throw EngineError(EngineErrorCode::Invalid, "invalid service value: " + key);
  }
  const StateFile::Values changed(values.begin(), values.end());
  auto all = changed;
  all.insert(m_values.begin(), m_values.end());
  if (all.size() > MaxValues) throw EngineError(EngineErrorCode::Invalid, "too many service values");
  Run([changed](StateFile& file) { file.SetConfig(changed); },
      [this, changed, done = std::move(done)](std::exception_ptr error) {
        if (error) return done(ForConsole(error));
        m_health.Set(StateFileUnreadable, {});  // a console has set the values anew
        for (const auto& [key, value] : changed)
          m_values[key] = value;
        KeepCopy();
        done(nullptr);
      });
}

/// On the writer thread, with the file in its place.
void EngineState::Run(std::function<void(StateFile&)> work, Completion done) {
  const auto event = std::make_shared<std::string>();
  m_writer.Run(
      [file = m_file, event, work = std::move(work)] {
        *event = file->ReturnToPath();
        work(*file);
      },
      [this, event, done = std::move(done)](const std::exception_ptr& error) {
        if (!event->empty()) {
          m_health.Note(StateFileReplaced, *event);
          m_nextCopy = {};
        }
        done(error);
      });
}

bool EngineState::IsControlPass(std::string_view text) const {
  const auto pass = Value(ControlPass);
  return text.size() == pass.size() && CRYPTO_memcmp(text.data(), pass.data(), pass.size()) == 0;
}

std::uint64_t EngineState::Write(StateChanges changes) {
  Add(std::move(changes));
  if (m_writes == 0 && !m_waiting.IsEmpty()) StartWrite();
  return m_asked;
}

void EngineState::OnSecond() {
  const auto now = std::chrono::steady_clock::now();
  if (m_writes != 0 || (m_failed.IsEmpty() && now < m_nextLook)) return;
  m_nextLook = now + LookPause;
  StartWrite();
}

void EngineState::WriteAll(StateChanges changes, Completion done) {
  Add(std::move(changes));
  m_nextCopy = {};
  StartWrite([this, done = std::move(done)](const std::exception_ptr& error) {
    if (!error) return done(nullptr);
    StartWrite([done](const std::exception_ptr& again) { done(again ? ForConsole(again) : nullptr); });
  });
}

void EngineState::Add(StateChanges changes) {
  if (!changes.IsEmpty()) ++m_asked;
  changes.Merge(std::exchange(m_waiting, {}));
  m_waiting = std::move(changes);
}

void EngineState::StartWrite(Completion done) {
  auto changes = std::exchange(m_waiting, {});
  changes.Merge(std::exchange(m_failed, {}));
  ++m_writes;
  Run([changes](StateFile& file) { file.Write(changes); },
      [this, changes, number = m_asked, done = std::move(done)](const std::exception_ptr& error) {
        --m_writes;
        // Two may be under way at the end: the later one's records are newer.
        m_failed.Forget(changes);
        if (error)
          m_failed.Merge(changes);
        else if (m_failed.IsEmpty())
          m_written = number;
        if (!error) KeepCopy();
        if (error || m_failed.IsEmpty()) m_problem = error;
        m_health.Set(Unsaved, m_problem ? "outages and messages may be lost or repeated after a restart: " +
                                              platform::ErrorText(m_problem)
                                        : std::string());
        Write({});
        done(m_problem);
      });
}

}  // namespace norvane::engine
