#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/MonitorChange.h"
#include "engine/Service.h"

namespace norvane::link {

/// What one console has changed, in the engine's "log/changes.log": a line a change, after it was made, with
/// who made it. Secrets are hidden and long values cut. On the service thread.
class ChangeLog {
 public:
  /// `who` is the user and the process.
  ChangeLog(engine::Service& service, std::string who) : m_service(service), m_who(std::move(who)) {}

  /// Such as "load", and a name or path.
  void Write(std::string_view verb, std::string_view name = {}) const;
  void Write(std::string_view verb, const std::vector<std::string>& names) const;
  /// Nothing if it stays as it was, and for results, which a console stores too.
  void WriteSet(std::string_view name, std::string_view key, std::string_view before,
                std::string_view after) const;
  /// The lines of changes that are about to be made, to be written when they are.
  [[nodiscard]] std::vector<std::string> Describe(
      const std::vector<console::engine::MonitorChange>& changes) const;
  void WriteAll(std::vector<std::string> lines) const;

 private:
  engine::Service& m_service;
  std::string m_who;
};

}  // namespace norvane::link
