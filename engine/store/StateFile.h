#pragma once

#include <map>
#include <string>

#include "engine/model/StateChanges.h"
#include "engine/store/Database.h"

namespace norvane::engine {

/// What the engine itself must remember, apart from the monitors: the service-wide values and the
/// outages that last. Lies in the application folder, mode 0600, since it holds the control pass. Throws
/// StoreError; writes are on disk when they return.
class StateFile {
 public:
  using Values = std::map<std::string, std::string, std::less<>>;

  [[nodiscard]] static std::string PathIn(const std::string& folder);

  /// Opens or makes the file.
  explicit StateFile(const std::string& folder);

  [[nodiscard]] Values Config();
  /// Values that are not among them stay.
  void SetConfig(const Values& values);

  struct Contents {
    OutageRecords outages;
    OwedMessages owed;
    Silences silences;
  };
  [[nodiscard]] Contents Read();
  void Write(const StateChanges& changes);

 private:
  Database m_database;
};

}  // namespace norvane::engine
