#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/settings/FakeForm.h"
#include "tests/support/FakeEngine.h"

namespace norvane::tests {

/// One monitor of an engine whose gate is open, and the record of a form and that monitor in one.
class EngineMonitor {
 public:
  using Attributes = std::map<std::string, std::string, std::less<>>;

  EngineMonitor(FakeForm& form, std::string_view fullName, const Attributes& attributes) {
    engine.Place(fullName, attributes);
    engine.OpenGate();
    const auto ref = engine.NewServiceRef();
    ref->SetMonitorName(fullName);
    engine.NewMonitorList()->Resolve(*ref);
    m_item = ref->GetMonitor();
    for (const auto* operation : {"GetAttr", "SetAttr"})
      engine.During(operation, [this, &form] { form.record.push_back(engine.Calls().back()); });
  }

  [[nodiscard]] console::engine::MonitorItem& Item() const { return *m_item; }
  [[nodiscard]] const Attributes& Stored() { return engine.At(m_item->Name()).attributes; }

  FakeEngine engine;

 private:
  std::shared_ptr<console::engine::MonitorItem> m_item;
};

}  // namespace norvane::tests
