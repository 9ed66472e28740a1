#include "platform/IniFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::platform {
namespace {

using loopback::TempFolder;
using tests::Rows;
using tests::WriteFile;

TEST(IniFile, ReadsByTheRulesOfTheCall) {
  const Rows<const char*, const char*, const char*> rows = {
      {"plain", "[help]\nfeedback=mail\n", "mail"},
      {"carriage returns", "[help]\r\nfeedback=mail\r\n", "mail"},
      {"no line end", "[help]\nfeedback=mail", "mail"},
      {"byte order mark", "\xef\xbb\xbf[help]\nfeedback=mail", "mail"},
      {"letter case", "[HELP]\nFeedBack=Mail", "Mail"},
      {"blanks", " [ help ] \n\tfeedback \t= a b \t\n", "a b"},
      {"text behind the section", "[help] ; all\nfeedback=mail", "mail"},
      {"section not closed", "[help\nfeedback=mail", "mail"},
      {"double quotes keep blanks", "[help]\nfeedback=\" a \"", " a "},
      {"single quotes", "[help]\nfeedback='a'", "a"},
      {"only one pair", "[help]\nfeedback=\"'a'\"", "'a'"},
      {"quotes that differ", "[help]\nfeedback=\"a'", "\"a'"},
      {"a single quote", "[help]\nfeedback=\"", "\""},
      {"inner quotes", "[help]\nfeedback=a\"b\"c", "a\"b\"c"},
      {"nothing is unescaped or split", "[help]\nfeedback=a\\n,b;c=%20 #d", "a\\n,b;c=%20 #d"},
      {"comments", "[help]\n;feedback=no\n ; feedback=no\nfeedback=mail", "mail"},
      {"first line wins", "[help]\nfeedback=1\nfeedback=2", "1"},
      {"first section counts", "[help]\na=1\n[help]\nfeedback=2", "default"},
      {"other section", "[other]\nfeedback=no\n[help]\nfeedback=mail", "mail"},
      {"key of the next section", "[help]\na=1\n[other]\nfeedback=no", "default"},
      {"before all sections", "feedback=no\n[help]\n", "default"},
      {"part of a name", "[help]\nfeed=1\nfeedbacks=2", "default"},
      {"empty value", "[help]\nfeedback=", ""},
      {"key without value", "[help]\nfeedback\n", "default"},
      {"empty file", "", "default"},
      {"letters beyond ASCII", "[help]\nfeedback=\xc3\xa4\xe6\x9c\xac", "\xc3\xa4\xe6\x9c\xac"},
  };
  const TempFolder folder;
  for (const auto& [name, content, value] : rows)
    EXPECT_EQ(IniValue("help", "feedback", "default  ", WriteFile(folder / "config.ini", content)), value)
        << name;
}

TEST(IniFile, CutsToWhatTheBufferHolds) {
  const TempFolder folder;
  std::string value;
  for (int i = 0; i < 310; ++i)
    value += "\xc3\xa4";
  const auto path =
      WriteFile(folder / "config.ini", "[s]\nlong=" + value + "\nfits=" + std::string(299, 'x'));
  EXPECT_EQ(IniValue("s", "long", "", path), value.substr(0, 2 * 299));
  EXPECT_EQ(IniValue("s", "fits", "", path), std::string(299, 'x'));
  EXPECT_EQ(IniValue("s", "none", std::string(400, 'x'), path), std::string(299, 'x'));
}

TEST(IniFile, GivesTheDefaultWhereThereIsNoFileToRead) {
  const TempFolder folder;
  const std::string entry = "[s]\nk=v\n";
  EXPECT_EQ(IniValue("s", "k", "d", folder / "missing.ini"), "d");
  EXPECT_EQ(IniValue("s", "k", "d", folder.Path()), "d");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(IniValue("s", "k", "d", folder / "pipe"), "d");

  const std::size_t limit = 1 << 20;
  const auto filled = [&](std::size_t size) { return entry + std::string(size - entry.size(), '\n'); };
  EXPECT_EQ(IniValue("s", "k", "d", WriteFile(folder / "full.ini", filled(limit))), "v");
  EXPECT_EQ(IniValue("s", "k", "d", WriteFile(folder / "large.ini", filled(limit + 1))), "d");
}

TEST(IniFile, ListsItsSectionsAndSaysWhatIsWrongWithIt) {
  const TempFolder folder;
  const IniFile file(WriteFile(folder / "config.ini",
                               "lost=1\n[mail a]\nuser=x\n\n;no entry\nno entry\n[log]\n[MAIL b]\nuser=y\n"
                               "User=z\nfrom=w\n[Mail A]\nfrom=v\n[x]\nuser=u\n"));
  std::string text;
  for (const auto& section : file.sections) {
    text += "[" + section.name + "]";
    for (const auto& entry : section.entries)
      text += entry.key + "=" + entry.value + ";";
  }
  EXPECT_EQ(text, "[mail a]user=x;[log][MAIL b]user=y;from=w;[x]user=u;");
  EXPECT_EQ(file.ignored, (std::vector<std::string>{"line 1 is before all sections, ignored",
                                                    "line 6 has no \"=\", ignored",
                                                    "line 10 is a second User in [MAIL b], ignored",
                                                    "line 12 begins a second section [Mail A], ignored"}));
  EXPECT_EQ(file.problem, "");

  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("loop", folder / "loop");
  const Rows<std::string, std::string> rows = {
      {folder / "missing.ini", ""},
      {folder.Path(), "not a regular file"},
      {folder / "pipe", "not a regular file"},
      {folder / "loop", "Too many levels of symbolic links"},
      {WriteFile(folder / "large.ini", std::string((1 << 20) + 1, '\n')), "larger than 1 MiB"},
      {WriteFile(folder / "comment.ini", "; caf\xe9\n"), ""},
      {WriteFile(folder / "latin1.ini", "[a]\nk=caf\xe9\nk=\xe9\n"), "line 2 is not UTF-8"},
      {WriteFile(folder / "utf16.ini", std::string("\xff\xfe[\0a\0]\0", 8)), "line 1 is not UTF-8"},
  };
  for (const auto& [path, problem] : rows)
    EXPECT_EQ(IniFile(path).problem, problem) << path;
  EXPECT_EQ(IniValue("a", "k", "", folder / "latin1.ini"), "caf\xe9");
}

}  // namespace
}  // namespace norvane::platform
