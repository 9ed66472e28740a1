#include "engine/mail/MailArguments.h"
#include "engine/mail/MailTransfer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <vector>

#include "engine/mail/MailConnections.h"
#include "loopback/Certificates.h"
#include "loopback/MailServers.h"
#include "loopback/TempFolder.h"
#include "platform/Base64.h"
#include "tests/engine/ProbeFixture.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using loopback::MailAnswer;
using loopback::MailServer;
using loopback::SmtpServer;
using End = MailAnswer::End;
using Entries = std::vector<platform::IniFile::Entry>;
using Strings = std::vector<std::string>;
using tests::Rows;
using Blame = SendFailure::Blame;
using std::chrono::milliseconds;

const std::string User = "watcher", Password = "open sesame 7";

/// Transfers mails in a loop whose time the test can push forward.
class MailTransferTest : public testing::Test, private ProbeClient {
 protected:
  MailTransferTest() {
    std::ofstream(m_folder / "pw") << Password << '\n';
    std::filesystem::permissions(m_folder / "pw", std::filesystem::perms::owner_read);
  }
  void RunUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i)
      m_loop.RunOnce(milliseconds(10));
    ASSERT_TRUE(condition());
  }
  /// Empty if the server has accepted the mail, else why not.
  std::string Send(const std::string& server, MailConnections* connections = nullptr) {
    m_outcome.reset();
    m_probe = MakeMailTransfer(
        m_probes.context, {server, "me@a.test", AddressesIn(m_to), "Hello", m_body, "7f", m_goesInTheClear},
        std::chrono::seconds(20), *this, connections);
    m_probe->Begin();
    RunUntil([this] { return m_outcome.has_value(); });
    return m_outcome.value_or("no end");
  }
  void Ended(std::string failure) noexcept override {
    if (!failure.empty()) m_failure = m_probe->WhatFailed();
    m_outcome = std::move(failure);
    m_probe.reset();
  }
  void Broke(const std::string& why) override { Ended(why); }

  const loopback::TempFolder m_folder;
  const loopback::CertificateAuthority m_authority;
  milliseconds m_ahead{0};
  EventLoop m_loop{[this] { return std::chrono::steady_clock::now() + m_ahead; }};
  tests::ProbeFixture m_probes{m_loop, 0, m_authority.WriteTo(m_folder / "ca.pem")};
  std::string m_to = "you@b.test", m_body;
  bool m_goesInTheClear = false;
  std::unique_ptr<Probe> m_probe;
  std::optional<std::string> m_outcome;
  SendFailure m_failure;
};

std::size_t CountOf(const MailServer& server, std::string_view verb) {
  const auto commands = server.Commands();
  return static_cast<std::size_t>(
      std::ranges::count_if(commands, [&](const auto& command) { return command.starts_with(verb); }));
}

TEST_F(MailTransferTest, LogsOnAsOfferedAndPromised) {
  const auto trusted = m_authority.Issue("127.0.0.1");
  const auto strange = loopback::CertificateAuthority().Issue("127.0.0.1");
  const std::string wrong = "SMTP: AUTH refused: 535 5.7.8 no such user or password";
  const std::string plain = platform::EncodeBase64('\0' + User + '\0' + Password);
  const Entries account = {{"user", User}, {"password_file", "pw"}};
  const Entries byTls = {{"user", User}, {"password_file", "pw"}, {"security", "tls"}};
  const Entries promised = {{"security", "starttls"}};
  const auto offers = [&](const char* mechanisms, const char* password = Password.c_str()) {
    return SmtpServer::SmtpOptions{
        .common = {.tls = trusted}, .mechanisms = mechanisms, .user = User, .password = password};
  };
  const auto changed = [](SmtpServer::SmtpOptions options, auto change) {
    change(options);
    return options;
  };
  struct Row {
    const char* name;
    SmtpServer::SmtpOptions options;
    Entries settings;
    std::string outcome;
    std::string command;  // said under TLS; with an "!" in front, never said
    const char* point = nullptr;
    MailAnswer answer{};
  };
  const auto all = offers("LOGIN PLAIN SCRAM-SHA-256");
  const auto inTheClear = changed(all, [](auto& options) { options.common.tls.reset(); });
  const auto ofStranger = changed(all, [&](auto& options) { options.common.tls = strange; });
  const auto fromStart = changed(all, [](auto& options) { options.common.isTlsFromStart = true; });
  const std::string noOffer = "SMTP: the server does not offer STARTTLS";
  const Row rows[] = {
      {"no settings", ofStranger, {}, "", "!AUTH"},
      {"SCRAM", all, account, "", "AUTH SCRAM-SHA-256 "},
      {"PLAIN", offers("LOGIN PLAIN"), account, "", "AUTH PLAIN " + plain},
      {"LOGIN", offers("LOGIN"), account, "", "AUTH LOGIN"},
      {"TLS", fromStart, byTls, "", "AUTH SCRAM-SHA-256 "},
      {"SCRAM, wrong password", offers("SCRAM-SHA-256", "x"), account, wrong, "AUTH"},
      {"PLAIN, wrong password", offers("PLAIN", "x"), account, wrong, "AUTH"},
      {"LOGIN, wrong password", offers("LOGIN", "x"), account, wrong, "AUTH"},
      {"forged", changed(all, [](auto& options) { options.forgesSignature = true; }), account,
       "SMTP: AUTH: the server's signature is wrong", "!MAIL"},
      {"no proof",
       all,
       account,
       "SMTP: AUTH: the server did not prove that it knows the password",
       "!MAIL",
       "AUTH",
       {"235 welcome\r\n"}},
      {"no SCRAM", all, account, "SMTP: AUTH: the challenge is not SCRAM", "!MAIL", "AUTH", {"334 eA==\r\n"}},
      {"no base64", all, account, "the reply is not SMTP", "!MAIL", "AUTH", {"334 *\r\n"}},
      {"bare challenge",
       all,
       account,
       "SMTP: AUTH: the challenge is not SCRAM",
       "!MAIL",
       "AUTH",
       {"334\r\n"}},
      {"endless LOGIN",
       offers("LOGIN"),
       account,
       "SMTP: AUTH: the server asks for more than the mechanism knows",
       "!MAIL",
       "=",
       {"334 eA==\r\n"}},
      {"echo",
       offers("PLAIN"),
       account,
       "SMTP: AUTH refused: 535 no ***, nor ***",
       "AUTH",
       "AUTH",
       {"535 no " + plain + ", nor OPEN SESAME 7\r\n"}},
      {"temporary", all, account, "SMTP: AUTH refused: 454 later", "!MAIL", "AUTH", {"454 later\r\n"}},
      {"none offered", offers(""), account, "SMTP: the server does not offer AUTH", "!MAIL"},
      {"offered before TLS", changed(all, [](auto& options) { options.hidesThemInTls = true; }), account,
       "SMTP: the server does not offer AUTH", "!AUTH"},
      {"none known", offers("XOAUTH2 GSSAPI"), account,
       "SMTP: no known way of AUTH is offered: XOAUTH2 GSSAPI", "!AUTH"},
      {"no TLS", inTheClear, account, noOffer, "!AUTH"},
      {"no TLS, no user", inTheClear, promised, noOffer, "!MAIL"},
      {"TLS, no user", all, promised, "", "!AUTH"},
      {"TLS refused", all, promised, "SMTP: STARTTLS refused: 454 no", "!MAIL", "STARTTLS", {"454 no\r\n"}},
      {"stranger", ofStranger, account,
       "certificate of 127.0.0.1 not trusted: unable to get local issuer certificate", "!AUTH"},
      {"old", changed(all, [](auto& options) { options.knowsEhlo = false; }), account,
       "SMTP: EHLO refused: 500 unknown command", "!AUTH"},
      {"bad settings",
       all,
       {{"security", "ssl"}},
       "SMTP: [mail 127.0.0.1] security=ssl is not starttls, tls or opportunistic",
       "!EHLO"},
      {"no password",
       all,
       {{"user", User}, {"password_file", "none"}},
       "SMTP: password_file " + (m_folder / "none") + ": No such file or directory",
       "!AUTH"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    SmtpServer server(row.options);
    if (row.point != nullptr) server.Set(row.point, row.answer);
    m_probes.mailServers = {};
    m_probes.mailServers.Add({"mail 127.0.0.1", row.settings}, m_folder.Path());
    EXPECT_EQ(Send(server.Address()), row.outcome);
    EXPECT_EQ(server.Mails().size(), row.outcome.empty() ? 1u : 0u);
    EXPECT_EQ(CountOf(server, "AUTH"), 0u) << "in the clear";
    const bool isSaid = !row.command.starts_with('!');
    EXPECT_EQ(CountOf(server, "tls " + row.command.substr(isSaid ? 0 : 1)), isSaid ? 1u : 0u);
  }
}

TEST_F(MailTransferTest, SaysWhoseFaultItIs) {
  const Entries promised = {{"security", "starttls"}};
  struct Row {
    const char* point;
    MailAnswer answer;
    std::string outcome;
    Blame blame;
    bool mayHaveArrived = false;
    Entries settings{};
    int maxSize = 0;
    std::string to = "you@b.test";
  };
  const Row rows[] = {
      {"", {"554 no\r\n"}, "SMTP: greeting refused: 554 no", Blame::Server},
      {"", {"", End::Close}, "SMTP: greeting: connection closed by the server", Blame::Server},
      {"EHLO", {"500 what\r\n"}, "SMTP: EHLO refused: 500 what", Blame::Server, false, promised},
      {"MAIL", {"451 later\r\n"}, "SMTP: MAIL FROM refused: 451 later", Blame::Server},
      {"MAIL", {"550 who?\r\n"}, "SMTP: MAIL FROM refused: 550 who?", Blame::Recipient},
      {"MAIL", {"552 large\r\n"}, "SMTP: MAIL FROM refused: 552 large", Blame::Message},
      {"RCPT", {"550 unknown\r\n"}, "SMTP: RCPT TO refused: 550 unknown", Blame::Recipient},
      {"RCPT", {"451 greylisted\r\n"}, "SMTP: RCPT TO refused: 451 greylisted", Blame::Recipient},
      {"RCPT", {"421 closing\r\n"}, "SMTP: RCPT TO refused: 421 closing", Blame::Server},
      {"DATA", {"554 no\r\n"}, "SMTP: DATA refused: 554 no", Blame::Message},
      {".", {"554 spam\r\n"}, "SMTP: message refused: 554 spam", Blame::Message},
      {".", {"250-checking\r\n554 spam\r\n"}, "SMTP: message refused: 554 checking spam", Blame::Message},
      {".", {"452 full\r\n"}, "SMTP: message refused: 452 full", Blame::Recipient},
      {".", {"", End::Close}, "SMTP: message: connection closed by the server", Blame::Server, true},
      {".", {"what\r\n"}, "the reply is not SMTP", Blame::Server, true},
      {"?", {}, "SMTP: message of ", Blame::Message, false, {}, 100},
      {"?", {}, "SMTP: the recipient is not a bare mail address", Blame::Recipient, false, {}, 0, "a b"},
      {"?", {}, "SMTP: [mail 127.0.0.1] security=x", Blame::Server, false, {{"security", "x"}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.outcome);
    SmtpServer server({.maxSize = row.maxSize});
    server.Set(row.point, row.answer);
    m_probes.mailServers = {};
    if (!row.settings.empty()) m_probes.mailServers.Add({"mail 127.0.0.1", row.settings}, m_folder.Path());
    m_to = row.to;
    const auto outcome = Send(server.Address());
    EXPECT_TRUE(outcome.starts_with(row.outcome)) << outcome;
    EXPECT_EQ(m_failure.blame, row.blame);
    EXPECT_EQ(m_failure.mayHaveArrived, row.mayHaveArrived);
  }
}

TEST_F(MailTransferTest, GoesToThoseOfSeveralWhomTheServerAccepts) {
  const std::string refused = "SMTP: RCPT TO refused: ";
  struct Row {
    std::string to, got, outcome, left;
    bool offersUtf8 = true;
  };
  const Row rows[] = {
      {"a@x,b@x", "<a@x><b@x>", "", ""},
      {" a@x ; b@x,, a@x;", "<a@x><b@x>", "", ""},
      {"\"a,b\"@x,c@x", "<\"a,b\"@x><c@x>", "", ""},
      {"a@x,gone@x,later@x,b@x", "<a@x><b@x>", refused + "550 no such user (gone@x), the others got it",
       "gone@x,later@x"},
      {"later@x,a@x", "<a@x>", refused + "451 greylisted (later@x), the others got it", "later@x"},
      {"gone@x,later@x", "", refused + "550 no such user (gone@x)", ""},
      {"a b,a@x", "<a@x>", "SMTP: the recipient is not a bare mail address (a b), the others got it", "a b"},
      {"\xc3\xa4@x,a@x", "<a@x>",
       "SMTP: the server does not support SMTPUTF8 (\xc3\xa4@x), the others got it", "\xc3\xa4@x", false},
      {" ; ", "", "SMTP: the recipient is missing", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.to);
    SmtpServer server({.offersUtf8 = row.offersUtf8,
                       .refused = {{"<gone@x>", "550 no such user"}, {"<later@x>", "451 greylisted"}}});
    m_to = row.to;
    m_failure = {};
    EXPECT_EQ(Send(server.Address()), row.outcome);
    const auto mails = server.Mails();
    ASSERT_EQ(mails.size(), row.got.empty() ? 0u : 1u);
    EXPECT_EQ(mails.empty() ? "" : mails[0].to, row.got);
    EXPECT_EQ(m_failure.left, row.left);
  }
}

TEST_F(MailTransferTest, GoesInTheClearIfTlsFailsThatNobodyPromised) {
  const Rows<bool, Entries, std::size_t> rows = {
      {true, {{"security", "opportunistic"}}, 1}, {false, {}, 0}, {true, {{"security", "starttls"}}, 0}};
  for (const auto& [goesInTheClear, settings, mails] : rows) {
    for (const MailAnswer& answer : {MailAnswer{"220 go\r\n", End::Close}, {"220 go\r\nno TLS\r\n"}}) {
      SmtpServer server({.common = {.tls = m_authority.Issue("127.0.0.1")}});
      server.Set("STARTTLS", answer);
      m_probes.mailServers = {};
      m_probes.mailServers.Add({"mail 127.0.0.1", settings}, m_folder.Path());
      m_goesInTheClear = goesInTheClear;
      EXPECT_EQ(Send(server.Address()).empty(), mails == 1);
      EXPECT_EQ(server.Mails().size(), mails);
      EXPECT_EQ(CountOf(server, "STARTTLS"), 1u);
    }
  }
}

TEST_F(MailTransferTest, KeepsCommandsShort) {
  const std::string password(480, 'x');
  std::filesystem::remove(m_folder / "pw");
  std::ofstream(m_folder / "pw") << password;
  std::filesystem::permissions(m_folder / "pw", std::filesystem::perms::owner_read);
  m_probes.mailServers.Add({"mail 127.0.0.1", {{"user", User}, {"password_file", "pw"}}}, m_folder.Path());
  SmtpServer server({.common = {.tls = m_authority.Issue("127.0.0.1")},
                     .mechanisms = "PLAIN",
                     .user = User,
                     .password = password});
  EXPECT_EQ(Send(server.Address()), "");
  const auto commands = server.Commands();
  EXPECT_NE(std::ranges::find(commands, "tls AUTH PLAIN"), commands.end());
}

TEST_F(MailTransferTest, MarksTheMailByItsIdentity) {
  SmtpServer server;
  EXPECT_EQ(Send(server.Address()), "");
  ASSERT_EQ(server.Mails().size(), 1u);
  EXPECT_NE(server.Mails()[0].text.find("\r\nMessage-ID: <7f@"), std::string::npos);
}

TEST_F(MailTransferTest, SharesAConnectionWithinItsLimits) {
  struct Row {
    const char* name;
    SmtpServer::SmtpOptions options;
    std::size_t mails, connections;
  };
  const Row rows[] = {
      {"good", {}, 3, 1},
      {"within TLS", {.common = {.tls = m_authority.Issue("127.0.0.1")}}, 3, 1},
      {"many", {}, 101, 2},
      {"server's limit", {.limits = "RCPTMAX=9 MAILMAX=2"}, 3, 2},
      {"server refuses more", {.maxMails = 2}, 5, 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    SmtpServer server(row.options);
    const auto greetings = row.options.common.tls ? "tls EHLO" : "EHLO";
    {
      MailConnections connections(m_loop);
      for (std::size_t i = 0; i < row.mails; ++i)
        EXPECT_EQ(Send(server.Address(), &connections), "");
    }
    EXPECT_EQ(server.Mails().size(), row.mails);
    EXPECT_EQ(CountOf(server, greetings), row.connections);
  }
  SmtpServer chatty;
  chatty.Set(".", {"250 accepted\r\n250 queued\r\n"});
  SmtpServer small({.maxSize = 2000});
  MailConnections connections(m_loop);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Send(chatty.Address(), &connections), "") << "reads what was said of another mail";
    m_body.assign(i == 1 ? 2000 : 10, 'x');
    EXPECT_EQ(Send(small.Address(), &connections).empty(), i != 1);
    m_body.clear();
  }
  EXPECT_EQ(CountOf(chatty, "EHLO"), 3u);
  EXPECT_EQ(CountOf(small, "DATA"), 2u);
  SmtpServer alone;
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(Send(alone.Address()), "");
  EXPECT_EQ(CountOf(alone, "EHLO"), 2u) << "without connections to share";
}

TEST_F(MailTransferTest, TakesLeaveOfAnIdleConnection) {
  SmtpServer server;
  MailConnections connections(m_loop);
  EXPECT_EQ(Send(server.Address(), &connections), "");
  EXPECT_EQ(CountOf(server, "QUIT"), 0u);
  m_ahead += MailConnections::MaxIdle;
  m_loop.RunOnce(milliseconds(0));
  EXPECT_EQ(server.WaitForCommands(5).back(), "QUIT");
  EXPECT_EQ(Send(server.Address(), &connections), "");
  EXPECT_EQ(CountOf(server, "EHLO"), 2u);
}

TEST_F(MailTransferTest, ReplacesAKeptConnectionUntilTheMessageIsSent) {
  struct Row {
    const char* point;
    MailAnswer answer;  // to the second mail, on any connection
    std::string outcome;
    std::size_t connections;
  };
  const Row rows[] = {
      {"MAIL", {"", End::Close}, "SMTP: MAIL FROM: connection closed by the server", 2},
      {"MAIL", {"550 who?\r\n"}, "SMTP: MAIL FROM refused: 550 who?", 2},
      {"RCPT", {"452 too many\r\n"}, "SMTP: RCPT TO refused: 452 too many", 2},
      {"RCPT", {"550 unknown\r\n"}, "SMTP: RCPT TO refused: 550 unknown", 1},
      {"DATA", {"", End::Reset}, "SMTP: DATA: connection reset by the server", 2},
      {".", {"", End::Close}, "SMTP: message: connection closed by the server", 1},
      {".", {"451 later\r\n"}, "SMTP: message refused: 451 later", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.outcome);
    SmtpServer server;
    MailConnections connections(m_loop);
    EXPECT_EQ(Send(server.Address(), &connections), "");
    server.Set(row.point, row.answer);
    EXPECT_EQ(Send(server.Address(), &connections), row.outcome);
    EXPECT_EQ(CountOf(server, "EHLO"), row.connections);
  }
  SmtpServer closing;
  closing.Set(".", {"250 fine\r\n", End::Close});
  MailConnections connections(m_loop);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(Send(closing.Address(), &connections), "") << "closed while it was kept";
}

}  // namespace
}  // namespace norvane::engine
