#pragma once

#include <capnp/rpc-twoparty.h>
#include <kj/async-io.h>

#include <functional>
#include <map>
#include <memory>

#include "console/engine/Port.h"
#include "link/CallState.h"
#include "link/LinkOptions.h"
#include "link/Mirror.h"
#include "platform/FileDescriptor.h"
#include "platform/ThreadCheck.h"

namespace norvane::link {

/// What lives on the link's thread: the kj loop, the connection, the pending calls. All but `Executor` is
/// for that thread.
class LinkLoop final : private kj::TaskSet::ErrorHandler {
 public:
  /// Starts a call of the session; ends when the call has. EngineErrors go into the call's state, since a
  /// promise does not keep the types of exceptions.
  using Body = std::function<kj::Promise<void>(wire::Session::Client&, CallState&)>;

  LinkLoop(const LinkOptions& options, Mirror& mirror, console::engine::EngineInfo& info);
  ~LinkLoop() noexcept;
  LinkLoop(const LinkLoop&) = delete;
  LinkLoop& operator=(const LinkLoop&) = delete;

  [[nodiscard]] const kj::Executor& Executor() const { return m_executor; }
  void RunUntilEnd() { m_end.promise.wait(m_io.waitScope); }
  void End() { m_end.fulfiller->fulfill(); }

  // Each finishes `call`, the first two after the time-out at the latest.

  /// Ends with the mirror filled and `info` written.
  void Connect(const std::shared_ptr<CallState>& call, std::chrono::milliseconds timeout);
  /// One that may take longer than `callTimeout` ends earlier if the engine hangs.
  void Run(const std::shared_ptr<CallState>& call, std::chrono::milliseconds timeout, const Body& body);
  void WaitUntilGone(const std::shared_ptr<CallState>& call, std::chrono::milliseconds timeout);
  /// Harmless if the call has finished.
  void Cancel(const CallState& call);

  /// Resolves when the mirror has the change of this number; fails when the engine is gone.
  [[nodiscard]] kj::Promise<void> WhenReached(std::uint64_t change);

 private:
  class MirrorServer;
  struct Connection;

  void Finish(kj::Promise<void> work, const std::shared_ptr<CallState>& call,
              std::chrono::milliseconds timeout, const char* timeoutText);
  [[nodiscard]] kj::Promise<void> ReachAndGreet(CallState& call);
  [[nodiscard]] kj::Promise<platform::FileDescriptor> Reach(CallState& call);
  [[nodiscard]] kj::Promise<platform::FileDescriptor> ReachBefore(kj::TimePoint end, CallState& call);
  [[nodiscard]] kj::Promise<void> Greet(platform::FileDescriptor socket, CallState& call);
  [[nodiscard]] kj::Promise<void> ReadGreeting(wire::Greeting::Reader greeting, CallState& call);
  void ReadInfo(wire::EngineInfo::Reader engine);
  /// Fails the call and resolves when the engine has answered nothing for `callTimeout`; asks for its status.
  [[nodiscard]] kj::Promise<void> UntilSilent(const std::shared_ptr<CallState>& call);
  void UpdateMirror(wire::Batch::Reader batch);
  void Lose();
  void taskFailed(kj::Exception&& exception) override;

  platform::ThreadCheck m_thread;  ///< the link's
  const LinkOptions& m_options;
  Mirror& m_mirror;
  console::engine::EngineInfo& m_info;
  kj::AsyncIoContext m_io;
  kj::Timer& m_timer;
  const kj::Executor& m_executor;
  kj::PromiseFulfillerPair<void> m_end = kj::newPromiseAndFulfiller<void>();
  std::map<const CallState*, kj::Own<kj::PromiseFulfiller<void>>> m_cancels;  ///< of pending calls
  bool m_startTried = false;
  bool m_greetedAgain = false;
  std::multimap<std::uint64_t, kj::Own<kj::PromiseFulfiller<void>>> m_waiting;  ///< by change
  kj::Own<Connection> m_connection;
  kj::TaskSet m_tasks;
};

}  // namespace norvane::link
