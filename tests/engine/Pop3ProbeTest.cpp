#include "engine/probes/Pop3Probe.h"

#include "tests/engine/MailChecks.h"
#include "tests/support/HttpServer.h"
#include "tests/support/TempFolder.h"

namespace norvane::engine {
namespace {

using namespace tests;
namespace keys = console::engine::keys;
using End = MailAnswer::End;
using Strings = std::vector<std::string>;
using std::chrono::milliseconds;

constexpr auto Type = console::engine::TypePop3;

std::unique_ptr<Pop3Server> MakeServer(const Pop3Server::Pop3Options& options = {}) {
  auto server = std::make_unique<Pop3Server>(options);
  server->SetAccount(Account, {Password, 3});
  return server;
}

TEST(Pop3Probe, LogsOnAsTheServerOffers) {
  const CertificateAuthority authority;
  const auto identity = authority.Issue("another.test");  // nobody promised that it is right
  const std::string user = std::string("USER ") + Account;
  const std::string pass = std::string("PASS ") + Password;
  // MD5 of the timestamp and the password.
  const std::string apop = std::string("APOP ") + Account + " 46c9e6f6a1be0cd510427dc7b7c5043e";
  struct Row {
    const char* name;
    Pop3Server::Pop3Options options;
    Strings commands;
  };
  const Row rows[] = {
      {"in the clear", {}, {"CAPA", user, pass, "STAT", "QUIT"}},
      {"no capabilities", {.hasCapabilities = false}, {"CAPA", user, pass, "STAT", "QUIT"}},
      {"STLS",
       {.common = {.tls = identity}},
       {"CAPA", "STLS", "tls CAPA", "tls " + user, "tls " + pass, "tls STAT", "tls QUIT"}},
      {"APOP", {.timestamp = "<1.2@pop.test>"}, {"CAPA", apop, "STAT", "QUIT"}},
      {"APOP refused",
       {.timestamp = "<1.2@pop.test>", .refusesApop = true},
       {"CAPA", apop, user, pass, "STAT", "QUIT"}},
      {"no true timestamp", {.timestamp = "<1.2\x01@pop>"}, {"CAPA", user, pass, "STAT", "QUIT"}},
  };
  for (const milliseconds pace : {milliseconds(0), milliseconds(1)}) {
    CheckerFixture checker;
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (pace.count() > 0 ? ", byte by byte" : ""));
      auto options = row.options;
      options.common.pace = pace;
      const auto server = MakeServer(options);
      EXPECT_EQ(checker.Check(MailTarget(Type, server->Address())).result.reason, "Ok");
      EXPECT_EQ(server->WaitForCommands(row.commands.size()), row.commands);
    }
  }
}

TEST(Pop3Probe, FallsBackFromApopEvenIfTheServerHangsUp) {
  for (const End end : {End::Close, End::Reset}) {
    const auto server = MakeServer({.timestamp = "<1.2@pop.test>"});
    server->Set("APOP", {"-ERR no\r\n", end});
    CheckerFixture checker;
    EXPECT_EQ(checker.Check(MailTarget(Type, server->Address())).result.reason, "Ok");
    server->Set("USER", {"", End::Close});
    EXPECT_EQ(checker.Check(MailTarget(Type, server->Address())).result.reason,
              "POP3: logon: connection closed by the server");
  }
}

TEST(Pop3Probe, TellsTheStepAndTheReason) {
  const std::string echo = std::string("-ERR [AUTH] no ") + Password + ", nor OPEN SESAME 7!\r\n";
  CheckerFixture checker;
  ExpectReasons<Pop3Server>(
      {
          {"greeting", "", {"-ERR too many\r\n"}, "POP3: greeting refused: too many"},
          {"account", "USER", {"-ERR unknown\r\n"}, "POP3: logon refused: unknown"},
          {"password", "PASS", {"-ERR\r\n"}, "POP3: logon refused: "},
          {"echoed password", "PASS", {echo}, "POP3: logon refused: [AUTH] no ***, nor ***!"},
          {"escapes", "PASS", {"-ERR \x1b[2J\xff\r\n"}, "POP3: logon refused: ?[2J?"},
          {"count", "STAT", {"-ERR locked\r\n"}, "POP3: STAT refused: locked"},
          {"empty mailbox", "STAT", {"+OK 0 0\r\n"}, "POP3: mailbox empty"},
          {"no count", "STAT", {"+OK many\r\n"}, "the reply is not POP3"},
          {"bare line ends", "STAT", {"+OK 1 1\n"}, "Ok"},
          {"goes at once", "STAT", {"+OK 1 1\r\n", End::Reset}, "Ok"},
          {"late QUIT", "QUIT", {"", End::Silence}, "Ok"},
          {"endless list",
           "CAPA",
           {"+OK\r\n", End::Stay, "AGAIN\r\n"},
           "POP3: CAPA: more than 64 KiB received"},
          {"unasked STLS", "CAPA", {"+OK\r\nSTLS\r\n.\r\n"}, "POP3: STLS refused: no"},
      },
      Type, [] { return MakeServer(); }, checker);
}

TEST(Pop3Probe, SurvivesHostileServersAtEachStep) {
  CheckerFixture checker;
  const std::pair<const char*, const char*> steps[] = {
      {"", "greeting"}, {"CAPA", "CAPA"}, {"USER", "logon"}, {"PASS", "logon"}, {"STAT", "STAT"}};
  for (const auto& [point, step] : steps) {
    SCOPED_TRACE(step);
    ExpectReasons<Pop3Server>(
        HostileAnswers(point, step, "POP3"), Type, [] { return MakeServer(); }, checker);
  }
}

TEST(Pop3Probe, VerifiesCertificatesWhereTheyArePromised) {
  const TempFolder folder;
  const CertificateAuthority authority;
  const CertificateAuthority stranger;
  struct Row {
    const char* name;
    Identity identity;
    const char* host;
    std::string reason;
  };
  const Row rows[] = {
      {"good", authority.Issue("127.0.0.1"), "127.0.0.1", "Ok"},
      {"good by name", authority.Issue("localhost"), "localhost", "Ok"},
      {"expired", authority.Issue("127.0.0.1", -10, -1), "127.0.0.1", "certificate of 127.0.0.1 expired"},
      {"early", authority.Issue("127.0.0.1", 1, 10), "127.0.0.1",
       "certificate of 127.0.0.1 is not yet valid"},
      {"another name", authority.Issue("elsewhere.test"), "localhost",
       "certificate of localhost is for another name"},
      {"name's at the address", authority.Issue("localhost"), "127.0.0.1",
       "certificate of 127.0.0.1 is for another name"},
      {"unknown authority", stranger.Issue("127.0.0.1"), "127.0.0.1",
       "certificate of 127.0.0.1 not trusted: unable to get local issuer certificate"},
  };
  CheckerOptions options;
  options.caFile = authority.WriteTo(folder / "ca.pem");
  CheckerFixture checker(options);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto server = MakeServer({.common = {.tls = row.identity, .isTlsFromStart = true}});
    const auto address = "pop3s://" + server->Address(row.host);
    EXPECT_EQ(checker.Check(MailTarget(Type, address)).result.reason, row.reason);
    EXPECT_EQ(server->Commands().empty(), row.reason != "Ok");
  }
  const auto plain = MakeServer();
  EXPECT_EQ(checker.Check(MailTarget(Type, "pop3s://" + plain->Address())).result.reason,
            "TLS with 127.0.0.1 failed: wrong version number");
  options.caFile = folder / "none.pem";
  CheckerFixture blind(options);
  EXPECT_EQ(blind.Check(MailTarget(Type, "pop3s://" + plain->Address())).result.reason,
            "the file of trusted certificate authorities cannot be read");
}

TEST(Pop3Probe, KeepsThePasswordOutOfTheClearWhenTlsFails) {
  const CertificateAuthority authority;
  struct Row {
    const char* name;
    MailAnswer answer;
    std::string reason;
    std::string timeout = "20";
  };
  const Row rows[] = {
      {"refused", {"-ERR not now\r\n"}, "POP3: STLS refused: not now"},
      {"no TLS behind it", {"+OK\r\n", End::Close}, "TLS with 127.0.0.1 failed: connection "},
      {"silence behind it",
       {"+OK\r\n", End::Silence},
       "no answer within 0.4 s (securing the connection)",
       "0.4"},
      {"more than the answer",
       {"+OK\r\n+OK logged on\r\n", End::Tls},
       "the server said more before TLS than it was asked"},
  };
  CheckerFixture checker;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto server = MakeServer({.common = {.tls = authority.Issue("127.0.0.1")}, .timestamp = "<1@pop>"});
    server->Set("STLS", row.answer);
    const auto reason = checker.Check(MailTarget(Type, server->Address(), row.timeout)).result.reason;
    EXPECT_TRUE(reason.starts_with(row.reason)) << reason;  // closed or reset, as the system sees it
    for (const auto& command : server->Commands())
      EXPECT_TRUE(command == "CAPA" || command == "STLS" || command == "QUIT") << command;
  }
}

TEST(Pop3Probe, RefusesWhatItCannotSay) {
  const auto server = MakeServer();
  const auto target = MailTarget(Type, server->Address());
  const RefusingPort refusing;
  const StalledPort stalled;
  const auto at = [](int port) { return "127.0.0.1:" + std::to_string(port); };
  const std::string noAddress = "not a valid POP3 server address";
  struct Row {
    const char* name;
    std::string_view key;
    std::string value;
    std::string reason;
  };
  const Row rows[] = {
      {"no account", keys::PopAccount, "", "POP3: the account is missing"},
      {"no password", keys::PopPass, "", "POP3: the password is missing"},
      {"line end", keys::PopAccount, "me\r\nDELE 1",
       "POP3: the account holds characters that cannot be sent"},
      {"bare CR", keys::PopPass, "a\rb", "POP3: the password holds characters that cannot be sent"},
      {"zero", keys::PopPass, std::string("a\0b", 3),
       "POP3: the password holds characters that cannot be sent"},
      {"C1", keys::PopPass, "a\xc2\x85", "POP3: the password holds characters that cannot be sent"},
      {"long", keys::PopPass, std::string(100000, 'x'), "POP3: the password is too long"},
      {"address", keys::Parameter, "127.0.0.1:0", noAddress},
      {"line end in the address", keys::Parameter, "127.0.0.1\r\nX", noAddress},
      {"another scheme", keys::Parameter, "smtp://127.0.0.1", noAddress},
      {"refused", keys::Parameter, at(refusing.Port()), "connection refused"},
      {"wrong password", keys::PopPass, "guess", "POP3: logon refused: wrong account or password"},
      {"by address with blanks", keys::Parameter, " POP3://" + server->Address() + "/ ", "Ok"},
      {"by name", keys::Parameter, server->Address("localhost"), "Ok"},
  };
  CheckerFixture checker;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(checker.Check(With(target, row.key, row.value)).result.reason, row.reason);
  }
  EXPECT_EQ(checker.Check(MailTarget(Type, at(stalled.Port()), "0.3")).result.reason,
            "no answer within 0.3 s (connecting)");
  for (const auto& command : server->Commands())
    EXPECT_EQ(command.find("DELE"), std::string::npos);
}

TEST(Pop3Probe, ManyAtOnceWaitForNobodysFarewell) {
  constexpr int count = 64;
  const auto server = MakeServer();
  server->Set("QUIT", {"+OK bye\r\n", End::Close, "", milliseconds(200)});
  CheckerFixture checker;
  for (const auto& report :
       checker.CheckAll(std::vector<CheckTarget>(count, MailTarget(Type, server->Address(), "10"))))
    EXPECT_EQ(report.result.reason, "Ok");
}

}  // namespace
}  // namespace norvane::engine
