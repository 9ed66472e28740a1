#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/engine/MonitorKeys.h"
#include "loopback/HttpServer.h"
#include "loopback/MailServers.h"
#include "loopback/TempFolder.h"
#include "tests/engine/WorkerFixture.h"

namespace norvane::engine {
namespace {

using namespace loopback;
using namespace tests;
namespace keys = console::engine::keys;
using End = MailAnswer::End;
using Strings = std::vector<std::string>;
using std::chrono::milliseconds;

const std::string Account = "watcher", Password = "open sesame 7";
const std::string Sender = "watcher@norvane.test", Recipient = "tester@norvane.test";

std::unique_ptr<MailServer> MakePop3(const Pop3Server::Pop3Options& options) {
  auto server = std::make_unique<Pop3Server>(options);
  server->SetAccount(Account, {Password, 3});
  return server;
}

/// A point of a server's dialogue at which it goes wrong, and what the check says to it.
struct Fault {
  const char* name;
  const char* point;
  MailAnswer answer;
  std::string reason;
};

/// One type of mail check.
struct Kind {
  std::string_view type;
  std::string protocol, scheme, upgrade;
  std::unique_ptr<MailServer> (*make)(const MailServer::Options&);
  std::vector<std::pair<const char*, const char*>> steps;  // points, and what reasons call them
  std::vector<Fault> faults;
};

const Kind Pop3{
    console::engine::TypePop3,
    "POP3",
    "pop3s://",
    "STLS",
    [](const MailServer::Options& common) { return MakePop3({.common = common}); },
    {{"", "greeting"}, {"CAPA", "CAPA"}, {"USER", "logon"}, {"PASS", "logon"}, {"STAT", "STAT"}},
    {
        {"greeting", "", {"-ERR too many\r\n"}, "POP3: greeting refused: too many"},
        {"account", "USER", {"-ERR unknown\r\n"}, "POP3: logon refused: unknown"},
        {"password", "PASS", {"-ERR\r\n"}, "POP3: logon refused: "},
        {"echoed password",
         "PASS",
         {"-ERR [AUTH] no " + Password + ", nor OPEN SESAME 7!\r\n"},
         "POP3: logon refused: [AUTH] no ***, nor ***!"},
        {"escapes", "PASS", {"-ERR \x1b[2J\xff\r\n"}, "POP3: logon refused: ?[2J?"},
        {"count", "STAT", {"-ERR locked\r\n"}, "POP3: STAT refused: locked"},
        {"empty mailbox", "STAT", {"+OK 0 0\r\n"}, "POP3: mailbox empty"},
        {"no count", "STAT", {"+OK many\r\n"}, "the reply is not POP3"},
        {"bare line ends", "STAT", {"+OK 1 1\n"}, "Ok"},
        {"goes at once", "STAT", {"+OK 1 1\r\n", End::Reset}, "Ok"},
        {"late QUIT", "QUIT", {"", End::Silence}, "Ok"},
        {"endless", "CAPA", {"+OK\r\n", End::Stay, "AGAIN\r\n"}, "POP3: CAPA: more than 64 KiB received"},
        {"unasked STLS", "CAPA", {"+OK\r\nSTLS\r\n.\r\n"}, "POP3: STLS refused: no"},
    }};

const Kind Smtp{
    console::engine::TypeSmtp,
    "SMTP",
    "smtps://",
    "STARTTLS",
    [](const MailServer::Options& common) -> std::unique_ptr<MailServer> {
      return std::make_unique<SmtpServer>(SmtpServer::SmtpOptions{.common = common});
    },
    {{"", "greeting"},
     {"EHLO", "EHLO"},
     {"MAIL", "MAIL FROM"},
     {"RCPT", "RCPT TO"},
     {"DATA", "DATA"},
     {".", "message"}},
    {
        {"greeting", "", {"554 no service\r\n", End::Close}, "SMTP: greeting refused: 554 no service"},
        {"too busy", "EHLO", {"421 later\r\n", End::Close}, "SMTP: EHLO refused: 421 later"},
        {"sender", "MAIL", {"550 who?\r\n"}, "SMTP: MAIL FROM refused: 550 who?"},
        {"two lines",
         "RCPT",
         {"550-5.1 no\r\n550 5.1 user\r\n"},
         "SMTP: RCPT TO refused: 550 5.1 no 5.1 user"},
        {"escapes", "RCPT", {"550 \x1b[2J\xff\r\n"}, "SMTP: RCPT TO refused: 550 ?[2J?"},
        {"forwarded", "RCPT", {"251 will forward\r\n"}, "Ok"},
        {"no text", "DATA", {"250 fine\r\n"}, "SMTP: DATA refused: 250 fine"},
        {"text", ".", {"552 too much\r\n"}, "SMTP: message refused: 552 too much"},
        {"code alone", ".", {"250\r\n"}, "Ok"},
        {"goes at once", ".", {"250 taken\r\n", End::Reset}, "Ok"},
        {"late QUIT", "QUIT", {"", End::Silence}, "Ok"},
        {"endless", "", {"", End::Stay, "220-welcome\r\n"}, "SMTP: greeting: more than 64 KiB received"},
        {"half a code", "MAIL", {"25 fine\r\n"}, "the reply is not SMTP"},
        {"odd mark", "MAIL", {"250+fine\r\n"}, "the reply is not SMTP"},
    }};

/// What a hostile server may do at any point, whatever the protocol.
std::vector<Fault> HostileAnswers(const std::string& protocol, const char* point, const std::string& step) {
  const auto at = protocol + ": " + step + ": ";
  const auto late = "no answer within 0.4 s (" + step + ")", alien = "the reply is not " + protocol;
  const auto tooLong = at + "line longer than 4096 characters";
  return {
      {"silence", point, {"", End::Silence}, late},
      {"half a line", point, {"+OK 25", End::Silence}, late},
      {"a byte a while", point, {"+OK 250 and so on", End::Stay, "x", {}, milliseconds(50)}, late},
      {"reset", point, {"", End::Reset}, at + "connection reset by the server"},
      {"close", point, {"", End::Close}, at + "connection closed by the server"},
      {"close in a line", point, {"+OK 25", End::Close}, at + "connection closed by the server"},
      {"long line", point, {std::string(10000, 'x') + "\r\n"}, tooLong},
      {"endless line", point, {"", End::Stay, std::string(1000, '2')}, tooLong},
      {"another protocol", point, {"HTTP/1.1 400 Bad Request\r\n\r\n", End::Close}, alien},
      {"binary rubbish", point, {std::string("\x16\x03\x01\0\xff\r\n", 7)}, alien},
      {"empty line", point, {"\r\n"}, alien},
  };
}

class MailProbe : public testing::TestWithParam<const Kind*> {
 protected:
  [[nodiscard]] static CheckTarget Target(const std::string& server, const std::string& timeout = "20",
                                          std::string_view key = keys::Command,
                                          const std::string& value = "") {
    auto attributes = NewMonitorAttributes();
    attributes.Set(keys::Parameter, server);
    attributes.Set(keys::Timeout, timeout);
    attributes.Set(keys::PopAccount, Account);
    attributes.Set(keys::PopPass, Password);
    attributes.Set(keys::From, Sender);
    attributes.Set(keys::To, Recipient);
    attributes.Set(key, value);
    return {1, std::string(GetParam()->type) + " Of mail", std::make_shared<const Attributes>(attributes)};
  }
  std::string Reason(const std::string& server, const std::string& timeout = "20") {
    return m_worker.Check(Target(server, timeout)).result.reason;
  }
  /// Sets each fault on a server of its own and checks them all at once. Everything that was open for them is
  /// closed afterwards.
  void ExpectReasons(const std::vector<Fault>& faults) {
    std::vector<std::unique_ptr<MailServer>> servers;
    std::vector<CheckTarget> targets;
    const auto descriptors = OpenDescriptors();
    for (const auto& fault : faults) {
      servers.push_back(m_kind.make({}));
      servers.back()->Set(fault.point, fault.answer);
      targets.push_back(
          Target(servers.back()->Address(), fault.reason.starts_with("no answer") ? "0.4" : "20"));
    }
    const auto reports = m_worker.CheckAll(std::move(targets));
    for (std::size_t i = 0; i < faults.size(); ++i) {
      SCOPED_TRACE(faults[i].name);
      EXPECT_EQ(reports[i].result.reason, faults[i].reason);
      EXPECT_EQ(reports[i].result.IsGood(), faults[i].reason == "Ok");
      EXPECT_LT(reports[i].result.duration, std::chrono::seconds(10));
    }
    servers.clear();
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }

  const Kind& m_kind = *GetParam();
  const bool m_isPop3 = &m_kind == &Pop3;
  const CertificateAuthority m_authority;
  WorkerFixture m_worker;
};

INSTANTIATE_TEST_SUITE_P(Types, MailProbe, testing::Values(&Pop3, &Smtp),
                         [](const auto& row) { return row.param->protocol; });

TEST_P(MailProbe, TellsTheStepAndTheReason) {
  ExpectReasons(m_kind.faults);
}

TEST_P(MailProbe, SurvivesHostileServersAtEachStep) {
  for (const auto& [point, step] : m_kind.steps) {
    SCOPED_TRACE(step);
    ExpectReasons(HostileAnswers(m_kind.protocol, point, step));
  }
}

TEST_P(MailProbe, SpeaksAsTheServerOffers) {
  const auto identity = m_authority.Issue("another.test");  // nobody promised that it is right
  const auto user = "USER " + Account, pass = "PASS " + Password;
  const auto apop = "APOP " + Account + " 46c9e6f6a1be0cd510427dc7b7c5043e";  // MD5 of timestamp and password
  const auto from = "MAIL FROM:<" + Sender + ">", to = "RCPT TO:<" + Recipient + ">";
  const auto pop3 = [](Pop3Server::Pop3Options options) {
    return [=](milliseconds pace) mutable {
      options.common.pace = pace;
      return MakePop3(options);
    };
  };
  const auto smtp = [](SmtpServer::SmtpOptions options) {
    return [=](milliseconds pace) mutable {
      options.common.pace = pace;
      return std::make_unique<SmtpServer>(options);
    };
  };
  struct Row {
    const char* name;
    std::function<std::unique_ptr<MailServer>(milliseconds)> make;
    Strings commands;
  };
  const std::vector<Row> pop3Rows = {
      {"in the clear", pop3({}), {"CAPA", user, pass, "STAT", "QUIT"}},
      {"no capabilities", pop3({.hasCapabilities = false}), {"CAPA", user, pass, "STAT", "QUIT"}},
      {"STLS",
       pop3({.common = {.tls = identity}}),
       {"CAPA", "STLS", "tls CAPA", "tls " + user, "tls " + pass, "tls STAT", "tls QUIT"}},
      {"APOP", pop3({.timestamp = "<1.2@pop.test>"}), {"CAPA", apop, "STAT", "QUIT"}},
      {"APOP refused",
       pop3({.timestamp = "<1.2@pop.test>", .refusesApop = true}),
       {"CAPA", apop, user, pass, "STAT", "QUIT"}},
      {"no true timestamp", pop3({.timestamp = "<1.2\x01@pop>"}), {"CAPA", user, pass, "STAT", "QUIT"}},
  };
  const std::vector<Row> smtpRows = {
      {"in the clear", smtp({}), {"EHLO", from, to, "DATA", "QUIT"}},
      {"old", smtp({.knowsEhlo = false}), {"EHLO", "HELO", from, to, "DATA", "QUIT"}},
      {"STARTTLS",
       smtp({.common = {.tls = identity}}),
       {"EHLO", "STARTTLS", "tls EHLO", "tls " + from, "tls " + to, "tls DATA", "tls QUIT"}},
  };
  for (const milliseconds pace : {milliseconds(0), milliseconds(1)})
    for (const auto& row : m_isPop3 ? pop3Rows : smtpRows) {
      SCOPED_TRACE(std::string(row.name) + (pace.count() > 0 ? ", byte by byte" : ""));
      const auto server = row.make(pace);
      EXPECT_EQ(Reason(server->Address()), "Ok");
      auto commands = server->WaitForCommands(row.commands.size());
      for (auto& command : commands)  // behind EHLO and HELO stands this machine's name
        if (const auto at = command.find("LO "); at != std::string::npos) command.erase(at + 2);
      EXPECT_EQ(commands, row.commands);
      if (m_isPop3) continue;
      const auto mails = dynamic_cast<SmtpServer&>(*server).Mails();
      ASSERT_EQ(mails.size(), 1u);
      EXPECT_EQ(mails[0].wasSecured, commands[1] == "STARTTLS");
      for (const char* header :
           {"Auto-Submitted: auto-generated", "Subject: Norvane check: SmtpMonitor Of mail"})
        EXPECT_NE(mails[0].text.find("\r\n" + std::string(header) + "\r\n"), std::string::npos);
    }
}

TEST_P(MailProbe, VerifiesCertificatesWhereTheyArePromised) {
  const TempFolder folder;
  WorkerOptions options;
  options.caFile = m_authority.WriteTo(folder / "ca.pem");
  WorkerFixture worker(options);
  for (const auto& row : CertificateCases(m_authority)) {
    SCOPED_TRACE(row.name);
    const auto server = m_kind.make({.tls = row.identity, .isTlsFromStart = true});
    const auto target = Target(m_kind.scheme + server->Address(row.host));
    EXPECT_EQ(worker.Check(target).result.reason, row.reason);
    EXPECT_EQ(server->Commands().empty(), row.reason != "Ok");
  }
  const auto crumbling = m_kind.make({.tls = m_authority.Issue("127.0.0.1"), .isTlsFromStart = true});
  crumbling->Set(
      "",
      {.bytes = (m_kind.protocol == "POP3" ? "+OK " : "220 ") + std::string(1000, 'x') + "\r\n", .piece = 1});
  EXPECT_EQ(worker.Check(Target(m_kind.scheme + crumbling->Address())).result.reason, "Ok");

  auto longKey = m_authority.Issue("127.0.0.1");
  longKey.others = {m_authority.IssueForLongKey(1025)};
  EXPECT_EQ(worker.Check(Target(m_kind.make({.tls = longKey})->Address())).result.reason,
            "certificate of 127.0.0.1 comes with a key above 8192 bits")
      << "a long key costs as much where nobody asks who the server is";
  const auto server = m_kind.make({});
  const auto promised = Target(m_kind.scheme + server->Address());
  EXPECT_EQ(worker.Check(promised).result.reason, "TLS with 127.0.0.1 failed: wrong version number");
  server->Set("", {"", End::Stay, HelloRequests()});
  EXPECT_EQ(worker.Check(promised).result.reason, "TLS with 127.0.0.1 failed: excessive message size");
  const auto [crumb, crumbs] = HandshakeCrumbs();
  server->Set("", {crumb, End::Stay, crumbs});
  EXPECT_EQ(worker.Check(promised).result.reason, "TLS with 127.0.0.1 failed: record too small");
  options.caFile = folder / "none.pem";
  EXPECT_EQ(WorkerFixture(options).Check(promised).result.reason,
            "cannot read the file of trusted certificate authorities");

  // An update of the machine's authorities, and the moment in which the file is away.
  const CertificateAuthority newcomer;
  const auto later = std::filesystem::last_write_time(folder / "ca.pem") + std::chrono::seconds(1);
  std::filesystem::last_write_time(newcomer.WriteTo(folder / "ca.pem"), later);
  const auto renewed = m_kind.make({.tls = newcomer.Issue("127.0.0.1"), .isTlsFromStart = true});
  EXPECT_EQ(worker.Check(Target(m_kind.scheme + renewed->Address())).result.reason, "Ok");
  std::filesystem::remove(folder / "ca.pem");
  EXPECT_EQ(worker.Check(Target(m_kind.scheme + renewed->Address())).result.reason, "Ok");
}

TEST_P(MailProbe, KeepsItsSecretsOutOfTheClearWhenTheUpgradeFails) {
  const std::string go = m_isPop3 ? "+OK\r\n" : "220 go\r\n", more = m_isPop3 ? "+OK in\r\n" : "250 in\r\n";
  const std::vector<std::pair<MailAnswer, std::string>> rows = {
      {{go, End::Close}, "TLS with 127.0.0.1 failed: connection "},  // closed or reset, as the system sees it
      {{go, End::Silence}, "no answer within 0.4 s (TLS handshake)"},
      {{go + more, End::Tls}, "unexpected data before the TLS handshake"},
  };
  for (const auto& [answer, reason] : rows) {
    SCOPED_TRACE(reason);
    const auto server = m_kind.make({.tls = m_authority.Issue("127.0.0.1")});
    if (m_isPop3) server->Set(MailServer::Greeting, {"+OK <1@pop>\r\n"});  // offers APOP
    server->Set(m_kind.upgrade, answer);
    const auto told = Reason(server->Address(), answer.end == End::Silence ? "0.4" : "20");
    EXPECT_TRUE(told.starts_with(reason)) << told;
    for (const auto& command : server->Commands())
      EXPECT_TRUE(command == "CAPA" || command == m_kind.upgrade || command == "QUIT" ||
                  command.starts_with("EHLO"))
          << command;
  }
  // A mail may go in the clear where a password may not.
  const auto server = m_kind.make({.tls = m_authority.Issue("127.0.0.1")});
  server->Set(m_kind.upgrade, {m_isPop3 ? "-ERR not now\r\n" : "454 not now\r\n"});
  EXPECT_EQ(Reason(server->Address()), m_isPop3 ? "POP3: STLS refused: not now" : "Ok");
}

TEST_P(MailProbe, RefusesWhatItCannotSay) {
  const auto server = m_kind.make({});
  const RefusingPort refusing;
  const StalledPort stalled;
  const auto at = [](int port) { return "127.0.0.1:" + std::to_string(port); };
  const std::string unsayable = " contains invalid characters", noMail = " is not a bare mail address";
  const auto noAddress = "invalid " + m_kind.protocol + " server address";
  struct Row {
    const char* name;
    std::string_view key;
    std::string value, reason;
  };
  std::vector<Row> rows = {
      {"address", keys::Parameter, "127.0.0.1:0", noAddress},
      {"refused", keys::Parameter, at(refusing.Port()), "connection refused"},
      {"with blanks", keys::Parameter, " " + m_kind.protocol + "://" + server->Address() + "/ ", "Ok"},
      {"by name", keys::Parameter, server->Address("localhost"), "Ok"},
  };
  const Row pop3Rows[] = {
      {"no account", keys::PopAccount, "", "POP3: the account is missing"},
      {"no password", keys::PopPass, "", "POP3: the password is missing"},
      {"line end", keys::PopAccount, "me\r\nDELE 1", "POP3: the account" + unsayable},
      {"bare CR", keys::PopPass, "a\rb", "POP3: the password" + unsayable},
      {"zero", keys::PopPass, std::string("a\0b", 3), "POP3: the password" + unsayable},
      {"C1", keys::PopPass, "a\xc2\x85", "POP3: the password" + unsayable},
      {"long", keys::PopPass, std::string(100000, 'x'), "POP3: the password is too long"},
      {"wrong password", keys::PopPass, "guess", "POP3: logon refused: wrong account or password"},
  };
  const Row smtpRows[] = {
      {"none", keys::From, "", "SMTP: the sender is missing"},
      {"line end", keys::To, "a@b.test\r\nRSET", "SMTP: the recipient" + unsayable},
      {"second header", keys::From, "a@b.test\nBcc: c@d.test", "SMTP: the sender" + unsayable},
      {"parameter", keys::From, "a@b.test> SIZE=1", "SMTP: the sender" + noMail},
      {"with a name", keys::To, "Me <a@b.test>", "SMTP: the recipient" + noMail},
      {"blanks around", keys::To, " tester@norvane.test ", "Ok"},
  };
  rows.insert(rows.end(), m_isPop3 ? std::begin(pop3Rows) : std::begin(smtpRows),
              m_isPop3 ? std::end(pop3Rows) : std::end(smtpRows));
  for (const auto& row : rows)
    EXPECT_EQ(m_worker.Check(Target(server->Address(), "20", row.key, row.value)).result.reason, row.reason)
        << row.name;
  EXPECT_EQ(Reason(at(stalled.Port()), "0.3"), "no answer within 0.3 s (connecting)");
  for (const auto& command : server->Commands())
    EXPECT_TRUE(command.find("DELE") == std::string::npos && command.find("RSET") == std::string::npos);
}

TEST_P(MailProbe, ManyAtOnceWaitForNobodysFarewell) {
  const auto server = m_kind.make({});
  server->Set("QUIT", {m_isPop3 ? "+OK bye\r\n" : "221 bye\r\n", End::Close, "", milliseconds(200)});
  for (const auto& report : m_worker.CheckAll({64, Target(server->Address(), "10")}))
    EXPECT_EQ(report.result.reason, "Ok");
}

class Pop3Probe : public MailProbe {};
INSTANTIATE_TEST_SUITE_P(Type, Pop3Probe, testing::Values(&Pop3));

TEST_P(Pop3Probe, FallsBackFromApopEvenIfTheServerHangsUp) {
  for (const End end : {End::Close, End::Reset}) {
    const auto server = MakePop3({.timestamp = "<1.2@pop.test>"});
    server->Set("APOP", {"-ERR no\r\n", end});
    EXPECT_EQ(Reason(server->Address()), "Ok");
    server->Set("USER", {"", End::Close});
    EXPECT_EQ(Reason(server->Address()), "POP3: logon: connection closed by the server");
  }
}

class SmtpProbe : public MailProbe {};
INSTANTIATE_TEST_SUITE_P(Type, SmtpProbe, testing::Values(&Smtp));

TEST_P(SmtpProbe, WritesToAddressesBeyondAsciiWhereTheServerTakesThem) {
  const std::string to = "gr\xc3\xbc\xc3\x9f@norvane.test";
  SmtpServer server;
  EXPECT_EQ(m_worker.Check(Target(server.Address(), "20", keys::To, to)).result.reason, "Ok");
  ASSERT_EQ(server.Mails().size(), 1u);
  EXPECT_EQ(server.Mails()[0].to, "<" + to + ">");
  EXPECT_EQ(server.Mails()[0].from, "<watcher@norvane.test> SMTPUTF8");
  SmtpServer ascii({.offersUtf8 = false});
  EXPECT_EQ(m_worker.Check(Target(ascii.Address(), "20", keys::To, to)).result.reason,
            "SMTP: the server does not support SMTPUTF8");
}

}  // namespace
}  // namespace norvane::engine
