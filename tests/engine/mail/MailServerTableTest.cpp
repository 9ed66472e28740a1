#include "engine/mail/MailServerTable.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "loopback/TempFolder.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using tests::Rows;
using Section = platform::IniFile::Section;
using Entries = std::vector<platform::IniFile::Entry>;
using Security = MailServerSettings::Security;

const Entries Account = {{"user", "me"}, {"password_file", "pw"}};

TEST(MailServerTable, FindsServersAsModesNameThem) {
  MailServerTable table;
  for (const auto* server : {"Mail.Test", "mail.test:587", "smtps://other.test", "127.0.0.1:25"})
    EXPECT_EQ(table.Add({"Mail " + std::string(server), {{"from", server}}}, "/app"), "");
  EXPECT_EQ(table.Add({"mail MAIL.test", {{"from", "second"}}}, "/app"), "");
  for (const auto& [server, found] : Rows<const char*, const char*>{
           {"mail.test", "Mail.Test"},
           {"MAIL.TEST.", "Mail.Test"},
           {" smtp://mail.test:25/", "Mail.Test"},
           {"smtps://mail.test", "Mail.Test"},
           {"mail.test:587", "mail.test:587"},
           {"other.test:465", "smtps://other.test"},
           {"other.test", ""},
           {"127.0.0.1", "127.0.0.1:25"},
           {"127.0.0.1:26", ""},
           {"mail.test.example", ""},
           {"no server", ""},
       })
    EXPECT_EQ(table.Find(server).from, found) << server;
}

TEST(MailServerTable, NeverGuessesSecurity) {
  const auto with = [](Entries more) {
    more.insert(more.begin(), Account.begin(), Account.end());
    return more;
  };
  const Rows<Entries, Security, std::string> rows = {
      {{}, Security::Opportunistic, ""},
      {Account, Security::StartTls, ""},
      {with({{"Security", "TLS"}}), Security::Tls, ""},
      {{{"security", "starttls"}}, Security::StartTls, ""},
      {with({{"security", "opportunistic"}}), Security::StartTls,
       "security=opportunistic cannot protect a password"},
      {with({{"security", "ssl"}}), Security::StartTls, "security=ssl is not starttls, tls or opportunistic"},
      {with({{"security", ""}}), Security::StartTls, "security= is not starttls, tls or opportunistic"},
      {{{"securty", "tls"}}, Security::Opportunistic, "unknown key securty"},
      {{{"user", "me"}}, Security::StartTls, "user without password_file"},
      {{{"password_file", "pw"}}, Security::Opportunistic, "password_file without user"},
      {{{"user", ""}, {"password_file", "pw"}}, Security::Opportunistic, "the user is missing"},
      {{{"from", "Me <me@a.test>"}},
       Security::Opportunistic,
       "the address in from is not a bare mail address"},
  };
  for (const auto& [entries, security, wrong] : rows) {
    SCOPED_TRACE(entries.empty() ? "" : entries.back().key + "=" + entries.back().value);
    MailServerTable table;
    const auto whole = wrong.empty() ? "" : "[mail a.test] " + wrong;
    EXPECT_EQ(table.Add({"mail a.test", entries}, "/app"), whole);
    EXPECT_EQ(table.Find("a.test").error, whole);
    EXPECT_EQ(table.Find("a.test").security, security);
  }
  MailServerTable table;
  EXPECT_EQ(table.Add({"mail a b", Account}, "/app"), "[mail a b] names no mail server");
  EXPECT_EQ(table.Add({"mail a.test", Account}, "/app"), "");
  EXPECT_EQ(table.Find("a.test").passwordFile, "/app/pw");
}

TEST(ReadPassword, WantsAFileOfItsOwnersOnly) {
  const loopback::TempFolder folder;
  const std::string usual = "open sesame";
  const auto path = folder / "pw", of = "password_file " + path + ": ";
  const auto read = [&] {
    try {
      return ReadPassword(path);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
  };
  EXPECT_EQ(read(), of + "No such file or directory");
  for (const auto& [text, mode, result] : Rows<std::string, int, std::string>{
           {usual, 0600, usual},
           {usual + "\r\nmore\n", 0400, usual},
           {usual + "\n", 0640, of + "others than its owner have access"},
           {usual + "\n", 0604, of + "others than its owner have access"},
           {"", 0600, of + "the password is missing"},
           {"\n" + usual, 0600, of + "the password is missing"},
           {std::string(2000, 'x'), 0600, of + "the password is too long"},
           {"open\rsesame", 0600, of + "the password contains invalid characters"},
       }) {
    std::filesystem::remove(path);
    std::ofstream(path) << text;
    ::chmod(path.c_str(), static_cast<mode_t>(mode));
    EXPECT_EQ(read(), result);
  }
  std::filesystem::remove(path);
  ::mkfifo(path.c_str(), 0600);
  EXPECT_EQ(read(), of + "not a regular file");
}

}  // namespace
}  // namespace norvane::engine
