#pragma once

#include <QWidget>

namespace norvane::console::shared {

/// The property page of one type of monitor. It edits `CurrentMonitor`; one page serves all monitors of its
/// type.
class Page : public QWidget {
  Q_OBJECT

 public:
  /// Places itself in its parent.
  explicit Page(QWidget* parent);

  /// False if a rule fails, after a box about the first that does.
  [[nodiscard]] virtual bool Validate() = 0;
  /// Writes all fields to `CurrentMonitor`. Throws EngineError; what was written before stays written.
  virtual void SaveData() = 0;
  /// Reads all fields from `CurrentMonitor`; edits that were not saved are lost. Throws EngineError.
  virtual void RefreshData() = 0;
  /// The settings of `CurrentMonitor` may have changed elsewhere: shows them, unless there are edits that
  /// were not saved; then it says that they have changed. Throws EngineError.
  virtual void FollowEngine() = 0;
};

}  // namespace norvane::console::shared
