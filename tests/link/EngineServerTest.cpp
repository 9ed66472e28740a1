#include "link/EngineServer.h"

#include <capnp/rpc.capnp.h>
#include <capnp/serialize.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <thread>
#include <utility>

#include "console/engine/MonitorKeys.h"
#include "link/ChangeFeed.h"
#include "link/Wire.h"
#include "platform/FileNames.h"
#include "platform/UnixSocket.h"
#include "tests/link/RawPeer.h"
#include "tests/link/RunningEngine.h"
#include "tests/support/Errors.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

namespace ce = console::engine;
namespace keys = ce::keys;
namespace wire = link::wire;
using link::EngineClient;
using link::EngineServer;
using std::chrono::milliseconds;

std::string ErrorOf(EngineClient& client) {
  std::string text = "none";
  CodeOf([&] { return client.Info(); }, &text);
  return text;
}

class EngineServerTest : public LinkTest {
 protected:
  /// Whether another console is served.
  [[nodiscard]] bool Serves() const {
    return EngineClient(m_options).Info().processId == static_cast<std::uint32_t>(::getpid());
  }
};

TEST_F(EngineServerTest, TheSocketIsItsOwnersAloneAndGoesWithTheServer) {
  const std::string socket = m_folder / "NorvaneEngine.sock";
  const auto mask = ::umask(0);
  Start();
  EXPECT_EQ(ModeOf(socket), 0600u);
  m_engine.reset();
  ::umask(mask);
  EXPECT_NE(::access(socket.c_str(), F_OK), 0);
}

TEST_F(EngineServerTest, WhatOtherThreadsMakeWhileItOpensTheSocketKeepsItsMode) {
  const std::string logs = m_folder / "log";
  std::atomic<bool> ended = false;
  std::thread writer([&] {
    while (!ended) {
      EXPECT_EQ(::mkdir(logs.c_str(), 0700), 0);
      EXPECT_EQ(ModeOf(logs), 0700u);
      ::rmdir(logs.c_str());
    }
  });
  for (int i = 0; i < 20; ++i) {
    Start();
    m_engine.reset();
  }
  ended = true;
  writer.join();
}

TEST_F(EngineServerTest, ReplacesTheSocketOfADeadEngine) {
  const platform::UnixAddress address(platform::PathIn(m_folder.Path(), platform::files::EngineSocket));
  {
    const platform::FileDescriptor dead(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(dead.Get(), address.Get(), platform::UnixAddress::Size()), 0);
  }
  Start();
  EXPECT_TRUE(Serves());
}

TEST_F(EngineServerTest, ServesAFolderThatIsTooDeepForTheAddressOfASocket) {
  const std::string deep = m_folder / std::string(120, 'd');
  ASSERT_EQ(::mkdir(deep.c_str(), 0700), 0);
  {
    const RunningEngine engine(deep);
    EXPECT_EQ(ModeOf(deep + "/NorvaneEngine.sock"), 0600u);
    EngineClient client(ClientOptions(deep));
    EXPECT_EQ(client.Info().folder, deep);
  }
  struct stat status {};
  EXPECT_NE(::stat((deep + "/NorvaneEngine.sock").c_str(), &status), 0);
}

TEST_F(EngineServerTest, OnlyItsOwnUserRootAndAGroupMayConnect) {
  constexpr gid_t group = 4711;
  const uid_t stranger = ::geteuid() + 1;
  EXPECT_TRUE(link::MayConnect({::geteuid(), 1, {}}, std::nullopt));
  EXPECT_TRUE(link::MayConnect({0, 1, {}}, std::nullopt));
  EXPECT_TRUE(link::MayConnect({stranger, 1, {1, group}}, group));
  EXPECT_FALSE(link::MayConnect({stranger, 1, {1, group}}, std::nullopt));
  EXPECT_FALSE(link::MayConnect({stranger, 1, {1, 0}}, group));

  std::optional<platform::Peer> seen;
  Start([&](EngineServer::Options& options) {
    options.group = ::getegid();
    options.mayConnect = [&](const platform::Peer& peer, auto) {
      seen = peer;
      return false;
    };
  });
  EXPECT_EQ(ModeOf(m_folder / "NorvaneEngine.sock"), 0660u);
  EngineClient client(m_options);
  EXPECT_NE(ErrorOf(client).find("refused the connection"), std::string::npos);
  m_engine->AwaitLog("[" + std::to_string(::getpid()) + "] refused");
  EXPECT_EQ(seen->user, ::geteuid());
  EXPECT_EQ(seen->process, ::getpid());
  EXPECT_TRUE(link::MayConnect({stranger, 1, seen->groups}, ::getegid()));
}

TEST_F(EngineServerTest, AStrangerThatNeverSaysHelloIsDropped) {
  Start([](EngineServer::Options& options) { options.handshake = milliseconds(50); });
  RawPeer silent(m_folder.Path());
  RawPeer halting(m_folder.Path());
  halting.Send(std::string_view("\0\0\0\0", 4));
  silent.AwaitClosed();
  halting.AwaitClosed();
  m_engine->AwaitLog("no hello from a console in time");

  EngineClient client(m_options);
  EXPECT_EQ(client.Count(), 0u);
  RawPeer(m_folder.Path()).AwaitClosed();  // by now the client's own handshake time is over too
  EXPECT_EQ(client.Count(), 0u);
}

TEST_F(EngineServerTest, AnotherProtocolVersionIsRefusedWithTheReason) {
  Start();
  RawConsole console(m_folder.Path());
  const auto response = console.Hello(wire::PROTOCOL_VERSION + 1);
  EXPECT_EQ(response.getGreeting().getVersion(), wire::PROTOCOL_VERSION);
  ASSERT_TRUE(response.getGreeting().isRefusal());
  const std::string text = response.getGreeting().getRefusal().cStr();
  EXPECT_NE(text.find("protocol"), std::string::npos);
}

std::string Words(std::initializer_list<std::uint32_t> words) {
  std::string bytes;
  for (const auto word : words)
    for (int shift = 0; shift < 32; shift += 8)
      bytes += static_cast<char>(word >> shift & 0xff);
  return bytes;
}

TEST_F(EngineServerTest, OnlyAPeerThatBreaksTheProtocolIsDisconnected) {
  Start([](EngineServer::Options& options) { options.handshake = std::chrono::hours(1); });
  EngineClient bystander(m_options);
  static_cast<void>(bystander.Info());
  const std::pair<const char*, std::string> rows[] = {
      {"text", "GET / HTTP/1.1\r\nHost: engine\r\n\r\n"},
      {"a segment of 40 MiB", Words({0, (40u << 20) / 8})},
      {"a segment of 1 MiB before any hello", Words({0, (1u << 20) / 8})},
      {"far too many segments", Words({0xfffffff0u, 1})},
      {"a pointer that leads out of the message", Words({0, 1, 0x7ffffffcu, 0xffffffffu})},
      {"a message of many bytes that say nothing", Words({0, 4096}) + std::string(4096 * 8, '\xa5')},
  };
  for (const auto& [name, bytes] : rows) {
    SCOPED_TRACE(name);
    RawPeer peer(m_folder.Path());
    peer.Send(bytes);
    peer.AwaitClosed();
    EXPECT_EQ(bystander.Count(), 0u);
  }
  EXPECT_TRUE(Serves());
}

TEST_F(EngineServerTest, ServesNoMoreConsolesThanItsLimitAndTheNextWhenOneHasLeft) {
  Start([](EngineServer::Options& options) { options.maxConnections = 2; });
  EngineClient first(m_options);
  auto second = std::make_unique<EngineClient>(m_options);
  static_cast<void>(first.Info());
  static_cast<void>(second->Info());
  EngineClient third(m_options);
  EXPECT_NE(ErrorOf(third).find("too many consoles"), std::string::npos);
  second.reset();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (ErrorOf(third) != "none")  // the engine sees the second one leave a moment later
    ASSERT_LT(std::chrono::steady_clock::now(), end);
}

/// Receives batches and answers them when the test lets it.
class HoldingMirror final : public wire::Mirror::Server {
 public:
  explicit HoldingMirror(std::vector<kj::Own<kj::PromiseFulfiller<void>>>& held) : m_held(held) {}
  kj::Promise<void> update(UpdateContext context) override {
    batches.push_back(
        {context.getParams().getBatch().getMonitors().size(), context.getParams().getBatch().getUpToDate()});
    auto answer = kj::newPromiseAndFulfiller<void>();
    m_held.push_back(kj::mv(answer.fulfiller));
    return kj::mv(answer.promise);
  }
  struct Batch {
    std::size_t monitors;
    bool upToDate;
  };
  std::vector<Batch> batches;

 private:
  std::vector<kj::Own<kj::PromiseFulfiller<void>>>& m_held;
};

TEST_F(EngineServerTest, AConsoleThatNeverAnswersGetsOneBatchAndDelaysNoOther) {
  Start();
  constexpr int Count = 2500;
  m_engine->Do([](engine::Service& service, FakeWorker&) {
    for (int i = 0; i < Count; ++i)
      service.Add("WebMonitor Of " + std::to_string(i));
  });
  RawConsole console(m_folder.Path());
  auto session = console.Hello(wire::PROTOCOL_VERSION).getGreeting().getEngine().getSession();
  std::vector<kj::Own<kj::PromiseFulfiller<void>>> held;
  auto owned = kj::heap<HoldingMirror>(held);
  auto& mirror = *owned;
  auto follow = session.followRequest();
  follow.setMirror(kj::mv(owned));
  follow.send().wait(console.Scope());
  const auto roundTrip = [&] {
    auto request = session.configValueRequest();
    request.setKey("LogFile");
    request.send().wait(console.Scope());
  };
  while (mirror.batches.empty())
    roundTrip();

  EngineClient other(m_options);
  other.OpenGate(m_engine->ControlPass());
  const auto id = other.IdAt(1);
  for (int i = 0; i < 50; ++i)
    other.SetAttribute(id, keys::Parameter, std::to_string(i));
  EXPECT_EQ(other.Get(id)->Get(keys::Parameter), "49");
  roundTrip();
  EXPECT_EQ(mirror.batches.size(), 1u) << "the first is not answered";

  while (!mirror.batches.back().upToDate) {
    held.back()->fulfill();
    const auto before = mirror.batches.size();
    while (mirror.batches.size() == before)
      roundTrip();
  }
  std::size_t monitors = 0;
  for (const auto& batch : mirror.batches) {
    EXPECT_LE(batch.monitors, link::ChangeFeed::MaxMonitors);
    monitors += batch.monitors;
  }
  EXPECT_EQ(monitors, static_cast<std::size_t>(Count) + 1)
      << "fifty changes of one monitor are one record more";
}

/// Requests of the bootstrap object, each of which is answered.
std::string BootstrapRequests(std::uint32_t firstQuestion, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) {
    capnp::MallocMessageBuilder message;
    message.initRoot<capnp::rpc::Message>().initBootstrap().setQuestionId(firstQuestion +
                                                                          static_cast<unsigned>(i));
    const auto words = capnp::messageToFlatArray(message);
    bytes.append(reinterpret_cast<const char*>(words.begin()), words.size() * sizeof(capnp::word));
  }
  return bytes;
}

TEST_F(EngineServerTest, APeerThatCallsAndNeverReadsIsNotReadAnyMore) {
  constexpr int Enough = 200000;  // their answers are many times what a socket holds
  constexpr int Batch = 1000;
  Start();
  EngineClient other(m_options);
  RawPeer peer(m_folder.Path());
  std::uint32_t question = 0;
  std::string left;
  for (int idle = 0; idle < 50;) {
    if (left.empty()) left = BootstrapRequests(std::exchange(question, question + Batch), Batch);
    ASSERT_LT(question, static_cast<unsigned>(Enough)) << "the engine accepts calls without end";
    const auto sent = peer.SendSome(left);
    left.erase(0, sent);
    idle = sent == 0 ? idle + 1 : 0;
    EXPECT_EQ(other.ServiceValue("never set"), "") << "others are served meanwhile";
  }
}

wire::Session::Client OpenSession(RawConsole& console, const std::string& pass) {
  auto session = console.Hello(wire::PROTOCOL_VERSION).getGreeting().getEngine().getSession();
  auto open = session.openGateRequest();
  open.setControlPass(link::ToData(pass));
  open.send().wait(console.Scope());
  return session;
}

auto Fetch(wire::Session::Client& session, std::uint32_t number) {
  auto fetch = session.fetchRequest();
  fetch.setNumber(number);
  fetch.setUrl("http://a/");
  fetch.setLimitMs(1000);
  return fetch.send();
}

TEST_F(EngineServerTest, PagesThatAConsoleDoesNotReadKeepTheirPlaces) {
  Start();
  EngineClient busy(m_options), other(m_options);
  for (auto* client : {&busy, &other})
    client->OpenGate(m_engine->ControlPass());
  const auto fetchOne = [&] {
    const auto fetch = other.Fetch("http://b/", milliseconds(1000));
    fetch->Stop();
    return fetch->Reply();
  };
  std::vector<std::unique_ptr<ce::PageFetch>> underWay;
  {
    RawConsole console(m_folder.Path());
    auto session = OpenSession(console, m_engine->ControlPass());
    std::vector<capnp::RemotePromise<wire::Session::FetchResults>> unread;
    for (std::uint32_t number = 1; number <= 4; ++number)
      unread.push_back(Fetch(session, number));
    session.stopFetchRequest().send().wait(console.Scope());  // of none: by now the engine has the fetches
    m_engine->Do([](engine::Service& service, FakeWorker& checks) {
      for (const auto ticket : checks.fetches)
        checks.Report(
            engine::FetchEnded{ticket, {ce::PageReply::End::Complete, "", std::string(1 << 20, 'x'), ""}});
      service.OnWake();
    });
    for (int i = 0; i < 4; ++i)
      underWay.push_back(busy.Fetch("http://c/", milliseconds(1000)));
    static_cast<void>(busy.ServiceValue("never set"));  // by now the engine has them too
    EXPECT_EQ(fetchOne().reason, "too many pages are being fetched");
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (fetchOne().end != ce::PageReply::End::Complete)  // the engine sees the console leave a moment later
    ASSERT_LT(std::chrono::steady_clock::now(), end);
}

TEST_F(EngineServerTest, AFetchIsStoppedWhenItsConsoleLeaves) {
  Start();
  const auto calls = [&] {
    std::vector<std::string> all;
    m_engine->Do([&](engine::Service&, FakeWorker& checks) { all = checks.calls; });
    return all;
  };
  {
    RawConsole console(m_folder.Path());
    auto session = OpenSession(console, m_engine->ControlPass());
    const auto underWay = Fetch(session, 7);
    session.stopFetchRequest().send().wait(console.Scope());  // of no fetch that there is
    EXPECT_EQ(calls(), std::vector<std::string>{"Fetch http://a/ 1000"});
  }
  while (calls().size() < 2)
    std::this_thread::yield();
  EXPECT_EQ(calls().back(), "StopFetch");
}

TEST_F(EngineServerTest, AConsoleMayLeaveWhileItsCheckRuns) {
  Start();
  m_engine->Do([](engine::Service& service, FakeWorker& checks) {
    service.Add("WebMonitor Of a");
    checks.holdChecks = true;
  });
  m_options.runTimeout = milliseconds(50);
  {
    EngineClient client(m_options);
    client.OpenGate(m_engine->ControlPass());
    EXPECT_THROW(static_cast<void>(client.Check(client.Find("WebMonitor Of a"))), ce::EngineError);
  }
  EXPECT_TRUE(Serves());
  m_engine->Do([](engine::Service& service, FakeWorker& checks) {
    ASSERT_EQ(checks.held.size(), 1u);
    checks.Report(checks.held[0].first, checks.held[0].second, "too late");
    service.OnWake();
    EXPECT_EQ(service.Table().All().begin()->second.attributes->Get(keys::Result), "too late");
  });
  EXPECT_TRUE(Serves());
}

}  // namespace
}  // namespace norvane::tests
