#include "engine/probes/SmtpProbe.h"

#include "tests/engine/MailChecks.h"
#include "tests/support/TempFolder.h"

namespace norvane::engine {
namespace {

using namespace tests;
namespace keys = console::engine::keys;
using End = MailAnswer::End;
using Strings = std::vector<std::string>;
using std::chrono::milliseconds;

constexpr auto Type = console::engine::TypeSmtp;

/// The commands, without what stands behind EHLO and HELO, which is this machine's name.
Strings Verbs(const Strings& commands) {
  Strings verbs;
  for (const auto& command : commands) {
    const auto at = command.find("LO ");
    verbs.push_back(at == std::string::npos ? command : command.substr(0, at + 2));
  }
  return verbs;
}

TEST(SmtpProbe, SendsOneMailAsTheServerOffers) {
  const CertificateAuthority authority;
  const auto identity = authority.Issue("another.test");  // nobody promised that it is right
  const std::string from = std::string("MAIL FROM:<") + Sender + ">";
  const std::string to = std::string("RCPT TO:<") + Recipient + ">";
  struct Row {
    const char* name;
    SmtpServer::SmtpOptions options;
    Strings commands;
  };
  const Row rows[] = {
      {"in the clear", {}, {"EHLO", from, to, "DATA", "QUIT"}},
      {"old", {.knowsEhlo = false}, {"EHLO", "HELO", from, to, "DATA", "QUIT"}},
      {"STARTTLS",
       {.common = {.tls = identity}},
       {"EHLO", "STARTTLS", "tls EHLO", "tls " + from, "tls " + to, "tls DATA", "tls QUIT"}},
  };
  for (const milliseconds pace : {milliseconds(0), milliseconds(1)}) {
    CheckerFixture checker;
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (pace.count() > 0 ? ", byte by byte" : ""));
      auto options = row.options;
      options.common.pace = pace;
      SmtpServer server(options);
      EXPECT_EQ(checker.Check(MailTarget(Type, server.Address())).result.reason, "Ok");
      EXPECT_EQ(Verbs(server.WaitForCommands(row.commands.size())), row.commands);
      ASSERT_EQ(server.Mails().size(), 1u);
      EXPECT_EQ(server.Mails()[0].wasSecured, options.common.tls.has_value());
      EXPECT_NE(server.Mails()[0].text.find("\r\nAuto-Submitted: auto-generated\r\n"), std::string::npos);
      EXPECT_NE(server.Mails()[0].text.find("\r\nSubject: Norvane check: SmtpMonitor Of mail\r\n"),
                std::string::npos);
    }
  }
}

TEST(SmtpProbe, TellsTheStepAndTheReason) {
  CheckerFixture checker;
  ExpectReasons<SmtpServer>(
      {
          {"greeting", "", {"554 no service\r\n", End::Close}, "SMTP: greeting refused: 554 no service"},
          {"too busy", "EHLO", {"421 later\r\n", End::Close}, "SMTP: EHLO refused: 421 later"},
          {"sender", "MAIL", {"550 who?\r\n"}, "SMTP: MAIL FROM refused: 550 who?"},
          {"recipient",
           "RCPT",
           {"550-5.1.1 no\r\n550 5.1.1 such user\r\n"},
           "SMTP: RCPT TO refused: 550 5.1.1 no 5.1.1 such user"},
          {"escapes", "RCPT", {"550 \x1b[2J\xff\r\n"}, "SMTP: RCPT TO refused: 550 ?[2J?"},
          {"forwarded", "RCPT", {"251 will forward\r\n"}, "Ok"},
          {"no text", "DATA", {"250 fine\r\n"}, "SMTP: DATA refused: 250 fine"},
          {"text", ".", {"552 too much\r\n"}, "SMTP: message refused: 552 too much"},
          {"code alone", ".", {"250\r\n"}, "Ok"},
          {"goes at once", ".", {"250 taken\r\n", End::Reset}, "Ok"},
          {"late QUIT", "QUIT", {"", End::Silence}, "Ok"},
          {"endless banner",
           "",
           {"", End::Stay, "220-welcome\r\n"},
           "SMTP: greeting: more than 64 KiB received"},
          {"half a code", "MAIL", {"25 fine\r\n"}, "the reply is not SMTP"},
          {"odd mark", "MAIL", {"250+fine\r\n"}, "the reply is not SMTP"},
      },
      Type, [] { return std::make_unique<SmtpServer>(); }, checker);
}

TEST(SmtpProbe, SurvivesHostileServersAtEachStep) {
  CheckerFixture checker;
  const std::pair<const char*, const char*> steps[] = {{"", "greeting"},      {"EHLO", "EHLO"},
                                                       {"MAIL", "MAIL FROM"}, {"RCPT", "RCPT TO"},
                                                       {"DATA", "DATA"},      {".", "message"}};
  for (const auto& [point, step] : steps) {
    SCOPED_TRACE(step);
    ExpectReasons<SmtpServer>(
        HostileAnswers(point, step, "SMTP"), Type, [] { return std::make_unique<SmtpServer>(); }, checker);
  }
}

TEST(SmtpProbe, UsesTlsByItsPromises) {
  const TempFolder folder;
  const CertificateAuthority authority;
  CheckerOptions options;
  options.caFile = authority.WriteTo(folder / "ca.pem");
  CheckerFixture checker(options);
  struct Row {
    const char* name;
    SmtpServer::SmtpOptions server;
    std::string scheme;
    std::optional<MailAnswer> answer;  // to STARTTLS
    std::string reason;
  };
  const MailServer::Options fromStart{authority.Issue("127.0.0.1"), true};
  const MailServer::Options expired{authority.Issue("127.0.0.1", -10, -1), true};
  const MailServer::Options upgrade{authority.Issue("127.0.0.1")};
  const Row rows[] = {
      {"promised", {fromStart}, "smtps://", {}, "Ok"},
      {"promise broken", {expired}, "smtps://", {}, "certificate of 127.0.0.1 expired"},
      {"offer withdrawn", {upgrade}, "", MailAnswer{"454 not now\r\n"}, "Ok"},
      {"offer broken",
       {upgrade},
       "",
       MailAnswer{"220 go\r\n", End::Close},
       "TLS with 127.0.0.1 failed: connection "},
      {"more than the answer",
       {upgrade},
       "",
       MailAnswer{"220 go\r\n250 injected\r\n", End::Tls},
       "the server said more before TLS than it was asked"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    SmtpServer server(row.server);
    if (row.answer) server.Set("STARTTLS", *row.answer);
    const auto reason = checker.Check(MailTarget(Type, row.scheme + server.Address())).result.reason;
    EXPECT_TRUE(reason.starts_with(row.reason)) << reason;  // closed or reset, as the system sees it
    EXPECT_EQ(server.Mails().size(), row.reason == "Ok" ? 1u : 0u);
  }
}

TEST(SmtpProbe, RefusesAddressesThatWouldBreakOut) {
  SmtpServer server;
  SmtpServer ascii({.offersUtf8 = false});
  const auto target = MailTarget(Type, server.Address());
  struct Row {
    const char* name;
    std::string_view key;
    std::string value;
    std::string reason;
  };
  const Row rows[] = {
      {"none", keys::From, "", "SMTP: the sender is missing"},
      {"line end", keys::To, "a@b.test\r\nRSET", "SMTP: the recipient holds characters that cannot be sent"},
      {"second header", keys::From, "a@b.test\nBcc: c@d.test",
       "SMTP: the sender holds characters that cannot be sent"},
      {"parameter", keys::From, "a@b.test> SIZE=1", "SMTP: the sender is not a bare mail address"},
      {"with a name", keys::To, "Me <a@b.test>", "SMTP: the recipient is not a bare mail address"},
      {"address", keys::Parameter, "smtp://", "not a valid SMTP server address"},
      {"blanks around", keys::To, " tester@norvane.test ", "Ok"},
      {"beyond ASCII", keys::To, "gr\xc3\xbc\xc3\x9f@norvane.test", "Ok"},
  };
  CheckerFixture checker;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(checker.Check(With(target, row.key, row.value)).result.reason, row.reason);
  }
  const auto mails = server.Mails();
  ASSERT_EQ(mails.size(), 2u);
  EXPECT_EQ(mails[0].to, "<tester@norvane.test>");
  EXPECT_EQ(mails[1].from, "<watcher@norvane.test> SMTPUTF8");
  EXPECT_EQ(
      checker.Check(With(MailTarget(Type, ascii.Address()), keys::To, "gr\xc3\xbc\xc3\x9f@norvane.test"))
          .result.reason,
      "SMTP: the server takes no mail addresses beyond ASCII");
}

TEST(SmtpProbe, ManyAtOnceWaitForNobodysFarewell) {
  constexpr std::size_t count = 64;
  SmtpServer server;
  server.Set("QUIT", {"221 bye\r\n", End::Close, "", milliseconds(200)});
  CheckerFixture checker;
  for (const auto& report :
       checker.CheckAll(std::vector<CheckTarget>(count, MailTarget(Type, server.Address(), "10"))))
    EXPECT_EQ(report.result.reason, "Ok");
  EXPECT_EQ(server.Mails().size(), count);
}

}  // namespace
}  // namespace norvane::engine
