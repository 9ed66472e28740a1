#include "platform/PageText.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "loopback/TempFolder.h"
#include "platform/LegacyCharset.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::platform {
namespace {

using loopback::TempFolder;
using tests::Rows;
using tests::WriteFile;

std::string Replacements(int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += "\xef\xbf\xbd";
  return text;
}

TEST(PageText, DecodesByTheContentType) {
  const std::string latin = "0123456789 caf\xe9 \x80";
  const std::string latinText = "0123456789 caf\xc3\xa9 \xe2\x82\xac";
  const Rows<const char*, std::string, std::string> rows = {
      {"text/html; charset=windows-1252", latin, latinText},
      {"text/html;CHARSET=\"Windows-1252\"", latin, latinText},
      {"text/html; x=1 ; charset = cp1252 ; y=2", latin, latinText},
      {"text/html; title=\"a; charset=utf-8\"; charset=cp1252", latin, latinText},
      {"text/html; strict; charset=cp1252", latin, latinText},
      {"text/html; charset=cp1252; charset=utf-8", latin, latinText},
      {"text/html; xcharset=cp1252", "\xe9", Replacements(1)},
      {"text/html; charset=\"cp1252", "\xe9", "\xc3\xa9"},
      {"text/html", "caf\xc3\xa9", "caf\xc3\xa9"},
      {"", "caf\xc3\xa9", "caf\xc3\xa9"},
      {"text/html; charset=", "caf\xc3\xa9", "caf\xc3\xa9"},
      {"text/html; charset=no-such-set", "caf\xc3\xa9", "caf\xc3\xa9"},
      {"text/html; charset=ascii//TRANSLIT", "caf\xc3\xa9", "caf\xc3\xa9"},
      {"text/html; charset=cp1252!", "caf\xc3\xa9", "caf\xc3\xa9"},  // iconv would take it
      {"text/html; charset=!", "caf\xc3\xa9", "caf\xc3\xa9"},
      {"text/html; charset=us-ascii", "a\xff", "a" + Replacements(1)},
      {"text/html; charset=shift_jis", "\x93\xfa\x96{", "\xe6\x97\xa5\xe6\x9c\xac"},
      {"text/html; charset=shift_jis",
       "a\xa0\xff"
       "b\x93",
       "a" + Replacements(2) + "b" + Replacements(1)},
      {"text/html; charset=utf-16le", std::string("a\0\xe9\0", 4), "a\xc3\xa9"},
      {"text/html; charset=iso-2022-jp", "a\x1b$BF|K\\\x1b(Bb",
       "a\xe6\x97\xa5\xe6\x9c\xac"
       "b"},
      {"text/html; charset=iso-2022-cn-ext", "a\x0e", "a" + Replacements(1)},  // a fault behind the last byte
      {"text/html; charset=shift_jis", std::string(5000, '\xff') + "caf\xc3\xa9",
       Replacements(5000) + "caf\xc3\xa9"},             // too many faults for that set
      {"text/html; charset=windows-1258", "xa", "xa"},  // a letter is held back for its accent
      {"text/html; charset=ucs-4le", std::string("\0\0\x11\0", 4), Replacements(4)},
  };
  for (const auto& [contentType, body, text] : rows) {
    SCOPED_TRACE(contentType);
    for (int round = 0; round < 2; ++round)  // the second finds the set known
      EXPECT_EQ(DecodePage(body, contentType), text);
  }
  const std::string odd = "x", japanese = "\x93\xfa", japaneseText = "\xe6\x97\xa5";
  std::string page = odd, text = odd;
  for (int i = 0; i < 40000; ++i) {
    page += japanese;
    text += japaneseText;
  }
  EXPECT_TRUE(DecodePage(page, "text/html; charset=shift_jis") == text) << "a piece ends within a character";
  const std::string switching = "\x1b$BF|K\\\x1b(Bb";
  for (std::size_t before = (64 << 10) - switching.size(); before <= 64 << 10; ++before) {
    const std::string start(before, 'a');
    EXPECT_TRUE(DecodePage(start + switching, "text/html; charset=iso-2022-jp") ==
                start + "\xe6\x97\xa5\xe6\x9c\xac" + "b")
        << "a piece ends " << (64 << 10) - before << " bytes into what switches between sets";
  }
}

TEST(PageText, ReplacesWhatIsNoUtf8ByteByByte) {
  const Rows<const char*, std::string, std::string> rows = {
      {"empty", "", ""},
      {"zero byte", std::string("a\0b", 3), std::string("a\0b", 3)},
      {"all lengths", "a\xc2\x80\xe0\xa0\x80\xf0\x90\x80\x80\xf4\x8f\xbf\xbf",
       "a\xc2\x80\xe0\xa0\x80\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
      {"no lead", "12345678\x80z", "12345678" + Replacements(1) + "z"},
      {"cut at the end", "a\xe2\x82", "a" + Replacements(2)},
      {"cut by another",
       "\xe2\x82"
       "a",
       Replacements(2) + "a"},
      {"overlong", "\xc0\xaf\xe0\x80\xaf\xf0\x80\x80\xaf", Replacements(9)},
      {"surrogate", "\xed\xa0\x80", Replacements(3)},
      {"above the last code", "\xf4\x90\x80\x80\xf8", Replacements(5)},
  };
  for (const auto& [name, body, text] : rows) {
    EXPECT_EQ(DecodePage(body, "text/plain"), text) << name;
    // Wherever a long page is cut into pieces.
    for (std::size_t before = (64 << 10) - 4; before <= 64 << 10; ++before)
      EXPECT_TRUE(DecodePage(std::string(before, 'a') + body, "text/plain") ==
                  std::string(before, 'a') + text)
          << name;
  }
}

TEST(PageText, ByteSumCountsBytesUnsigned) {
  EXPECT_EQ(ByteSum(""), 0u);
  EXPECT_EQ(ByteSum("\xff\x01"), 256u);
  EXPECT_EQ(ByteSum(std::string(16843010, '\xff')),
            254u);  // 2^32 - 1 is 255 times 16843009, and wraps behind it
}

TEST(LegacyCharset, CountsTwoForDoubleByteCharacters) {
  const Rows<const char*, const char*, std::uint32_t> rows = {
      {"windows-1252", "abc", 3},
      {"windows-1252", "", 0},
      {"windows-1252", "a\r\n", 3},
      {"windows-1252", "\xc3\xa4\xe2\x82\xac", 2},
      {"windows-1252", "\xe6\x97\xa5\xf0\x9f\x98\x80", 2},  // it holds neither
      {"shift_jis", "\xe6\x97\xa5\xe6\x9c\xac", 4},
      {"shift_jis", "a\xe6\x97\xa5\xef\xbd\xb1", 4},  // the half-width letter is one byte
      {"shift_jis", "\xc3\xa4\xf0\x9f\x98\x80", 2},
      {"gb18030", "\xe4\xb8\xad\xf0\x9f\x98\x80", 3},  // the second takes four bytes
      {"big5-hkscs", "\xc3\x8a\xf0\xa0\x80\x8e", 3},   // one the set holds back, one beyond 16 bits
      {"euc-jp", "\xe6\x97\xa5\xe4\xb8\x82", 3},       // the second takes three bytes
  };
  for (const auto& [charset, text, size] : rows)
    EXPECT_EQ(LegacyCharset(charset).SizeOf(text), size) << charset << " " << text;
}

TEST(LegacyCharset, SurvivesTextThatIsNoUtf8) {
  EXPECT_LE(LegacyCharset("shift_jis")
                .SizeOf("\xe6\x97"
                        "a\xff\xf0"),
            5u);
}

TEST(LegacyCharset, ComesFromTheConfigurationFile) {
  const TempFolder folder;
  const std::string japanese = "\xe6\x97\xa5";
  EXPECT_EQ(LegacyCharset::FromConfig(folder / "missing.ini").SizeOf(japanese), 1u);
  const auto config = WriteFile(folder / "config.ini", "[Text]\ncharset = Shift_JIS\n");
  EXPECT_EQ(LegacyCharset::FromConfig(config).SizeOf(japanese), 2u);

  for (const char* name : {"no-such-set", "", "utf-8//IGNORE"}) {
    SCOPED_TRACE(name);
    WriteFile(config, std::string("[text]\ncharset=") + name);
    try {
      static_cast<void>(LegacyCharset::FromConfig(config));
      FAIL() << "taken";
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(error.what(),
                config + ", section \"text\", key \"charset\": unknown character set \"" + name + "\"");
    }
  }
}

}  // namespace
}  // namespace norvane::platform
