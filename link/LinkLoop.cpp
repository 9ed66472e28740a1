#include "link/LinkLoop.h"

#include <cassert>
#include <cerrno>
#include <cstring>

#include "console/engine/EngineError.h"
#include "link/Wire.h"
#include "platform/FileNames.h"
#include "platform/UnixSocket.h"

namespace norvane::link {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using platform::FileDescriptor;
using std::chrono::milliseconds;

namespace {
constexpr auto RetryPause = 20 * kj::MILLISECONDS;
constexpr char NoAnswer[] = "no answer from the engine in time";
/// Every table's numbers are greater: any change means that the mirror is filled.
constexpr std::uint64_t FirstFill = 1;
constexpr std::uint64_t Never = UINT64_MAX;

std::exception_ptr Error(EngineErrorCode code, const std::string& text) {
  return std::make_exception_ptr(EngineError(code, text));
}

std::exception_ptr ErrorOf(const kj::Exception& exception) {
  if (exception.getType() == kj::Exception::Type::DISCONNECTED)
    return Error(EngineErrorCode::Gone, "the engine is gone");
  return Error(EngineErrorCode::Failed, exception.getDescription().cStr());
}

kj::Duration ToDuration(milliseconds time) {
  return time.count() * kj::MILLISECONDS;
}

/// A connected socket, or none if nobody listens. Throws EngineError for anything else.
FileDescriptor OpenSocket(const std::string& folder) {
  const auto path = platform::PathIn(folder, platform::files::EngineSocket);
  auto socket = platform::ConnectTo(path);
  // EAGAIN: it listens, but too many wait already.
  if (socket || errno == ENOENT || errno == ECONNREFUSED || errno == EAGAIN) return socket;
  throw EngineError(EngineErrorCode::Gone, "cannot reach the engine: " + path + ": " + std::strerror(errno));
}

/// Runs `action`; what it throws becomes the call's error, with its code if it has one.
template <class Action>
auto Keeping(CallState& call, Action action) {
  try {
    return action();
  } catch (const EngineError&) {
    call.Fail(std::current_exception());
    throw;
  } catch (const std::exception& failure) {
    call.Fail(Error(EngineErrorCode::Failed, failure.what()));
    throw;
  }
}
}  // namespace

class LinkLoop::MirrorServer final : public wire::Mirror::Server {
 public:
  explicit MirrorServer(LinkLoop& loop) : m_loop(loop) {}
  kj::Promise<void> update(UpdateContext context) override {
    m_loop.UpdateMirror(context.getParams().getBatch());
    return kj::READY_NOW;
  }

 private:
  LinkLoop& m_loop;
};

struct LinkLoop::Connection {
  Connection(LinkLoop& loop, kj::Own<kj::AsyncIoStream> socket)
      : stream(kj::mv(socket)),
        network(*stream, capnp::rpc::twoparty::Side::CLIENT, ReaderLimit(MaxMessageToConsole)),
        rpc(capnp::makeRpcClient(network)),
        lost(network.onDisconnect().then([&loop] { loop.Lose(); }).eagerlyEvaluate(nullptr)) {}

  wire::Greeter::Client Bootstrap() {
    capnp::MallocMessageBuilder message(4);
    auto vatId = message.getRoot<capnp::rpc::twoparty::VatId>();
    vatId.setSide(capnp::rpc::twoparty::Side::SERVER);
    return rpc.bootstrap(vatId).castAs<wire::Greeter>();
  }

  kj::Own<kj::AsyncIoStream> stream;
  capnp::TwoPartyVatNetwork network;
  capnp::RpcSystem<capnp::rpc::twoparty::VatId> rpc;
  kj::Maybe<wire::Session::Client> session;
  kj::Promise<void> lost;
};

LinkLoop::LinkLoop(const LinkOptions& options, Mirror& mirror, console::engine::EngineInfo& info)
    : m_options(options),
      m_mirror(mirror),
      m_info(info),
      m_io(kj::setupAsyncIo()),
      m_timer(m_io.provider->getTimer()),
      m_executor(kj::getCurrentThreadExecutor()),
      m_tasks(*this) {}

LinkLoop::~LinkLoop() noexcept = default;

/// The call finishes only after its work was dropped, since that refers to variables of the caller.
void LinkLoop::Finish(kj::Promise<void> work, const std::shared_ptr<CallState>& call, milliseconds timeout,
                      const char* timeoutText) {
  auto expired = m_timer.afterDelay(ToDuration(timeout)).then([call, timeoutText] {
    call->Fail(Error(EngineErrorCode::TimedOut, timeoutText));
  });
  auto cancel = kj::newPromiseAndFulfiller<void>();
  m_cancels.insert_or_assign(call.get(), kj::mv(cancel.fulfiller));
  auto cancelled = cancel.promise.then([call] { call->Fail(Error(EngineErrorCode::Failed, "cancelled")); });
  m_tasks.add(work.exclusiveJoin(kj::mv(expired))
                  .exclusiveJoin(kj::mv(cancelled))
                  .catch_([this, call](kj::Exception&& exception) {
                    if (exception.getType() == kj::Exception::Type::DISCONNECTED)
                      Lose();  // this call may be the first to notice
                    call->Fail(ErrorOf(exception));
                  })
                  .then([this, call] {
                    m_cancels.erase(call.get());
                    call->Finish();
                  }));
}

void LinkLoop::Cancel(const CallState& call) {
  assert(m_thread.IsInside());
  if (const auto pending = m_cancels.find(&call); pending != m_cancels.end()) pending->second->fulfill();
}

// Connecting

void LinkLoop::Connect(const std::shared_ptr<CallState>& call, milliseconds timeout) {
  assert(m_thread.IsInside());
  auto work = ReachAndGreet(*call).then([this] { return WhenReached(FirstFill); });
  Finish(kj::mv(work), call, timeout, "no greeting from the engine in time");
}

kj::Promise<void> LinkLoop::ReachAndGreet(CallState& call) {
  // Not at once: the caller blocks until this returns, and starting an engine takes a while.
  return kj::evalLater([this, &call] { return Reach(call); }).then([this, &call](FileDescriptor socket) {
    return Greet(std::move(socket), call);
  });
}

kj::Promise<FileDescriptor> LinkLoop::Reach(CallState& call) {
  return Keeping(call, [&]() -> kj::Promise<FileDescriptor> {
    if (auto socket = OpenSocket(m_options.folder)) return socket;
    auto end = m_timer.now();
    if (m_options.startEngine && !m_startTried) {
      m_startTried = true;
      m_options.startEngine();
      end = m_timer.now() + ToDuration(m_options.startTimeout);
    }
    return ReachBefore(end, call);
  });
}

kj::Promise<FileDescriptor> LinkLoop::ReachBefore(kj::TimePoint end, CallState& call) {
  return Keeping(call, [&]() -> kj::Promise<FileDescriptor> {
    if (auto socket = OpenSocket(m_options.folder)) return socket;
    if (m_timer.now() >= end)
      throw EngineError(EngineErrorCode::Gone, "no engine answers in " + m_options.folder);
    return m_timer.afterDelay(RetryPause).then([this, end, &call] { return ReachBefore(end, call); });
  });
}

kj::Promise<void> LinkLoop::Greet(FileDescriptor socket, CallState& call) {
  using Provider = kj::LowLevelAsyncIoProvider;
  m_connection = nullptr;  // what a failed try has left
  m_connection =
      kj::heap<Connection>(*this, m_io.lowLevelProvider->wrapSocketFd(
                                      socket.Release(), Provider::TAKE_OWNERSHIP | Provider::ALREADY_CLOEXEC |
                                                            Provider::ALREADY_NONBLOCK));
  auto request = m_connection->Bootstrap().helloRequest();
  request.setVersion(wire::PROTOCOL_VERSION);
  return request.send().then(
      [this, &call](capnp::Response<wire::Greeter::HelloResults> results) {
        return ReadGreeting(results.getGreeting(), call);
      },
      [this, &call](kj::Exception&& exception) -> kj::Promise<void> {
        if (exception.getType() != kj::Exception::Type::DISCONNECTED) return kj::mv(exception);
        // An engine that ends just now closes it too, and is gone at the second try.
        if (!std::exchange(m_greetedAgain, true))
          return m_timer.afterDelay(RetryPause).then([this, &call] { return ReachAndGreet(call); });
        call.Fail(Error(EngineErrorCode::Gone,
                        "the engine refused the connection: it belongs to another user, or serves too many "
                        "consoles already"));
        return kj::mv(exception);
      });
}

kj::Promise<void> LinkLoop::ReadGreeting(wire::Greeting::Reader greeting, CallState& call) {
  if (greeting.isRefusal() || greeting.getVersion() != wire::PROTOCOL_VERSION) {
    const auto why = greeting.isRefusal() ? ToString(greeting.getRefusal()) : "protocol version mismatch";
    call.Fail(Error(EngineErrorCode::Failed, why));
    return KJ_EXCEPTION(FAILED, "the greeting was refused");
  }
  ReadInfo(greeting.getEngine());
  m_connection->session = greeting.getEngine().getSession();
  if (!m_options.follows) {
    m_mirror.SkipFilling();
    return kj::READY_NOW;
  }
  auto request = greeting.getEngine().getSession().followRequest();
  request.setMirror(kj::heap<MirrorServer>(*this));
  return request.send().ignoreResult();
}

void LinkLoop::ReadInfo(wire::EngineInfo::Reader engine) {
  m_info.instance = ToString(engine.getInstance());
  m_info.version = ToString(engine.getVersion());
  m_info.processId = engine.getProcessId();
  m_info.folder = ToString(engine.getFolder());
  m_info.startedAt = ToTime(engine.getStartedAt());
  m_info.monitorTypes.clear();
  for (const auto type : engine.getMonitorTypes())
    m_info.monitorTypes.push_back({ToString(type.getName()), type.getHasPage()});
  std::vector<std::string> keys;
  for (const auto key : engine.getKnownKeys())
    keys.push_back(ToString(key));
  m_mirror.Begin(std::move(keys), m_info.monitorTypes);
}

// Calls

void LinkLoop::Run(const std::shared_ptr<CallState>& call, milliseconds timeout, const Body& body) {
  assert(m_thread.IsInside());
  auto work = kj::evalNow([&] { return body(KJ_ASSERT_NONNULL(m_connection->session), *call); });
  if (timeout > m_options.callTimeout) work = work.exclusiveJoin(UntilSilent(call));
  Finish(kj::mv(work), call, timeout, NoAnswer);
}

kj::Promise<void> LinkLoop::UntilSilent(const std::shared_ptr<CallState>& call) {
  const auto half = ToDuration(m_options.callTimeout) / 2;
  return m_timer.afterDelay(half)
      .then([this, half] {
        auto answer = KJ_ASSERT_NONNULL(m_connection->session).statusRequest().send();
        return answer.then([](auto&&) { return true; }).exclusiveJoin(m_timer.afterDelay(half).then([] {
          return false;
        }));
      })
      .then([this, call](bool answers) -> kj::Promise<void> {
        if (answers) return UntilSilent(call);
        call->Fail(Error(EngineErrorCode::TimedOut, NoAnswer));
        return kj::READY_NOW;
      });
}

void LinkLoop::WaitUntilGone(const std::shared_ptr<CallState>& call, milliseconds timeout) {
  assert(m_thread.IsInside());
  auto gone = WhenReached(Never).catch_([](const kj::Exception&) {});  // the promise never resolves otherwise
  Finish(kj::mv(gone), call, timeout, "the engine did not exit in time");
}

kj::Promise<void> LinkLoop::WhenReached(std::uint64_t change) {
  assert(m_thread.IsInside());
  if (m_mirror.CurrentState() == Mirror::State::Gone) return KJ_EXCEPTION(DISCONNECTED, "the engine is gone");
  if (m_mirror.Change() >= change) return kj::READY_NOW;
  auto reached = kj::newPromiseAndFulfiller<void>();
  m_waiting.emplace(change, kj::mv(reached.fulfiller));
  return kj::mv(reached.promise);
}

void LinkLoop::UpdateMirror(wire::Batch::Reader batch) {
  assert(m_thread.IsInside());
  m_mirror.Apply(batch);
  const auto end = m_waiting.upper_bound(m_mirror.Change());
  for (auto next = m_waiting.begin(); next != end; next = m_waiting.erase(next))
    next->second->fulfill();
}

void LinkLoop::Lose() {
  assert(m_thread.IsInside());
  if (m_mirror.CurrentState() == Mirror::State::Following) m_mirror.SetGone();
  for (auto& [change, waiting] : std::exchange(m_waiting, {}))
    waiting->reject(KJ_EXCEPTION(DISCONNECTED, "the engine is gone"));
}

void LinkLoop::taskFailed(kj::Exception&&) {
  Lose();  // finishing a call failed, so the state is unknown
}

}  // namespace norvane::link
