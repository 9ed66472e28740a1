#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "console/engine/Engine.h"
#include "link/EngineClient.h"
#include "link/Link.h"

namespace norvane::link {

/// A monitor by its id: reads from the mirror, writes to the engine.
class ClientItem final : public console::engine::MonitorItem {
 public:
  ClientItem(std::shared_ptr<Link> link, std::uint64_t id) : m_link(std::move(link)), m_id(id) {}
  std::string Name() override;
  std::string TypeName() override;
  int Kind() override;
  std::string GetAttr(std::string_view key) override;
  void SetAttr(std::string_view key, std::string_view value) override;
  std::shared_ptr<console::engine::MonitorRunner> Runner() override;
  [[nodiscard]] std::uint64_t Id() const { return m_id; }

 private:
  std::shared_ptr<Link> m_link;
  std::uint64_t m_id;
};

[[nodiscard]] EngineClient::Outcome CheckMonitor(Link& link, std::uint64_t id);
[[nodiscard]] EngineClient::Outcome NotifyOf(Link& link, std::uint64_t id);

}  // namespace norvane::link
