#pragma once

#include <QString>
#include <map>
#include <string>

#include "console/engine/Engine.h"

namespace norvane::console {

/// The tool tips of monitors in tree and list: full name, how they are, since when and why. What the engine
/// has told already is enough for them, it isn't asked.
class MonitorTips {
 public:
  explicit MonitorTips(engine::EngineFactory& engine) : m_engine(engine) {}

  [[nodiscard]] QString Of(const std::string& fullName) const;
  /// Lines for their ends, by full name; `others` is that of the others, and may be empty.
  void SetRemarks(std::map<std::string, QString> remarks, const QString& others = {});

 private:
  engine::EngineFactory& m_engine;
  std::map<std::string, QString> m_remarks;
  QString m_otherRemark;
};

}  // namespace norvane::console
