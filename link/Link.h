#pragma once

#include <kj/async.h>

#include <future>
#include <memory>
#include <thread>

#include "link/CallState.h"
#include "link/LinkLoop.h"
#include "link/LinkOptions.h"
#include "link/Mirror.h"
#include "link/Wire.h"

namespace norvane::link {

/// The process's one connection to the engine, with its thread. Connects at the first use. A first connection
/// that fails may be tried again by the next use; one that was made and is lost is lost for good.
///
/// For one thread. Everything throws EngineError.
class Link {
 public:
  explicit Link(LinkOptions options) : m_options(std::move(options)) {}
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  [[nodiscard]] const LinkOptions& Options() const { return m_options; }
  /// Both connect if that was not done yet.
  [[nodiscard]] const Mirror& ConnectedMirror();
  [[nodiscard]] const console::engine::EngineInfo& ConnectedInfo();

  /// A call of the session, such as `addRequest`.
  template <class Request>
  using Method = Request (wire::Session::Client::*)(kj::Maybe<capnp::MessageSize>);

  /// Begins a call of the session: `fill(request)` writes its parameters, `read(results)` reads what comes
  /// beside the answer; both run on the link's thread, `read` before the call has finished. By then the
  /// mirror has every change that the engine had made when it answered.
  template <class Request, class Fill, class Read>
  [[nodiscard]] std::shared_ptr<CallState> Begin(std::chrono::milliseconds timeout, Method<Request> method,
                                                 const Fill& fill, Read read) {
    return Start(timeout, [&](wire::Session::Client& session, CallState& state) {
      auto request = (session.*method)(nullptr);
      fill(request);
      return request.send().then([this, &state, read](auto&& results) {
        const auto answer = results.getAnswer();
        if (answer.isError())
          state.Fail(std::make_exception_ptr(ReadError(answer.getError())));
        else
          read(results);
        return m_loop->WhenReached(answer.getChange());
      });
    });
  }
  template <class Request, class Fill>
  [[nodiscard]] std::shared_ptr<CallState> Begin(std::chrono::milliseconds timeout, Method<Request> method,
                                                 const Fill& fill) {
    return Begin(timeout, method, fill, [](const auto&) {});
  }
  /// A call of several messages: `body(session, state)` sends them on the link's thread, and gives the number
  /// of the change that the mirror is to have.
  template <class Body>
  [[nodiscard]] std::shared_ptr<CallState> BeginLong(std::chrono::milliseconds timeout, const Body& body) {
    return Start(timeout, [this, body](wire::Session::Client& session, CallState& state) {
      return body(session, state).then([this](std::uint64_t change) { return m_loop->WhenReached(change); });
    });
  }
  /// Waits until the call has finished; throws its error.
  void Wait(CallState& call);
  /// A call to its end.
  template <class... Arguments>
  void Call(Arguments&&... arguments) {
    Wait(*Begin(std::forward<Arguments>(arguments)...));
  }
  /// Waits likewise; the user may give the call up.
  void WaitCancellable(CallState& call);
  /// A monitor as a call read it, on the link's thread.
  [[nodiscard]] console::engine::MonitorPtr Read(wire::Monitor::Reader from) const {
    return m_mirror.Read(from);
  }
  /// As of the port.
  void OnUpdate(std::function<void()> callback) { m_mirror.OnUpdate(std::move(callback)); }
  /// Returns when the engine has closed the connection.
  void WaitUntilGone(std::chrono::milliseconds timeout);

 private:
  void Connect();
  void CheckFollowing() const;
  [[nodiscard]] std::shared_ptr<CallState> Start(std::chrono::milliseconds timeout,
                                                 const LinkLoop::Body& body);
  /// Runs `begin(loop, call)` on the link's thread; gives the call that it began.
  template <class Action>
  std::shared_ptr<CallState> BeginOnLoop(const Action& begin);
  void StartThread();
  void ThreadMain(std::promise<void> ready);

  LinkOptions m_options;
  BlockingWaiter m_blockingWaiter;
  Mirror m_mirror;
  console::engine::EngineInfo m_info;  ///< written before the mirror follows, then left alone
  bool m_hasTimedOut = false;          ///< connecting
  LinkLoop* m_loop = nullptr;          ///< on the thread's stack
  std::thread m_thread;
};

}  // namespace norvane::link
