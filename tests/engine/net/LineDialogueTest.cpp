#include "engine/net/LineDialogue.h"

#include <gtest/gtest.h>

#include "loopback/HttpServer.h"
#include "tests/engine/ProbeFixture.h"
#include "tests/engine/net/FakeNameServer.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

struct Client : LineDialogue::Client {
  void GoOn() override {}
};

TEST(LineDialogue, AddressesShareTheTimeFromTheAnswerOfTheNameServerOn) {
  milliseconds ahead{0};
  EventLoop loop([&] { return std::chrono::steady_clock::now() + ahead; });
  const auto runWhile = [&](const std::function<bool()>& goesOn) {
    const auto end = std::chrono::steady_clock::now() + seconds(30);
    while (goesOn() && std::chrono::steady_clock::now() < end)
      loop.RunOnce(milliseconds(10));
    ASSERT_FALSE(goesOn());
  };
  // The first address accepts no connection, the second refuses it.
  const loopback::StalledPort stalled;
  tests::FakeNameServer names(loop, {{"mail.test", {.address = "127.0.0.1", .hasTwo = true}}});
  names.Lose(2);
  Resolver resolver(loop, {.nameServers = names.Address(), .tryTimeout = milliseconds(50)});
  tests::ProbeFixture probes(loop);
  ProbeContext context{loop,         resolver,     probes.tls,  probes.charset,
                       probes.quota, probes.calls, probes.pool, probes.mailServers};
  Client client;
  LineDialogue dialogue(context, loop, client);
  dialogue.Open({"mail.test", stalled.Port(), false}, seconds(100));
  ahead += seconds(90);
  runWhile([&] { return dialogue.Step() != "connecting"; });
  ahead += seconds(45);
  for (int i = 0; i < 10; ++i)
    loop.RunOnce(milliseconds(0));
  EXPECT_EQ(dialogue.Failure(), "");
  ahead += seconds(10);
  runWhile([&] { return dialogue.Failure().empty(); });
  EXPECT_EQ(dialogue.Failure(), "connection refused");
}

}  // namespace
}  // namespace norvane::engine
