#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "engine/net/EventLoop.h"
#include "platform/FileStamp.h"

namespace norvane::engine {

/// The machine's own names and addresses, shared by all loops. A file of many thousand lines takes longer to
/// read than a turn may last, so it is kept, and read anew in a thread of its own when it has changed. As
/// long as it cannot be read, the former names hold.
class HostsFile {
 public:
  explicit HostsFile(std::string path = "/etc/hosts");
  /// Waits until nobody reads it.
  ~HostsFile();
  HostsFile(const HostsFile&) = delete;
  HostsFile& operator=(const HostsFile&) = delete;

  /// The numeric addresses of `name`, whatever its case, in the order of the file; empty if it has none.
  /// Looks for a change once a second, which a later call finds. Any thread.
  [[nodiscard]] std::vector<std::string> Find(std::string_view name, Moment now);
  /// There is such a file, but it could not be read the last time. Any thread.
  [[nodiscard]] bool IsUnreadable(Moment now);

 private:
  struct Names;

  void LookForChange(Moment now);
  void Read(const platform::FileStamp& stamp) noexcept;

  const std::string m_path;
  std::mutex m_mutex;  // guards what follows
  std::shared_ptr<const Names> m_names;
  platform::FileStamp m_stamp;  // of the file when it was read
  Moment m_looked{};
  std::thread m_reader;
  std::atomic<bool> m_isReading = false;
  std::atomic<bool> m_isUnreadable = false;
};

}  // namespace norvane::engine
