#pragma once

#include <memory>
#include <string>

#include "console/engine/Engine.h"
#include "console/engine/EngineError.h"

namespace norvane::tests {

/// One engine and its consoles, for tests that every implementation of the contract must pass.
class EngineWorld {
 public:
  virtual ~EngineWorld() = default;
  /// Not yet connected, its gate closed.
  [[nodiscard]] virtual std::unique_ptr<console::engine::EngineFactory> NewConsole() = 0;
  virtual void EndEngine() = 0;
  /// Another instance takes the engine's place.
  virtual void RestartEngine() = 0;
  /// From now on the engine starts a check of `console` but does not answer, until the time-out has come.
  virtual void LeaveChecksUnanswered(console::engine::EngineFactory& console) = 0;
  virtual void AnswerChecks(console::engine::EngineFactory& console) = 0;
  /// How the next checks of this monitor end; those of others are good.
  virtual void FailChecks(console::engine::EngineFactory& console, const std::string& fullName) = 0;
  /// The data file that the engine serves.
  [[nodiscard]] virtual std::string DataFile() const = 0;
};

[[nodiscard]] std::unique_ptr<EngineWorld> MakeFakeWorld();
/// A service with scripted checks in a temporary folder, its server, and clients.
[[nodiscard]] std::unique_ptr<EngineWorld> MakeLinkWorld();

}  // namespace norvane::tests
