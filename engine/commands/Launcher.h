#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "engine/model/Reports.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// Starts the commands of monitors, in the loop, which never waits for one.
///
/// A command is the path of a program, without arguments and without a shell; "\" counts as "/". A relative
/// path starts at the application folder, so that a bare name is looked for there and nowhere else. The
/// program gets the application folder as its working folder, a process group of its own, no input and a
/// small fixed environment beside the variables of its request. What it writes is reported line by line,
/// within limits; a program that stays in the background when its parent ends should not write there.
class Launcher {
 public:
  struct Options {
    std::string folder;             ///< the application folder, absolute
    std::size_t maxRunning = 16;    ///< further ones wait
    std::size_t maxWaiting = 1000;  ///< beyond, they fail
    /// The program's whole group gets SIGTERM after `limit` and killed `grace` later.
    std::chrono::milliseconds limit = std::chrono::minutes(10);
    std::chrono::milliseconds grace = std::chrono::seconds(10);
  };
  using Deliver = std::function<void(Report)>;

  /// What a program writes counts up to here; the rest is read and dropped.
  static constexpr int MaxLines = 1000;
  static constexpr std::size_t MaxLineSize = 500;

  /// `deliver` gets each `CommandEvent` and `CommandOutput`, from the loop or from `Launch`.
  Launcher(EventLoop& loop, Options options, Deliver deliver);
  /// Sends SIGTERM to the programs that run, and waits for none.
  ~Launcher();
  Launcher(const Launcher&) = delete;
  Launcher& operator=(const Launcher&) = delete;

  void Launch(LaunchRequest request);

 private:
  class Program;
  class Output;

  void StartWaiting();
  void Start(LaunchRequest request);
  void Ended(std::uint64_t number);
  void DropOldOutputs();
  template <class Event>
  void ReportAs(MonitorId id, const std::string& text);

  EventLoop& m_loop;
  Options m_options;
  Deliver m_deliver;
  std::deque<LaunchRequest> m_waiting;
  std::uint64_t m_lastNumber = 0;
  std::map<std::uint64_t, std::unique_ptr<Program>> m_running;
  std::map<std::uint64_t, std::unique_ptr<Output>> m_outputs;  // may outlive their programs
};

}  // namespace norvane::engine
