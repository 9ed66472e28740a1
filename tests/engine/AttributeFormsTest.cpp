// The attributes whose text has a form of its own: numbers, notification mode, server address, success flag.

#include <gtest/gtest.h>

#include "engine/checks/PageFailure.h"
#include "engine/model/CheckTimes.h"
#include "engine/net/ServerAddress.h"
#include "engine/notify/InternetCallUrl.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace keys = console::engine::keys;
using formats::NotifyMode;
using tests::Rows;

TEST(CheckTimes, WhatIsNoNumberActsAsTheDefaultAndWhatIsTooFarAsTheLimit) {
  for (const auto& [interval, timeout, milliseconds, remarks] :
       Rows<std::string, std::string, std::pair<std::int64_t, std::int64_t>, int>{
           {"60", "30", {60000, 30000}, 0},
           {" 2.5 ", "1e1", {2500, 10000}, 0},
           {"0.5", "0", {500, 30000}, 0},
           {"", "", {60000, 30000}, 2},
           {"0", "-1", {60000, 30000}, 2},
           {"2x", "3601", {60000, 3600000}, 2},
           {"nan", "5", {60000, 5000}, 1},
           {"1e300", "0x10", {31 * 86400000LL, 30000}, 2},
           {"0.1", "0.01", {500, 100}, 2},
       }) {
    SCOPED_TRACE(interval + " / " + timeout);
    Attributes attributes;
    attributes.Set(keys::Interval, interval);
    attributes.Set(keys::Timeout, timeout);
    const auto times = CheckTimes::Of(attributes);
    EXPECT_EQ(times.interval.count(), milliseconds.first);
    EXPECT_EQ(times.timeout.count(), milliseconds.second);
    EXPECT_EQ(times.remark.find(" is \"") != std::string::npos, remarks > 0);
    EXPECT_EQ(times.remark.find("; ") != std::string::npos, remarks == 2);
  }
}

TEST(CheckTimes, ARemarkQuotesWholeCharacters) {
  Attributes attributes = NewMonitorAttributes();
  attributes.Set(keys::Timeout, std::string(39, 'x') + "\u00fc");
  EXPECT_NE(CheckTimes::Of(attributes).remark.find(" is \"" + std::string(39, 'x') + "\","),
            std::string::npos);
}

TEST(NotifyMode, FillsMessageAndNumberIntoTheCall) {
  for (const auto& [mode, message, number, url] : Rows<const char*, const char*, const char*, const char*>{
           {"http://g/?[Call]cmd=11&msg=%s&num=%s", "Server down", "+49 (555)",
            "http://g/?[Call]cmd=11&msg=Server%20down&num=%2B49%20%28555%29"},
           {"http://g/%S/%s?x=%s", "%s", "&", "http://g/%25s/%26?x=%s"},
           {"http://g/?%s%s", "aZ09-._~", "\xc3\xbc\r\n", "http://g/?aZ09-._~%C3%BC%0D%0A"},
       })
    EXPECT_EQ(InternetCallUrl(NotifyMode::Parse(mode), message, number), url);
}

TEST(ServerAddress, ReadsWhatUsersType) {
  const ServerSchemes smtp{"smtp", 25, "smtps", 465};
  for (const auto& [text, host, port, isSecure] : Rows<const char*, const char*, int, bool>{
           {"  mail.test ", "mail.test", 25, false},
           {"Mail-1_x.test.", "Mail-1_x.test", 25, false},
           {"mail.test:2525", "mail.test", 2525, false},
           {"192.0.2.1:65535", "192.0.2.1", 65535, false},
           {"[2001:db8::1]", "2001:db8::1", 25, false},
           {"[2001:db8::1]:26", "2001:db8::1", 26, false},
           {"2001:db8::1", "2001:db8::1", 25, false},
           {"smtp://mail.test/", "mail.test", 25, false},
           {"SMTPS://mail.test", "mail.test", 465, true},
           {"smtps://[::1]:466", "::1", 466, true},
       }) {
    SCOPED_TRACE(text);
    const auto address = ServerAddress::Parse(text, smtp);
    ASSERT_TRUE(address);
    EXPECT_EQ(address->host, host);
    EXPECT_EQ(address->port, port);
    EXPECT_EQ(address->isSecure, isSecure);
  }
  for (const auto& text : std::vector<std::string>{"",
                                                   "   ",
                                                   ":25",
                                                   ".",
                                                   "mail.test:",
                                                   "mail.test:0",
                                                   "mail.test:65536",
                                                   "mail.test:25x",
                                                   "mail.test:-1",
                                                   "mail test",
                                                   "mail.test\r\nX",
                                                   "me@mail.test",
                                                   "mail.test/inbox",
                                                   "http://mail.test",
                                                   "://mail.test",
                                                   "smtp://",
                                                   "[2001:db8::1",
                                                   "[mail.test]",
                                                   "[]",
                                                   "[::1]25",
                                                   std::string("::1\0x", 5),
                                                   std::string("[::1\0x]:25", 10),
                                                   std::string(300, 'a')})
    EXPECT_FALSE(ServerAddress::Parse(text, smtp)) << text;
}

TEST(SuccessFlag, JudgesThePage) {
  const platform::LegacyCharset charset;
  for (const char* flag : {"", "anything", "SIZE", "SIZE:", "STR:", "sum:", " SIZE:9", "SIZE:4", "size:4.0",
                           "SiZe: 4", "STR:age", "SUM:413"})
    EXPECT_EQ(PageFailure(flag, {"page", ""}, charset), "") << flag;
  const char* utf8 = "text/html; charset=utf-8";
  for (const auto& [flag, body, contentType, failure] :
       Rows<const char*, std::string, const char*, const char*>{
           {"SIZE:1180", "page", "", "size 4, expected 1180"},
           {"SIZE:4.5", "page", "", "size 4, expected 4.5"},
           {"SIZE:four", "page", "", "the success flag's size \"four\" is not a number"},
           {"SIZE:\x1b", "page", "", "the success flag's size \"?\" is not a number"},
           {"SIZE:2", "\xc3\xa4\xc3\xb6", utf8, ""},  // characters, not bytes
           {"SIZE:4", "\xc3\xa4\xc3\xb6", "text/html; charset=iso-8859-1", ""},
           {"SIZE:4", "a\r\nb", "", ""},
           {"str:Age", "page", "", "string not found in the page"},
           {"STR: ", "page", "", "string not found in the page"},
           {"STR:STR:", "a STR: b", "", ""},
           {"STR:\xc3\xa4", "\xe4", "text/html; charset=windows-1252", ""},
           {"STR:\xc3\xa4", "\xe4", utf8, "string not found in the page"},
           {"SUM:511", std::string("\xff\xff\x00\x01", 4), "", ""},
           {"SUM:7", "\x05", "", "sum 5, expected 7"},
           {"SUM:-5", "\x05", "", "sum 5, expected -5"},
           {"SUM:0", "", "", ""},
           {"SUM:x", "", "", "the success flag's sum \"x\" is not a number"},
       })
    EXPECT_EQ(PageFailure(flag, {body, contentType}, charset), failure) << flag;
  // Sizes count in the set of the configuration.
  EXPECT_EQ(PageFailure("SIZE:3", {"\xe4\xb8\xad\xe6\x96\x87-", utf8}, platform::LegacyCharset("gbk")),
            "size 5, expected 3");
}

}  // namespace
}  // namespace norvane::engine
