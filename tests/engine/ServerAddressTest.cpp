#include "engine/ServerAddress.h"

#include <gtest/gtest.h>

namespace norvane::engine {
namespace {

TEST(ServerAddress, ReadsWhatUsersType) {
  struct Row {
    const char* text;
    const char* host;  // empty: no address
    int port = 25;
    bool isSecure = false;
  };
  const std::string longName(300, 'a');
  const Row rows[] = {
      {"mail.test", "mail.test"},
      {"  mail.test ", "mail.test"},
      {"Mail-1_x.test.", "Mail-1_x.test"},
      {"mail.test:2525", "mail.test", 2525},
      {"192.0.2.1", "192.0.2.1"},
      {"192.0.2.1:65535", "192.0.2.1", 65535},
      {"[2001:db8::1]", "2001:db8::1"},
      {"[2001:db8::1]:26", "2001:db8::1", 26},
      {"2001:db8::1", "2001:db8::1"},
      {"smtp://mail.test/", "mail.test"},
      {"SMTPS://mail.test", "mail.test", 465, true},
      {"smtps://[::1]:466", "::1", 466, true},
      {"", ""},
      {"   ", ""},
      {":25", ""},
      {".", ""},
      {"mail.test:", ""},
      {"mail.test:0", ""},
      {"mail.test:65536", ""},
      {"mail.test:25x", ""},
      {"mail.test:-1", ""},
      {"mail test", ""},
      {"mail.test\r\nX", ""},
      {"me@mail.test", ""},
      {"mail.test/inbox", ""},
      {"http://mail.test", ""},
      {"://mail.test", ""},
      {"smtp://", ""},
      {"[2001:db8::1", ""},
      {"[mail.test]", ""},
      {"[]", ""},
      {"[::1]25", ""},
      {longName.c_str(), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto address = ServerAddress::Parse(row.text, {"smtp", 25, "smtps", 465});
    ASSERT_EQ(address.has_value(), *row.host != '\0');
    if (!address) continue;
    EXPECT_EQ(address->host, row.host);
    EXPECT_EQ(address->port, row.port);
    EXPECT_EQ(address->isSecure, row.isSecure);
  }
}

TEST(ServerAddress, NothingHidesBehindAZero) {
  for (const std::string_view text : {std::string_view("::1\0x", 5), std::string_view("[::1\0x]:25", 10)})
    EXPECT_FALSE(ServerAddress::Parse(text, {"smtp", 25, "smtps", 465}));
}

}  // namespace
}  // namespace norvane::engine
