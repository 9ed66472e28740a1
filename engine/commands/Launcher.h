#pragma once

#include <chrono>
#include <cstddef>
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
///
/// A monitor has one program running at a time, its next ones wait in order. So one that hangs holds up its
/// own monitor; where many hang, each ends early enough for others to get a place. One that even SIGKILL does
/// not end, such as one that waits for a dead disk or has left its group, loses its place after a while.
class Launcher {
 public:
  struct Options {
    std::string folder;                   ///< the application folder, absolute
    std::size_t maxRunning = 64;          ///< further ones wait
    std::ptrdiff_t maxWaiting = 1000;     ///< beyond, they fail
    std::ptrdiff_t maxWaitingOfOne = 20;  ///< of one monitor
    /// The program's whole group gets SIGTERM after `limit` and is killed `grace` later. While others wait
    /// for one of the places, `crowdedLimit` holds.
    std::chrono::milliseconds limit = std::chrono::minutes(10);
    std::chrono::milliseconds crowdedLimit = std::chrono::minutes(1);
    std::chrono::milliseconds grace = std::chrono::seconds(10);
    std::chrono::milliseconds killGrace = std::chrono::minutes(1);  ///< then it loses its place
    std::size_t maxWithoutPlace = 64;                               ///< beyond, they keep their places
  };
  using Deliver = std::function<void(Report)>;

  /// What a program writes counts up to here; the rest is read and dropped.
  static constexpr int MaxLines = 1000;
  static constexpr std::size_t MaxLineSize = 500;

  /// `deliver` gets each `CommandEvent`, `CommandOutput` and `LaunchProgress`, from the loop or from
  /// `Launch`.
  Launcher(EventLoop& loop, Options options, Deliver deliver);
  /// Sends SIGTERM to the programs that run, and waits for none.
  ~Launcher();
  Launcher(const Launcher&) = delete;
  Launcher& operator=(const Launcher&) = delete;

  void Launch(LaunchRequest request);
  /// Those that wait are never started.
  void HandBack();

 private:
  class Program;
  class Output;

  struct Waiting {
    LaunchRequest request;
    bool isLogged = false;  ///< that it waits
  };

  void StartNext();
  void Start(const LaunchRequest& request);
  [[nodiscard]] const Program* RunningOf(const std::string& monitor) const;
  [[nodiscard]] bool HasPlace() const { return m_running.size() < m_options.maxRunning; }
  void LogWaits();
  void MakePlace();
  [[nodiscard]] bool FreePlace(std::uint64_t number);
  void Ended(std::uint64_t number);
  void DropOldOutputs();
  void ReportProgress(const LaunchRequest& request, LaunchProgress::State state);
  template <class Event>
  void ReportAs(MonitorId id, const std::string& text);
  void ReportHeldUp(MonitorId id, const std::string& text);

  EventLoop& m_loop;
  Options m_options;
  Deliver m_deliver;
  std::deque<Waiting> m_waiting;
  std::uint64_t m_lastNumber = 0;
  std::map<std::uint64_t, std::unique_ptr<Program>> m_running;  // in the order of their starts
  std::map<std::uint64_t, std::unique_ptr<Program>> m_withoutPlace;
  std::map<std::uint64_t, std::unique_ptr<Output>> m_outputs;  // may outlive their programs
  EventLoop::Timer m_next;  // when one may be started, or is to be ended for another
};

}  // namespace norvane::engine
