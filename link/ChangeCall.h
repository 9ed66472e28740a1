#pragma once

#include <vector>

#include "console/engine/MonitorChange.h"
#include "link/CallState.h"
#include "link/engine.capnp.h"

namespace norvane::link {

/// A transaction of the engine, sent in messages of moderate size, each when the last one was accepted. On
/// the link's thread; lives until its promise has ended.
class ChangeCall {
 public:
  /// Throws EngineError (Invalid) for one that is larger than the engine accepts.
  ChangeCall(const std::vector<console::engine::MonitorChange>& changes, std::uint64_t basedOn)
      : m_changes(changes), m_basedOn(basedOn) {
    RequireSendable();
  }

  /// Gives the number of the table's last change. Fails `state` with what the engine refuses.
  [[nodiscard]] kj::Promise<std::uint64_t> Run(wire::Session::Client& session, CallState& state);

 private:
  void RequireSendable() const;
  [[nodiscard]] kj::Promise<std::uint64_t> SendRest(wire::Transaction::Client transaction, CallState& state);
  void FillNext(wire::Transaction::AddParams::Builder request);

  const std::vector<console::engine::MonitorChange>& m_changes;
  std::uint64_t m_basedOn;
  std::size_t m_next = 0;
};

}  // namespace norvane::link
