#include "formats/NotifyMode.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::formats {
namespace {

using tests::Rows;

TEST(NotifyMode, ParsesEveryText) {
  using Form = NotifyMode::Form;
  for (const auto& [text, form, server, sender] : Rows<const char*, Form, const char*, const char*>{
           {"", Form::None, "", ""},
           {"SMTP://mailhost;a@b", Form::Mail, "mailhost", "a@b"},
           {"smtp://MAILHOST:25;a@b;c", Form::Mail, "MAILHOST:25", "a@b;c"},
           {"SMTP://;a@b", Form::Mail, "", "a@b"},
           {"SMTP://mailhost", Form::Mail, "", ""},
           {"TEL://", Form::Phone, "", ""},
           {"tel://555", Form::Phone, "", ""},
           {"http://g/x?msg=%s&num=%s", Form::InternetCall, "", ""},
           {"HTTPS://G/X?MSG=%S&NUM=%S", Form::InternetCall, "", ""},
       }) {
    SCOPED_TRACE(text);
    const auto mode = NotifyMode::Parse(text);
    EXPECT_EQ(mode.form, form);
    EXPECT_EQ(mode.server, server);
    EXPECT_EQ(mode.sender, sender);
  }
  for (const char* text : {"http://g/x?msg=%s", "http://g/x?msg=%25", "ftp://g/x?msg=%s&num=%s", " TEL://",
                           "SMTP:/", "%s%s", "\xff"})
    EXPECT_EQ(NotifyMode::Parse(text).form, Form::Unknown) << text;
}

}  // namespace
}  // namespace norvane::formats
