#include "engine/store/GoodCopy.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "engine/store/Database.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/StoreError.h"
#include "platform/TimeText.h"

namespace norvane::engine {

void KeepGoodCopy(Database& database, const std::string& path) {
  NewFile copy(GoodCopyOf(path));
  database.CopyTo(copy.Name());
  copy.Sync();
  copy.PutInPlace();
}

std::string GoodCopyTime(const std::string& path) {
  struct stat info {};
  if (::lstat(GoodCopyOf(path).c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
  return platform::FormatTime("%Y-%m-%d %H:%M",
                              platform::LocalTime(std::chrono::system_clock::from_time_t(info.st_mtime)));
}

std::string RestoreGoodCopy(const std::string& path) {
  NewFile file(path);
  std::error_code error;
  std::filesystem::copy_file(GoodCopyOf(path), file.Name(), error);
  if (error) throw StoreError(StoreErrorCode::Failed, GoodCopyOf(path) + ": " + error.message());
  file.Sync();
  return KeepAside(path, file);
}

}  // namespace norvane::engine
