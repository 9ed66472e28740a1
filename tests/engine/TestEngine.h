#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <functional>
#include <optional>
#include <string>

#include "console/engine/MonitorKeys.h"
#include "engine/Service.h"
#include "tests/support/Errors.h"
#include "tests/support/FakeWorker.h"

namespace norvane::tests {

/// A service in a folder, its checks scripted, with the loop that its thread would run.
class TestEngine {
 public:
  explicit TestEngine(const std::string& folder,
                      engine::EventLoop::Clock now = &std::chrono::steady_clock::now,
                      engine::AdminAddress admin = {}, engine::Alarms::Options alarms = {})
      : service({folder,
                 FakeWorker::Maker(checks),
                 std::move(now),
                 engine::ProbeTable(),
                 {std::move(admin), alarms}}) {}

  /// Runs the loop until the operation has called its completion; gives the error's code, if there was one.
  std::optional<console::engine::EngineErrorCode> Await(
      const std::function<void(engine::Completion)>& operation) {
    return CodeOf([&] {
      std::optional<std::exception_ptr> result;
      operation([&](std::exception_ptr error) { result = std::move(error); });
      RunUntil([&] { return result.has_value(); });
      if (result && *result) std::rethrow_exception(*result);
    });
  }
  engine::MonitorId Add(const std::string& name, const std::string& status = "Disable") {
    const auto id = service.Add(name);
    service.Set(id, console::engine::keys::Status, status);
    return id;
  }
  [[nodiscard]] std::string Attr(const std::string& name, std::string_view key) const {
    const engine::Monitor* monitor = service.Table().Find(name);
    return monitor == nullptr ? "no such monitor" : monitor->attributes->Get(key);
  }
  std::optional<console::engine::EngineErrorCode> Load(const std::string& path) {
    return Await([&](engine::Completion done) { service.Load(path, std::move(done)); });
  }
  std::optional<console::engine::EngineErrorCode> Save(const std::string& path) {
    return Await([&](engine::Completion done) { service.Save(path, std::move(done)); });
  }
  std::optional<console::engine::EngineErrorCode> Commit(const std::string& key, const std::string& value) {
    return Await([&](engine::Completion done) { service.CommitConfig({{key, value}}, std::move(done)); });
  }
  std::optional<console::engine::EngineErrorCode> Shutdown() {
    return Await([&](engine::Completion done) { service.Shutdown(std::move(done)); });
  }
  /// The texts of the engine's conditions.
  [[nodiscard]] std::vector<std::string> Conditions() const {
    std::vector<std::string> texts;
    for (const auto& [key, condition] : service.Conditions())
      texts.push_back(condition.text);
    return texts;
  }
  void RunUntil(const std::function<bool()>& condition) {
    while (!condition()) {
      pollfd fd{service.WakeFd(), POLLIN, 0};
      ASSERT_EQ(::poll(&fd, 1, 20000), 1) << "nothing happened";
      service.OnWake();
    }
  }

  FakeWorker* checks = nullptr;
  engine::Service service;
};

}  // namespace norvane::tests
