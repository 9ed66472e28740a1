#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "console/engine/Engine.h"
#include "link/Link.h"

/// The contract's objects over one link.
namespace norvane::link {

class ClientConfig final : public console::engine::ServiceConfig {
 public:
  explicit ClientConfig(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  void SetService(std::string_view name) override;
  void SetValue(std::string_view key, std::string_view value) override;
  void Commit() override;
  std::string GetValue(std::string_view key) override;

 private:
  void CheckNamed() const;
  std::shared_ptr<Link> m_link;
  bool m_named = false;
  std::map<std::string, std::string> m_held;
};

class ClientGate final : public console::engine::ControlGate {
 public:
  explicit ClientGate(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  void Open(std::string_view controlPass) override;

 private:
  std::shared_ptr<Link> m_link;
};

class ClientRef final : public console::engine::ServiceRef {
 public:
  explicit ClientRef(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  void SetMachine(std::string_view computerName) override { m_machine = computerName; }
  void SetClassId(std::string_view classId) override { m_classId = classId; }
  std::shared_ptr<console::engine::ServiceRoot> GetRoot() override;
  void SetMonitorName(std::string_view fullName) override { m_name = fullName; }
  std::shared_ptr<console::engine::MonitorItem> GetMonitor() override;

  /// Throws EngineError (Invalid) for a reference that no EngineClient made.
  static ClientRef& Of(console::engine::ServiceRef& ref);
  [[nodiscard]] const std::string& MonitorName() const { return m_name; }
  void SetFound(std::optional<std::uint64_t> id) { m_found = id; }

 private:
  std::shared_ptr<Link> m_link;
  std::string m_machine;
  std::string m_classId;
  std::string m_name;
  std::optional<std::uint64_t> m_found;
};

class ClientList final : public console::engine::MonitorList {
 public:
  explicit ClientList(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  void Resolve(console::engine::ServiceRef& ref) override;
  void Add(console::engine::ServiceRef& ref) override;
  void Remove(console::engine::ServiceRef& ref) override;
  int Count() override;
  std::shared_ptr<console::engine::MonitorItem> Item(int index) override;

 private:
  std::shared_ptr<Link> m_link;
};

}  // namespace norvane::link
