#include "platform/Paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/Rows.h"
#include "tests/support/TempFolder.h"

namespace norvane::platform {
namespace {

namespace fs = std::filesystem;
using tests::Rows;
using tests::TempFolder;
using tests::WriteFile;

void MakeProgram(const std::string& path) {
  ASSERT_EQ(::chmod(WriteFile(path, "").c_str(), 0700), 0);
}

TEST(Paths, ApplicationFolderIsWhereThisProgramLies) {
  EXPECT_EQ(ApplicationFolder(), fs::read_symlink("/proc/self/exe").parent_path().string());
}

TEST(Paths, TheFolderOfAProgramIsTheOneItWasCalledIn) {
  const TempFolder root;
  const std::string base = fs::canonical(root.Path()).string();
  for (const char* folder : {"real", "links", "plain", "plain/tool"})
    fs::create_directory(root / folder);
  MakeProgram(root / "real/tool");
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
  for (const auto& [calledAs, searchPath, folder] : rows) {
    SCOPED_TRACE(calledAs + " in " + searchPath);
    EXPECT_EQ(FolderOfProgram(calledAs, searchPath), folder);
  }
}

TEST(Paths, BackslashesSeparate) {
  EXPECT_EQ(NativePath("/opt/norvane\\log\\Log%d.log"), "/opt/norvane/log/Log%d.log");
  EXPECT_EQ(NativePath("a/b\\"), "a/b/");
  EXPECT_EQ(NativePath(""), "");
}

TEST(Paths, OnlyARegularFileExists) {
  const TempFolder root;
  const auto file = WriteFile(root / "file", "");
  ASSERT_EQ(::chmod(file.c_str(), 0), 0);
  ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
  fs::create_symlink(file, root / "link");
  fs::create_symlink(root / "gone", root / "dangling");
  const Rows<std::string, bool> rows = {
      {file, true},
      {root / "link", true},
      {root / "dangling", false},
      {root / "pipe", false},
      {root.Path(), false},
      {root / "gone", false},
      {file + "/below", false},
      {file + std::string("\0x", 2), false},
      {root / std::string(5000, 'x'), false},
      {"", false},
  };
  for (const auto& [path, exists] : rows) {
    SCOPED_TRACE(path);
    EXPECT_EQ(FileExists(path), exists);
  }
}

TEST(Paths, MakeFolderMakesAllThatIsMissingForItsOwnerOnly) {
  const TempFolder root;
  const auto mode = [](const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode;
  };
  EXPECT_EQ(MakeFolder(root / "a/b//c/"), std::error_code{});
  EXPECT_EQ(mode(root / "a"), mode_t{S_IFDIR | 0700});
  EXPECT_EQ(mode(root / "a/b/c"), mode_t{S_IFDIR | 0700});
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
