#pragma once

#include <map>
#include <string>

#include "engine/Database.h"

namespace norvane::engine {

/// What the engine itself must remember, apart from the monitors: the service-wide values. Lies in the
/// application folder, mode 0600, since it holds the control pass. Throws StoreError; writes are on disk when
/// they return.
class StateFile {
 public:
  using Values = std::map<std::string, std::string, std::less<>>;

  [[nodiscard]] static std::string PathIn(const std::string& folder);

  /// Opens or makes the file.
  explicit StateFile(const std::string& folder);

  [[nodiscard]] Values Config();
  void SetConfig(const Values& values);

 private:
  Database m_database;
};

}  // namespace norvane::engine
