#include "engine/mail/MailText.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using tests::Rows;

const std::string Umlauts = "gr\xc3\xbc\xc3\x9f";

std::string Repeated(const std::string& text, int times) {
  std::string all;
  while (times-- > 0)
    all += text;
  return all;
}

TEST(MailText, EncodesHeaders) {
  const Rows<const char*, std::string, std::string> rows = {
      {"empty", "", ""},
      {"plain", "server down", "server down"},
      {"letters", Umlauts, "=?UTF-8?B?Z3LDvMOf?="},
      {"second header", "a\r\nBcc: b@c.test", "a??Bcc: b@c.test"},
      {"looks encoded", "=?UTF-8?B?eA==?=", "=?UTF-8?B?PT9VVEYtOD9CP2VBPT0/PQ==?="},
      {"no UTF-8", "a\xff", "a?"},
      {"cut between characters", Repeated("\xc3\xbc", 30),
       "=?UTF-8?B?" + Repeated("w7zDvMO8", 6) + "w7w=?=\r\n =?UTF-8?B?" + Repeated("w7zDvMO8", 3) +
           "w7zDvA==?="},
  };
  for (const auto& [name, text, header] : rows)
    EXPECT_EQ(HeaderText("Subject", text), header) << name;
}

TEST(MailText, NoLineIsTooLong) {
  const auto header = "Subject: " + HeaderText("Subject", std::string(280, 'x')) + "\r\n";
  for (std::size_t from = 0, end = 0; from < header.size(); from = end + 2) {
    end = header.find("\r\n", from);
    EXPECT_LE(end - from, 76u);
  }
}

TEST(MailText, MakesAWholeMessage) {
  const std::chrono::system_clock::time_point date{std::chrono::seconds(1709251199)};
  const std::string headers =
      "Date: Thu, 29 Feb 2024 23:59:59 +0000\r\n"
      "From: <from@a.test>\r\n"
      "To: <to@b.test>\r\n"
      "Subject: =?UTF-8?B?Z3LDvMOf?=\r\n"
      "Message-ID: <7f@[127.0.0.1]>\r\n"
      "Auto-Submitted: auto-generated\r\n"
      "MIME-Version: 1.0\r\n"
      "Content-Type: text/plain; charset=utf-8\r\n"
      "Content-Transfer-Encoding: ";
  for (const auto& [name, body, sent] : Rows<const char*, std::string, std::string>{
           {"plain", "one\ntwo\r\nthree\r", "7bit\r\n\r\none\r\ntwo\r\nthree\r\n"},
           {"empty", "", "7bit\r\n\r\n\r\n"},
           {"letters", Umlauts, "base64\r\n\r\nZ3LDvMOfDQo=\r\n"},
           {"zero", std::string("\0", 1), "base64\r\n\r\nAA0K\r\n"},
           {"long line", std::string(999, 'a'),
            "base64\r\n\r\n" + Repeated(Repeated("YWFh", 19) + "\r\n", 17) + Repeated("YWFh", 10) +
                "DQo=\r\n"},
       }) {
    const Mail mail{"", "from@a.test", {"to@b.test"}, Umlauts, body};
    EXPECT_EQ(MessageText(mail, "[127.0.0.1]", "7f", date), headers + sent) << name;
  }
}

TEST(MailText, DoublesLeadingDots) {
  EXPECT_EQ(DotStuffed("a\r\n.\r\n..b\r\nc.\r\n"), "a\r\n..\r\n...b\r\nc.\r\n.");
}

}  // namespace
}  // namespace norvane::engine
