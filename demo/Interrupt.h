#pragma once

#include <QObject>
#include <functional>

namespace norvane::demo {

/// Has `act` run by the event loop, even one of a window, when a signal ends the process. One at
/// a time, after the application object was made.
class Interrupt : public QObject {
 public:
  explicit Interrupt(std::function<void()> act);
};

}  // namespace norvane::demo
