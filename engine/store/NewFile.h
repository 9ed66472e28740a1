#pragma once

#include <string>

namespace norvane::engine {

/// A file that is written beside the one whose place it takes, so that no moment shows half of it. Throws
/// StoreError.
class NewFile {
 public:
  /// Makes nothing yet.
  explicit NewFile(std::string path);
  /// Removes what was not put in place.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// What it is called meanwhile.
  [[nodiscard]] const std::string& Name() const { return m_name; }
  /// All of its bytes are on disk then.
  void Sync();
  /// It has its name then, whatever happens to the machine.
  void PutInPlace();

  /// Removes what killed processes left of such files for `path`. None may be under way.
  static void RemoveLeftovers(const std::string& path);

 private:
  std::string m_path;
  std::string m_name;
  bool m_isInPlace = false;
};

}  // namespace norvane::engine
