#include "platform/Paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

namespace norvane::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t MaxComputerName = 49;
constexpr mode_t OnlyOwner = 0700;

std::error_code LastError() {
  return {errno, std::generic_category()};
}

std::error_code MakeOne(const std::string& folder) {
  if (::mkdir(folder.c_str(), OnlyOwner) == 0) return {};
  if (errno != EEXIST) return LastError();
  struct stat status {};
  if (::stat(folder.c_str(), &status) != 0) return LastError();
  return S_ISDIR(status.st_mode) ? std::error_code{} : std::make_error_code(std::errc::not_a_directory);
}

std::string FindInSearchPath(const std::string& name, std::string_view searchPath) {
  while (true) {
    const auto end = std::min(searchPath.find(':'), searchPath.size());
    // An empty entry is the working folder.
    const auto candidate = (end == 0 ? "." : std::string(searchPath.substr(0, end))) + "/" + name;
    if (FileExists(candidate) && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    if (end == searchPath.size()) return {};
    searchPath.remove_prefix(end + 1);
  }
}

std::string FolderOfThisProgram() {
  const char* searchPath = std::getenv("PATH");
  const auto folder = FolderOfProgram(program_invocation_name, searchPath ? searchPath : "");
  // argv[0] may be anything.
  return folder.empty() ? fs::read_symlink("/proc/self/exe").parent_path().string() : folder;
}

}  // namespace

const std::string& ApplicationFolder() {
  static const std::string folder = FolderOfThisProgram();
  return folder;
}

std::string FolderOrOwn(const std::string& named) {
  if (named.empty()) return ApplicationFolder();
  auto folder = fs::absolute(named).lexically_normal().string();
  if (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return folder;
}

std::string FolderOfProgram(const std::string& calledAs, std::string_view searchPath) {
  const bool isPath = calledAs.find('/') != std::string::npos;
  const auto program = isPath || calledAs.empty() ? calledAs : FindInSearchPath(calledAs, searchPath);
  if (!FileExists(program)) return {};
  std::error_code failed;  // gives an empty path
  return fs::canonical(fs::path(program).parent_path(), failed).string();
}

std::string NativePath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

bool FileExists(const std::string& path) {
  struct stat status {};
  // The system would stop at a NUL character and find another file.
  return path.find('\0') == std::string::npos && ::stat(path.c_str(), &status) == 0 &&
         S_ISREG(status.st_mode);
}

std::error_code MakeFolder(const std::string& path) {
  if (const auto error = MakeOne(path); error != std::errc::no_such_file_or_directory) return error;
  const auto parent = fs::path(path).parent_path().string();
  if (parent.empty() || parent == path) return std::make_error_code(std::errc::no_such_file_or_directory);
  if (const auto error = MakeFolder(parent)) return error;
  return MakeOne(path);
}

std::error_code LetGroupThrough(const std::string& folder, gid_t group) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) != 0) return LastError();
  constexpr mode_t groupBits = 0070, enter = 0010, otherBits = 0007, all = 07777;
  if (status.st_gid == group && (status.st_mode & enter) != 0) return {};
  // What everybody may do members may too, and at no moment what the former group could.
  const mode_t without = (status.st_mode & all & ~groupBits) | (status.st_mode & otherBits) << 3;
  if (::chmod(folder.c_str(), without) != 0 || ::chown(folder.c_str(), static_cast<uid_t>(-1), group) != 0 ||
      ::chmod(folder.c_str(), without | enter) != 0)
    return LastError();
  return {};
}

std::string ComputerName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) != 0) throw std::system_error(LastError(), "gethostname");
  return std::string(name).substr(0, MaxComputerName);
}

}  // namespace norvane::platform
