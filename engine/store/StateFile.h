#pragma once

#include <map>
#include <string>

#include "engine/model/StateChanges.h"
#include "engine/store/Database.h"
#include "platform/FileIdentity.h"

namespace norvane::engine {

/// What the engine itself must remember, apart from the monitors: the service-wide values, the outages that
/// last, owed messages, silences, mails of the last minute. Lies in the application folder, mode 0600, since
/// it holds the control pass. Each row has a checksum, and a sum over all of them shows that a row is missing
/// or of another moment. Throws StoreError; writes are on disk when they return.
class StateFile {
 public:
  using Values = std::map<std::string, std::string, std::less<>>;

  [[nodiscard]] static std::string PathIn(const std::string& folder);

  /// Opens the file and checks all of it, or makes it. One of an earlier schema is brought to the present
  /// one.
  explicit StateFile(const std::string& folder);

  [[nodiscard]] Values Config();
  /// Values that are not among them stay.
  void SetConfig(const Values& values);

  struct Contents {
    OutageRecords outages;
    OwedMessages owed;
    Silences silences;
    SingleMails singles;
  };
  [[nodiscard]] Contents Read();
  /// What is on disk already costs no write.
  void Write(const StateChanges& changes);

  /// All of it is written anew at its path if it doesn't lie there any more, since somebody has removed or
  /// replaced it, or if it may not be written to. Gives what happened then, for the administrator; another file is kept under another name.
  [[nodiscard]] std::string ReturnToPath();

  /// Renews the last good copy, once all of the file was found good, unless it has changed nothing since.
  void KeepCopy();

 private:
  [[nodiscard]] static std::string MadeIn(const std::string& folder);
  void Migrate(std::int64_t version);
  void CheckAll();
  void SetUp();

  std::string m_path;
  Database m_database;
  platform::FileIdentity m_identity;
  bool m_isCopied = false;
};

}  // namespace norvane::engine
