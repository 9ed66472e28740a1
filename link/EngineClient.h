#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "console/engine/Engine.h"
#include "link/LinkOptions.h"
#include "link/MonitorRecord.h"

namespace norvane::link {

class Link;

/// The engine of an application folder as a console's objects. All objects share one connection, made at the
/// first call that needs it; once it is lost every such call fails with `Gone`. Calls that do without it:
/// all `Set...` of ServiceConfig and ServiceRef, which take effect at the call after them.
///
/// Beside the contract it offers what a terminal needs.
class EngineClient : public console::engine::EngineFactory {
 public:
  explicit EngineClient(LinkOptions options);
  ~EngineClient() override;

  std::shared_ptr<console::engine::ServiceConfig> NewServiceConfig() override;
  std::shared_ptr<console::engine::ControlGate> NewControlGate() override;
  std::shared_ptr<console::engine::ServiceRef> NewServiceRef() override;
  std::shared_ptr<console::engine::MonitorList> NewMonitorList() override;

  [[nodiscard]] EngineInfo Info();
  /// All monitors as they stand, in order. Two snapshots share the records that did not change between them.
  [[nodiscard]] MonitorSnapshot Snapshot();
  /// Waits until something changed after what the number from an earlier call stands for (0: nothing seen
  /// yet), or until the time is over; gives the number for what there is now. Blocks; the waiter is not
  /// asked.
  [[nodiscard]] std::uint64_t WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time);

  /// How a check or notification ended that could be carried out.
  struct Outcome {
    bool good = false;
    std::string reason;
    std::chrono::milliseconds duration{0};
  };
  [[nodiscard]] Outcome Check(std::string_view fullName);
  [[nodiscard]] Outcome Notify(std::string_view fullName);
  /// Asks the engine to end and returns when it has, so that another can serve its folder.
  void Shutdown();

 private:
  std::shared_ptr<Link> m_link;
};

}  // namespace norvane::link
