#include "engine/NotifyMode.h"

#include <gtest/gtest.h>

namespace norvane::engine {
namespace {

using Form = NotifyMode::Form;

TEST(NotifyMode, TakesEveryText) {
  struct Row {
    const char* text;
    Form form;
    const char* server = "";
    const char* sender = "";
  };
  const Row rows[] = {
      {"", Form::None},
      {"SMTP://mailhost;a@b", Form::Mail, "mailhost", "a@b"},
      {"smtp://MAILHOST:25;a@b;c", Form::Mail, "MAILHOST:25", "a@b;c"},
      {"SMTP://;a@b", Form::Mail, "", "a@b"},
      {"SMTP://mailhost", Form::Mail},
      {"SMTP://", Form::Mail},
      {"TEL://", Form::Phone},
      {"tel://555", Form::Phone},
      {"http://g/x?msg=%s&num=%s", Form::InternetCall},
      {"HTTPS://G/X?MSG=%S&NUM=%S", Form::InternetCall},
      {"http://g/x?msg=%s", Form::Unknown},
      {"http://g/x?msg=%25", Form::Unknown},
      {"ftp://g/x?msg=%s&num=%s", Form::Unknown},
      {" TEL://", Form::Unknown},
      {"SMTP:/", Form::Unknown},
      {"%s%s", Form::Unknown},
      {"\xff", Form::Unknown},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto mode = NotifyMode::Parse(row.text);
    EXPECT_EQ(mode.form, row.form);
    EXPECT_EQ(mode.server, row.server);
    EXPECT_EQ(mode.sender, row.sender);
  }
}

TEST(NotifyMode, FillsMessageAndNumberIntoTheCall) {
  struct Row {
    const char* mode;
    const char* message;
    const char* number;
    const char* url;
  };
  const Row rows[] = {
      {"http://g/s.dll?[Call]cmd=11&mode=2&msg=%s&num=%s", "Server down", "+49 (555)",
       "http://g/s.dll?[Call]cmd=11&mode=2&msg=Server%20down&num=%2B49%20%28555%29"},
      {"http://g/%S/%s?x=%s", "%s", "&", "http://g/%25s/%26?x=%s"},
      {"http://g/?%s%s", "", "", "http://g/?"},
      {"http://g/?%s%s", "aZ09-._~", "\xc3\xbc\r\n", "http://g/?aZ09-._~%C3%BC%0D%0A"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.mode);
    EXPECT_EQ(InternetCallUrl(NotifyMode::Parse(row.mode), row.message, row.number), row.url);
  }
}

}  // namespace
}  // namespace norvane::engine
