#include "engine/store/Journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/store/Checksum.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/StoreError.h"
#include "platform/FileIdentity.h"

namespace norvane::engine {

using console::engine::KnownKeys;
using datafile::Changes;

namespace {
constexpr std::string_view Magic = "NorvaneJ";
constexpr std::uint64_t Version = 1;

/// Of a record. A file is a row of them: a checksum of kind, length and all that came before, the bytes, a
/// checksum of them and all before. So a record that is missing or moved is seen too.
enum Kind : std::uint64_t {
  Header,  // version, state of the data file, whether the first batch has all monitors
  Batch,   // removed numbers, rows
  Save,    // the state that the data file gets
};
constexpr std::size_t HeadSize = 3 * sizeof(std::uint64_t);
constexpr std::size_t TailSize = sizeof(std::uint64_t);

/// Of what cannot be read; the text says where.
struct Damage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Bytes

void Put(std::string& to, std::uint64_t number) {
  for (int i = 0; i < 8; ++i)
    to += static_cast<char>(number >> (8 * i));
}

void Put(std::string& to, std::string_view text) {
  Put(to, text.size());
  to += text;
}

/// Takes what `Put` made off the front.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : m_bytes(bytes) {}
  [[nodiscard]] std::size_t Left() const { return m_bytes.size(); }
  std::string_view Bytes(std::uint64_t count) {
    if (count > m_bytes.size()) throw Damage("a record ends too early");
    const auto bytes = m_bytes.substr(0, count);
    m_bytes.remove_prefix(count);
    return bytes;
  }
  std::uint64_t Number() {
    const auto bytes = Bytes(8);
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < 8; ++i)
      number |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    return number;
  }
  std::string Text() { return std::string(Bytes(Number())); }

 private:
  std::string_view m_bytes;
};

std::uint64_t HeadSum(std::uint64_t before, std::uint64_t kind, std::uint64_t size) {
  Checksum sum;
  sum.Add(before);
  sum.Add(kind);
  sum.Add(size);
  return static_cast<std::uint64_t>(sum.Value());
}

std::uint64_t SumAfter(std::uint64_t headSum, std::string_view bytes) {
  Checksum sum;
  sum.Add(headSum);
  sum.Add(bytes);
  return static_cast<std::uint64_t>(sum.Value());
}

/// Makes a record of the bytes; `sum` goes on with it.
std::string RecordOf(Kind kind, std::string_view bytes, std::uint64_t& sum) {
  const auto headSum = HeadSum(sum, kind, bytes.size());
  sum = SumAfter(headSum, bytes);
  std::string record;
  record.reserve(HeadSize + bytes.size() + TailSize);
  Put(record, kind);
  Put(record, bytes.size());
  Put(record, headSum);
  record += bytes;
  Put(record, sum);
  return record;
}

std::string HeaderOf(const std::string& state, bool isWhole) {
  std::string bytes(Magic);
  Put(bytes, Version);
  Put(bytes, state);
  Put(bytes, isWhole);
  return bytes;
}

std::string BytesOf(const Changes& batch) {
  std::string bytes;
  Put(bytes, batch.removed.size());
  for (const auto number : batch.removed)
    Put(bytes, number);
  Put(bytes, batch.rows.size());
  for (const auto& row : batch.rows) {
    Put(bytes, row.number);
    Put(bytes, row.name);
    const auto& others = row.attributes->Unknown();
    Put(bytes, KnownKeys.size() + others.size());
    for (std::size_t i = 0; i < KnownKeys.size(); ++i) {
      Put(bytes, KnownKeys[i]);
      Put(bytes, row.attributes->At(i));
    }
    for (const auto& [key, value] : others) {
      Put(bytes, key);
      Put(bytes, value);
    }
  }
  return bytes;
}

Changes BatchFrom(std::string_view bytes) {
  Reader reader(bytes);
  Changes batch;
  batch.all = false;
  for (auto left = reader.Number(); left != 0; --left)
    batch.removed.push_back(static_cast<std::uint32_t>(reader.Number()));
  for (auto left = reader.Number(); left != 0; --left) {
    datafile::Row row{static_cast<std::uint32_t>(reader.Number()), reader.Text(), nullptr};
    Attributes attributes;
    for (auto values = reader.Number(); values != 0; --values) {
      const auto key = reader.Text();
      attributes.Set(key, reader.Text());
    }
    row.attributes = std::make_shared<const Attributes>(std::move(attributes));
    batch.rows.push_back(std::move(row));
  }
  return batch;
}

/// Empty if there is none.
std::optional<std::string> BytesIn(const std::string& path) {
  const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file && errno == ENOENT) return std::nullopt;
  struct stat info {};
  if (!file || ::fstat(file.Get(), &info) != 0) throw SystemFailure(path, errno);
  if (!S_ISREG(info.st_mode)) throw StoreError(StoreErrorCode::Failed, path + ": not a regular file");
  std::string bytes(static_cast<std::size_t>(info.st_size), '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const auto count = ::read(file.Get(), bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno != EINTR) throw SystemFailure(path, errno);
    if (count == 0) break;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return bytes;
}

void WriteAll(int file, std::string_view bytes, std::uint64_t at, const std::string& path) {
  while (!bytes.empty()) {
    const auto count = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) throw SystemFailure(path, count < 0 ? errno : EIO);
    bytes.remove_prefix(static_cast<std::size_t>(count));
    at += static_cast<std::uint64_t>(count);
  }
}

/// Goes through the records of a file.
class Records {
 public:
  explicit Records(std::string_view bytes) : m_bytes(bytes) {}

  struct Record {
    std::uint64_t kind;
    std::string_view bytes;
  };
  /// Nothing at the end, or where a process was killed while it wrote.
  std::optional<Record> Next() {
    Reader reader(m_bytes.substr(m_end));
    if (reader.Left() < HeadSize) return std::nullopt;
    const auto kind = reader.Number(), size = reader.Number(), headSum = reader.Number();
    if (headSum != HeadSum(m_sum, kind, size)) throw Damage("a record is damaged");
    if (reader.Left() < TailSize || size > reader.Left() - TailSize) return std::nullopt;
    const auto bytes = reader.Bytes(size);
    const auto sum = SumAfter(headSum, bytes);
    if (reader.Number() != sum) throw Damage("a record does not match its checksum");
    m_sum = sum;
    m_end = m_bytes.size() - reader.Left();
    return Record{kind, bytes};
  }
  /// Of the last record.
  [[nodiscard]] std::size_t End() const { return m_end; }
  [[nodiscard]] std::uint64_t Sum() const { return m_sum; }

 private:
  std::string_view m_bytes;
  std::size_t m_end = 0;
  std::uint64_t m_sum = 0;
};
}  // namespace

std::optional<Journal::Contents> Journal::Read(const std::string& state) {
  m_state = state;
  auto contents = Parse(state);
  if (!contents || !contents->continuesFile || !contents->damage.empty()) return contents;
  m_file = platform::FileDescriptor(::open(m_path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (!m_file || ::ftruncate(m_file.Get(), static_cast<off_t>(contents->end)) != 0)
    throw SystemFailure(m_path, errno);
  m_size = contents->end;
  m_sum = contents->sum;
  return contents;
}

std::optional<Journal::Contents> Journal::Parse(const std::string& state) const {
  const auto bytes = BytesIn(m_path);
  if (!bytes) return std::nullopt;
  Contents contents;
  Records records(*bytes);
  try {
    const auto header = records.Next();
    if (!header || header->kind != Header) throw Damage("its header is damaged");
    Reader reader(header->bytes);
    if (reader.Bytes(Magic.size()) != Magic) throw Damage("not a journal");
    if (reader.Number() > Version) throw NewerFile(m_path);
    contents.continuesFile = reader.Text() == state;
    bool isWhole = reader.Number() != 0;
    while (const auto record = records.Next()) {
      if (record->kind == Save && Reader(record->bytes).Text() == state) {
        contents.batches.clear();
        contents.continuesFile = true;
      } else if (record->kind == Batch) {
        contents.batches.push_back(BatchFrom(record->bytes));
        contents.batches.back().all = std::exchange(isWhole, false);
      }
    }
    contents.end = records.End();
    contents.sum = records.Sum();
  } catch (const Damage& damage) {
    contents.damage = damage.what();
  } catch (const console::engine::EngineError& error) {
    contents.damage = error.what();
  }
  if (!contents.continuesFile) contents.batches.clear();
  return contents;
}

std::string Journal::Write(const Changes& batch, bool anew) {
  if (!m_file || anew || batch.all) return Start(batch);
  if (platform::FileIdentity::At(m_path.c_str()) != platform::FileIdentity::Of(m_file.Get())) {
    m_file = {};
    throw StoreError(StoreErrorCode::Failed, m_path + ": was removed or replaced while the engine ran");
  }
  const auto sum = m_sum;
  try {
    Append(RecordOf(Batch, BytesOf(batch), m_sum), true);
  } catch (...) {
    m_sum = sum;
    throw;
  }
  return {};
}

std::string Journal::Start(const Changes& batch) {
  NewFile file(m_path);
  std::uint64_t sum = 0;
  auto bytes = RecordOf(Header, HeaderOf(m_state, batch.all), sum);
  bytes += RecordOf(Batch, BytesOf(batch), sum);
  platform::FileDescriptor fd(::open(file.Name().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd) throw SystemFailure(file.Name(), errno);
  WriteAll(fd.Get(), bytes, 0, m_path);
  file.Sync();
  auto keptAs = PutAsideIfOthers();
  file.PutInPlace();
  m_file = std::move(fd);
  m_size = bytes.size();
  m_sum = sum;
  return keptAs;
}

void Journal::Append(const std::string& record, bool sync) {
  try {
    WriteAll(m_file.Get(), record, m_size, m_path);
    if (sync && ::fdatasync(m_file.Get()) != 0) throw SystemFailure(m_path, errno);
  } catch (...) {
    // What is half written would look like damage once more follows; if this fails too, the next one replaces
    // all.
    if (::ftruncate(m_file.Get(), static_cast<off_t>(m_size.load())) != 0) m_file = {};
    throw;
  }
  m_size += record.size();
}

void Journal::NoteSave(const std::string& next) noexcept {
  if (!m_file) return;
  const auto sum = m_sum;
  try {
    std::string bytes;
    Put(bytes, next);
    // Not synced: it is for the moment between the save and the journal's end, and only a killed process has
    // both.
    Append(RecordOf(Save, bytes, m_sum), false);
  } catch (const std::exception&) {
    // Without it a kill in that moment has the journal kept aside, which is as good.
    m_sum = sum;
  }
}

std::string Journal::PutAsideIfOthers() {
  auto keptAs = m_isOthers ? KeepAside(m_path) : std::string();
  m_isOthers = false;
  return keptAs;
}

std::string Journal::Begin(const std::string& state) noexcept {
  m_state = state;
  m_file = {};
  m_size = 0;
  m_sum = 0;
  try {
    auto keptAs = PutAsideIfOthers();
    ::unlink(m_path.c_str());  // one that stays is known to be of an earlier state
    return keptAs;
  } catch (const std::exception&) {
    // It stays another's, and the next write says why.
    return {};
  }
}

}  // namespace norvane::engine
