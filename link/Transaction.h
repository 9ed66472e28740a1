#pragma once

#include <vector>

#include "console/engine/MonitorChange.h"
#include "engine/Service.h"
#include "link/ChangeLog.h"
#include "link/engine.capnp.h"

namespace norvane::link {

/// The changes of one console until it commits them; dropped with its connection. On the service thread.
class Transaction final : public wire::Transaction::Server {
 public:
  /// Of keys, values and names. Beyond it, changes are refused.
  static constexpr std::size_t MaxBytes = 128 << 20;

  Transaction(engine::Service& service, ChangeLog log) : m_service(service), m_log(std::move(log)) {}

  kj::Promise<void> add(AddContext context) override;
  kj::Promise<void> commit(CommitContext context) override;

 private:
  void Add(wire::MonitorChange::Reader from);
  void RequireRoom(std::size_t bytes);

  engine::Service& m_service;
  ChangeLog m_log;
  std::vector<console::engine::MonitorChange> m_changes;
  std::size_t m_bytes = 0;
  bool m_isBroken = false;  ///< one was refused, so that the rest would not be what the console meant
};

}  // namespace norvane::link
