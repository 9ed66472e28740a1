#include "platform/Paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::platform {
namespace {

namespace fs = std::filesystem;
using loopback::TempFolder;
using tests::ModeOf;
using tests::Rows;
using tests::WriteFile;

TEST(Paths, TheFolderOfAProgramIsTheOneItWasCalledIn) {
  const TempFolder root;
  const std::string base = fs::canonical(root.Path()).string();
  for (const char* folder : {"real", "links", "plain", "plain/tool"})
    fs::create_directory(root / folder);
  ASSERT_EQ(::chmod(WriteFile(root / "real/tool", "").c_str(), 0700), 0);
  WriteFile(root / "plain/data", "");
  fs::create_symlink(root / "real/tool", root / "links/tool");
  fs::create_symlink(root / "real/tool", root / "links/other");
  fs::create_symlink(root / "links", root / "alias");
  fs::create_symlink(root / "gone", root / "links/dangling");

  const Rows<std::string, std::string, std::string> rows = {
      {base + "/real/tool", "", base + "/real"},
      {base + "/links/tool", "", base + "/links"},
      {base + "/alias/tool", "", base + "/links"},
      {base + "/links/../real/./tool", "", base + "/real"},
      {fs::relative(base).string() + "/links/tool", "", base + "/links"},
      {"tool", "/nowhere:" + base + "/plain:" + base + "/links:" + base + "/real", base + "/links"},
      {"data", base + "/plain", ""},
      {"tool", "", ""},
      {"", base + "/real", ""},
      {base + "/links/dangling", "", ""},
      {base + "/gone/tool", "", ""},
      {base + "/real", "", ""},
  };
  for (const auto& [calledAs, searchPath, folder] : rows)
    EXPECT_EQ(FolderOfProgram(calledAs, searchPath), folder) << calledAs + " in " + searchPath;
}

TEST(Paths, AFolderMayBeNamedInAnyWay) {
  const auto here = fs::current_path().string();
  for (const auto& [named, folder] : Rows<std::string, std::string>{{"", ApplicationFolder()},
                                                                    {"/", "/"},
                                                                    {"/a/b/", "/a/b"},
                                                                    {"/a/./../b//", "/b"},
                                                                    {"x/", here + "/x"}})
    EXPECT_EQ(FolderOrOwn(named), folder) << named;
}

TEST(Paths, OnlyARegularFileExists) {
  const TempFolder root;
  const auto file = WriteFile(root / "file", "");
  ASSERT_EQ(::chmod(file.c_str(), 0), 0);
  ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
  fs::create_symlink(file, root / "link");
  fs::create_symlink(root / "gone", root / "dangling");
  for (const auto& path : {file, root / "link"})
    EXPECT_TRUE(FileExists(path)) << path;
  for (const auto& path : {root / "dangling", root / "pipe", root.Path(), root / "gone", file + "/below",
                           file + std::string("\0x", 2), root / std::string(5000, 'x'), std::string()})
    EXPECT_FALSE(FileExists(path)) << path;
}

TEST(Paths, MakeFolderMakesAllThatIsMissingForItsOwnerOnly) {
  const TempFolder root;
  EXPECT_EQ(MakeFolder(root / "a/b//c/"), std::error_code{});
  EXPECT_EQ(ModeOf(root / "a"), 0700u);
  EXPECT_EQ(ModeOf(root / "a/b/c"), 0700u);
  EXPECT_EQ(MakeFolder(root / "a/b/c"), std::error_code{});

  WriteFile(root / "file", "");
  EXPECT_EQ(MakeFolder(root / "file"), std::errc::not_a_directory);
  EXPECT_EQ(MakeFolder(root / "file/x/y"), std::errc::not_a_directory);
  fs::create_symlink(root / "gone", root / "dangling");
  EXPECT_EQ(MakeFolder(root / "dangling/x"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(MakeFolder(""), std::errc::no_such_file_or_directory);
}

TEST(Paths, ComputerNameIsTheHostName) {
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
  EXPECT_EQ(ComputerName(), std::string(name).substr(0, 49));
}

}  // namespace
}  // namespace norvane::platform
