#include "engine/store/NewFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>
#include <vector>

#include "engine/store/StoreError.h"
#include "platform/FileDescriptor.h"
#include "platform/RandomText.h"

namespace norvane::engine {

namespace {
/// Random digits follow, so that the name is surely ours.
constexpr const char* Ending = ".saving-";
constexpr std::size_t RandomBytes = 8;

void SyncFolderOf(const std::string& path) {
  const auto folder = std::filesystem::path(path).parent_path();
  const platform::FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd || ::fsync(fd.Get()) != 0) throw SystemFailure(folder.string(), errno);
}
}  // namespace

NewFile::NewFile(std::string path)
    : m_path(std::move(path)), m_name(m_path + Ending + platform::RandomText(RandomBytes)) {}

NewFile::~NewFile() {
  if (!m_isInPlace) ::unlink(m_name.c_str());
}

void NewFile::Sync() {
  const platform::FileDescriptor file(::open(m_name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file || ::fsync(file.Get()) != 0) throw SystemFailure(m_name, errno);
}

void NewFile::PutInPlace() {
  // SQLite would apply what is left of the old file to the new one.
  const auto journal = m_path + "-journal";
  if (::unlink(journal.c_str()) != 0 && errno != ENOENT) throw SystemFailure(journal, errno);
  if (::rename(m_name.c_str(), m_path.c_str()) != 0) throw SystemFailure(m_path, errno);
  m_isInPlace = true;
  SyncFolderOf(m_path);
}

void NewFile::RemoveLeftovers(const std::string& path) {
  const auto name = std::filesystem::path(path).filename().string() + Ending;
  std::error_code error;
  std::vector<std::filesystem::path> leftovers;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(path).parent_path(), error)) {
    const auto found = entry.path().filename().string();
    if (found.starts_with(name) && found.size() == name.size() + 2 * RandomBytes &&
        found.find_first_not_of("0123456789abcdef", name.size()) == std::string::npos)
      leftovers.push_back(entry.path());
  }
  for (const auto& leftover : leftovers)
    ::unlink(leftover.c_str());
}

}  // namespace norvane::engine
