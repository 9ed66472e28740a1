#include "engine/net/Resolver.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "loopback/TempFolder.h"
#include "tests/engine/net/FakeNameServer.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Strings = std::vector<std::string>;
using tests::FakeNameServer;
using tests::Rows;

/// A loop whose clock runs ahead by what a test adds.
class ResolverTest : public ::testing::Test {
 protected:
  milliseconds m_ahead{0};
  EventLoop m_loop{[this] { return std::chrono::steady_clock::now() + m_ahead; }};

  void RunUntil(const std::function<bool()>& isDone) {
    const auto end = std::chrono::steady_clock::now() + seconds(30);
    while (!isDone() && std::chrono::steady_clock::now() < end)
      m_loop.RunOnce(milliseconds(1000));
    ASSERT_TRUE(isDone());
  }
  Resolver::Answer Ask(Resolver& resolver, const std::string& host, milliseconds time = seconds(60)) {
    if (const auto* known = resolver.Known(host)) return *known;
    std::optional<Resolver::Answer> answer;
    const auto query = resolver.LookUp(
        host, m_loop, [&](const Resolver::Answer& got) { answer = got; }, time);
    RunUntil([&] { return answer.has_value(); });
    return answer.value_or(Resolver::Answer{});
  }
};

TEST_F(ResolverTest, FindsAddressesAndTellsWhyNot) {
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  Resolver resolver(m_loop, {server.Address()});
  const Rows<const char*, Strings, const char*> rows = {
      {"192.0.2.1", {"192.0.2.1"}, ""},       {"::1", {"::1"}, ""},
      {"[2001:db8::1]", {"2001:db8::1"}, ""}, {"shop.test", {"192.0.2.7"}, ""},
      {"none.test", {}, "name not found"},    {"[192.0.2.1]", {}, "name not found"},
      {"[::1", {}, "name not found"},
  };
  for (const auto& [host, addresses, failure] : rows) {
    SCOPED_TRACE(host);
    const auto answer = Ask(resolver, host);
    EXPECT_EQ(answer.addresses, addresses);
    EXPECT_EQ(answer.failure, failure);
  }
  EXPECT_EQ(resolver.ServerAnswers(), 4u) << "the first three need no server";
  EXPECT_EQ(resolver.ServerFailures(), 0u);
}

TEST_F(ResolverTest, LocalhostIsThisMachineOnASystemWithoutHostsFile) {
  Resolver resolver(m_loop, {});
  for (const std::string name : {"localhost", "LocalHost"}) {
    SCOPED_TRACE(name);
    const auto* answer = resolver.Known(name);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->addresses, (std::vector<std::string>{"127.0.0.1", "::1"}));
  }
}

TEST_F(ResolverTest, LookupsThatBeginHoldNoTimeOutBack) {
  FakeNameServer server(m_loop, {});
  server.FallSilent();
  Resolver resolver(m_loop, {server.Address(), milliseconds(20), 1});
  bool isOver = false;
  std::vector<std::unique_ptr<Resolver::Query>> queries;
  EventLoop::Timer next(m_loop, m_loop, [&] {
    queries.push_back(resolver.LookUp(std::to_string(queries.size()) + ".test", m_loop,
                                      [&](const Resolver::Answer&) { isOver = true; }));
    next.Set(m_loop.Now() + milliseconds(10));
  });
  next.Set(m_loop.Now());
  RunUntil([&] { return isOver; });
}

TEST_F(ResolverTest, LookupsOfOneNameAreOne) {
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  Resolver resolver(m_loop, {server.Address()});
  int answers = 0;
  std::unique_ptr<Resolver::Query> second;
  const auto first = resolver.LookUp("shop.test", m_loop, [&](const auto&) {
    ++answers;
    second.reset();  // withdrawn while the answers are given out
  });
  second = resolver.LookUp("shop.test", m_loop, [&](const auto&) { FAIL() << "was withdrawn"; });
  const auto third = resolver.LookUp("shop.test", m_loop, [&](const auto& answer) {
    EXPECT_EQ(answer.addresses, Strings{"192.0.2.7"});
    ++answers;
  });
  RunUntil([&] { return answers == 2; });
  EXPECT_EQ(server.Asked(), Strings{"shop.test"});
}

TEST_F(ResolverTest, KeepsAnswersForTheirTimeWithinLimits) {
  const Rows<const char*, seconds> rows = {{"short.test", seconds(5)},
                                           {"usual.test", seconds(60)},
                                           {"long.test", seconds(300)},
                                           {"none.test", seconds(5)}};
  FakeNameServer server(m_loop, {{"short.test", {"192.0.2.1", 0}},
                                 {"usual.test", {"192.0.2.2", 60}},
                                 {"long.test", {"192.0.2.3", 65535}}});
  Resolver resolver(m_loop, {.nameServers = server.Address(), .hasRoute = [](const auto&) { return true; }});
  for (const auto& [host, keptFor] : rows) {
    SCOPED_TRACE(host);
    static_cast<void>(Ask(resolver, host));
    m_ahead += keptFor - seconds(2);
    EXPECT_NE(resolver.Known(host), nullptr);
    m_ahead += seconds(3);
    EXPECT_EQ(resolver.Known(host), nullptr);
  }
}

TEST_F(ResolverTest, KeepsSoManyAnswersAndNoMore) {
  FakeNameServer server(m_loop, {});
  Resolver::Options options{server.Address()};
  options.maxCached = 2;
  Resolver resolver(m_loop, options);
  const Strings hosts = {"a.test", "b.test", "c.test", "d.test"};
  for (const auto& host : hosts) {
    static_cast<void>(Ask(resolver, host));
    EXPECT_NE(resolver.Known(host), nullptr) << "the latest is kept in any case";
  }
  EXPECT_EQ(std::ranges::count_if(hosts, [&](const auto& host) { return resolver.Known(host) != nullptr; }),
            2);
}

TEST_F(ResolverTest, ASilentNameServerIsToldFromAnUnknownName) {
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  server.FallSilent();
  Resolver resolver(m_loop, {server.Address(), milliseconds(20), 2});
  EXPECT_EQ(Ask(resolver, "shop.test").failure, "no answer from the name server");
  EXPECT_EQ(resolver.ServerAnswers(), 0u);
  EXPECT_EQ(resolver.ServerFailures(), 1u);
}

TEST_F(ResolverTest, ARefusingNameServerIsNoSilentOne) {
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  server.Refuse();
  Resolver resolver(m_loop, {server.Address(), milliseconds(20), 2});
  EXPECT_EQ(Ask(resolver, "shop.test").failure, "no usable answer from the name server");
}

TEST_F(ResolverTest, AddressesOfOneFamilyWillDo) {
  using Reply = FakeNameServer::Reply;
  const std::string ipv4 = "192.0.2.7", ipv6 = "2001:db8::7";
  constexpr bool HasIPv6 = true, IsKept = true;
  const Rows<const char*, Reply, Reply, bool, Strings, bool> rows = {
      {"both", Reply::Answer, Reply::Answer, HasIPv6, {ipv4, ipv6}, IsKept},
      {"no answer for IPv6", Reply::Answer, Reply::Silence, HasIPv6, {ipv4}, !IsKept},
      {"no answer for IPv4", Reply::Silence, Reply::Answer, HasIPv6, {ipv6}, !IsKept},
      {"a failure for IPv6", Reply::Answer, Reply::Failure, HasIPv6, {ipv4}, IsKept},
      {"a failure for IPv4", Reply::Failure, Reply::Answer, HasIPv6, {ipv6}, IsKept},
      {"a failure for IPv6, no answer for IPv4", Reply::Silence, Reply::Failure, HasIPv6, {}, !IsKept},
      {"late for IPv4, no route for IPv6", Reply::LateAnswer, Reply::Answer, !HasIPv6, {ipv4, ipv6}, IsKept},
      {"none for IPv4, no route for IPv6", Reply::Silence, Reply::Answer, !HasIPv6, {ipv6}, !IsKept},
  };
  for (const auto& [name, forIPv4, forIPv6, hasIPv6, addresses, isKept] : rows) {
    SCOPED_TRACE(name);
    FakeNameServer server(
        m_loop, {{"shop.test", {.address = ipv4, .address6 = ipv6, .ipv4 = forIPv4, .ipv6 = forIPv6}}});
    // What waits for both to answer waits longer than the test.
    const bool waits = addresses.empty() || !hasIPv6;
    const auto hasRoute = [&, all = hasIPv6](const auto& address) { return all || address == ipv4; };
    Resolver resolver(m_loop, {.nameServers = server.Address(),
                               .tryTimeout = waits ? milliseconds(300) : seconds(60),
                               .tries = 2,
                               .hasRoute = hasRoute});
    auto answer = Ask(resolver, "shop.test", milliseconds(80));
    std::ranges::sort(answer.addresses);
    EXPECT_EQ(answer.addresses, addresses);
    EXPECT_EQ(answer.failure, addresses.empty() ? "no answer from the name server" : "");
    m_ahead += seconds(10);
    EXPECT_EQ(resolver.Known("shop.test") != nullptr, isKept);
  }
}

TEST_F(ResolverTest, WhatWasLostWhileTheEngineStalledIsAskedAnew) {
  for (const bool isStalled : {false, true}) {
    FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
    server.Lose(2);  // for both families
    Resolver resolver(m_loop, {.nameServers = server.Address(),
                               .tryTimeout = milliseconds(20),
                               .tries = 1,
                               .patience = seconds(60)});
    std::optional<Resolver::Answer> answer;
    std::unique_ptr<Resolver::Query> query;
    EventLoop::Timer begin(m_loop, m_loop, [&] {
      query = resolver.LookUp("shop.test", m_loop, [&](const auto& got) { answer = got; });
      if (isStalled) m_ahead += seconds(2);
    });
    begin.Set(m_loop.Now());
    RunUntil([&] { return answer.has_value(); });
    EXPECT_EQ(answer->failure, isStalled ? "" : "no answer from the name server");
    EXPECT_EQ(resolver.ServerFailures(), isStalled ? 0u : 1u);
  }
}

TEST_F(ResolverTest, NewServersAreAskedForWhatTheFormerHaveNotAnswered) {
  const loopback::TempFolder folder;
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}, {"other.test", {"192.0.2.8"}}});
  server.FallSilent();
  const std::filesystem::path serversFile =
      tests::WriteFile(folder / "resolv.conf", "nameserver 127.0.0.2\n");
  Resolver resolver(m_loop, {.nameServers = server.Address(),
                             .tryTimeout = seconds(60),
                             .patience = seconds(60),
                             .serversFile = serversFile});
  Strings answers;
  const auto keep = [&](const auto& answer) {
    answers.insert(answers.end(), answer.addresses.begin(), answer.addresses.end());
  };
  const auto first = resolver.LookUp("shop.test", m_loop, keep);
  RunUntil([&] { return !server.Asked().empty(); });
  server.Speak();
  std::filesystem::remove(serversFile);
  std::filesystem::create_symlink(serversFile, serversFile);  // which nobody can read
  EXPECT_EQ(Ask(resolver, "none.test").failure, "name not found");
  EXPECT_TRUE(resolver.AreServersUnreadable());
  EXPECT_TRUE(answers.empty()) << "those read before are asked on";
  std::filesystem::remove(serversFile);
  tests::WriteFile(serversFile, "nameserver 127.0.0.1\n");
  const auto second = resolver.LookUp("other.test", m_loop, keep);
  RunUntil([&] { return answers.size() == 2; });
  EXPECT_FALSE(resolver.AreServersUnreadable());
  std::ranges::sort(answers);
  EXPECT_EQ(answers, (Strings{"192.0.2.7", "192.0.2.8"}));
}

TEST_F(ResolverTest, TheHostsFileComesBeforeTheServers) {
  const loopback::TempFolder folder;
  HostsFile hosts(tests::WriteFile(folder / "hosts", "fe80::1 Shop.test\n192.0.2.9 web shop.TEST\n"));
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  Resolver resolver(m_loop, {.nameServers = server.Address(), .hosts = &hosts});
  EXPECT_EQ(Ask(resolver, "shop.test").addresses.size(), 2u);
  EXPECT_EQ(server.Asked(), Strings());
}

TEST_F(ResolverTest, ALongAnswerIsAskedForByTcp) {
  FakeNameServer server(m_loop, {{"long.test", {.address = "192.0.2.7", .isLong = true}}});
  server.ListenByTcp();
  Resolver resolver(m_loop, {server.Address()});
  EXPECT_EQ(Ask(resolver, "long.test").addresses, Strings{"192.0.2.7"});
}

TEST_F(ResolverTest, ALongAnswerWithoutTcpHarmsNoOtherLookup) {
  std::map<std::string, FakeNameServer::Entry> entries{
      {"long.test", {.address = "192.0.2.7", .isLong = true}}};
  for (int i = 0; i < 100; ++i)
    entries["shop" + std::to_string(i) + ".test"] = {"192.0.2.8"};
  FakeNameServer server(m_loop, entries);
  Resolver resolver(m_loop, {server.Address()});
  std::map<std::string, Resolver::Answer> answers;
  std::vector<std::unique_ptr<Resolver::Query>> queries;
  for (const auto& [host, entry] : entries)
    queries.push_back(
        resolver.LookUp(host, m_loop, [&, name = host](const auto& got) { answers[name] = got; }));
  RunUntil([&] { return answers.size() == entries.size(); });
  for (const auto& [host, answer] : answers)
    EXPECT_EQ(answer.failure, host == "long.test" ? "no usable answer from the name server" : "") << host;
}

TEST_F(ResolverTest, NamesThatHangHoldUpNoOthers) {
  constexpr int Hanging = 1000;
  std::map<std::string, FakeNameServer::Entry> entries{{"proven.test", {"192.0.2.1"}},
                                                       {"new.test", {"192.0.2.2"}}};
  for (int i = 0; i < Hanging; ++i)
    entries["hang" + std::to_string(i) + ".test"] = {.address = {}, .isSilent = true};
  FakeNameServer server(m_loop, entries);
  Resolver resolver(m_loop, {server.Address(), milliseconds(300), 1});
  static_cast<void>(Ask(resolver, "proven.test"));
  m_ahead += seconds(60);
  int hung = 0;
  std::vector<std::unique_ptr<Resolver::Query>> queries;
  const auto askForAll = [&] {
    queries.clear();
    hung = 0;
    for (int i = 0; i < Hanging; ++i) {
      queries.push_back(
          resolver.LookUp("hang" + std::to_string(i) + ".test", m_loop, [&](const auto&) { ++hung; }));
      if (i % 32 == 0) m_loop.RunOnce(milliseconds(0));  // or the server's socket overflows
    }
  };
  askForAll();
  EXPECT_FALSE(queries.front()->IsQueued());
  EXPECT_TRUE(queries.back()->IsQueued());
  EXPECT_EQ(Ask(resolver, "proven.test").addresses, Strings{"192.0.2.1"});
  EXPECT_LT(hung, Hanging / 2) << "a name that was found before comes first";
  RunUntil([&] { return hung == Hanging; });
  askForAll();
  EXPECT_EQ(Ask(resolver, "new.test").addresses, Strings{"192.0.2.2"});
  EXPECT_LT(hung, Hanging / 2) << "a name that hung comes last";
}

TEST_F(ResolverTest, AnswersWaitForAPlace) {
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  Resolver resolver(m_loop, {server.Address()});
  int places = 1;
  resolver.DeliverWhile([&] { return places > 0; });
  const auto take = [&](const auto&) { --places; };
  const auto first = resolver.LookUp("shop.test", m_loop, take);
  const auto second = resolver.LookUp("shop.test", m_loop, take);
  RunUntil([&] { return places == 0; });
  m_loop.RunOnce(milliseconds(20));
  EXPECT_EQ(places, 0);
  EXPECT_EQ(resolver.Queries(), 1u);
  places = 1;
  RunUntil([&] { return resolver.Queries() == 0; });
  EXPECT_EQ(places, 0);
}

TEST_F(ResolverTest, AWithdrawnQueryStillFillsTheCache) {
  FakeNameServer server(m_loop, {{"shop.test", {"192.0.2.7"}}});
  Resolver resolver(m_loop, {server.Address()});
  resolver.LookUp("shop.test", m_loop, [](const auto&) { FAIL() << "was withdrawn"; }).reset();
  RunUntil([&] { return resolver.Known("shop.test") != nullptr; });
}

}  // namespace
}  // namespace norvane::engine
