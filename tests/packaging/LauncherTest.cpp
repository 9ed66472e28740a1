// The commands of the .deb, which give each user an application folder of his own.

#include <gtest/gtest.h>

#include <filesystem>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"

namespace norvane::tests {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

/// Runs one of the commands with these variables and no others but PATH.
Finished Launch(const Arguments& variables, const std::string& name, const Arguments& arguments) {
  Arguments command = {"/usr/bin/env", "-i", "PATH=/usr/bin:/bin"};
  command.insert(command.end(), variables.begin(), variables.end());
  command.push_back(NORVANE_LAUNCHERS "/" + name);
  command.insert(command.end(), arguments.begin(), arguments.end());
  return RunProgram(command);
}

bool IsOnlyTheOwners(const std::string& folder) {
  return (fs::status(folder).permissions() & (fs::perms::group_all | fs::perms::others_all)) ==
         fs::perms::none;
}

TEST(Launcher, GivesTheEngineAFolderOfTheUser) {
  const loopback::TempFolder home;
  const Arguments variables = {"HOME=" + home.Path()};
  const std::string folder = home / ".local/share/norvane";
  const auto started = Launch(variables, "norvane-engine", {"--detach"});
  EXPECT_EQ(started.code, 0) << started.err;
  const auto status = Launch(variables, "norvanectl", {"--json", "status"});
  EXPECT_NE(status.out.find("\"Folder\":\"" + folder + "\""), std::string::npos) << status.out << status.err;
  EXPECT_EQ(Launch(variables, "norvanectl", {"shutdown"}).code, 0);
  EXPECT_TRUE(fs::exists(folder + "/log/engine.log"));
  EXPECT_TRUE(IsOnlyTheOwners(folder));
  EXPECT_TRUE(IsOnlyTheOwners(home / ".local"));
}

TEST(Launcher, FindsTheFolderOrSaysWhyNot) {
  const loopback::TempFolder home;
  const std::string file = WriteFile(home / "file", "x");
  struct Row {
    const char* name;
    Arguments variables;
    std::string folder;  // empty if there can be none
    std::string says;
  };
  const Row rows[] = {
      {"data folder", {"XDG_DATA_HOME=" + (home / "a b"), "HOME=/proc"}, home / "a b/norvane", ""},
      {"relative", {"XDG_DATA_HOME=data", "HOME=" + (home / "c")}, home / "c/.local/share/norvane", ""},
      {"empty", {"XDG_DATA_HOME=", "HOME=" + (home / "d")}, home / "d/.local/share/norvane", ""},
      {"dash", {"XDG_DATA_HOME=" + (home / "-e")}, home / "-e/norvane", ""},
      {"no home", {}, "", "norvanectl: HOME is not set"},
      {"a file", {"HOME=" + file}, "", "norvanectl: cannot create your application folder " + file},
      {"may not be made", {"HOME=/proc"}, "", "norvanectl: cannot create your application folder /proc/"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto finished = Launch(row.variables, "norvanectl", {"--help"});
    EXPECT_EQ(finished.code, row.folder.empty() ? 73 : 0);
    EXPECT_NE(finished.err.find(row.says), std::string::npos) << finished.err;
    EXPECT_EQ(finished.out.starts_with("Usage: norvanectl"), !row.folder.empty()) << finished.out;
    if (!row.folder.empty()) {
      EXPECT_TRUE(fs::is_symlink(row.folder + "/norvane-engine"));
    }
  }
}

TEST(Launcher, AtLogInStartsNothingForWhoHasNoFolder) {
  const loopback::TempFolder data;
  const Arguments variables = {"XDG_DATA_HOME=" + data.Path()};
  const auto stranger = Launch(variables, "norvanectl", {"--autostart", "--help"});
  EXPECT_EQ(stranger.code, 0);
  EXPECT_EQ(stranger.out, "");
  EXPECT_FALSE(fs::exists(data / "norvane"));
  fs::create_directory(data / "norvane");
  const auto user = Launch(variables, "norvanectl", {"--autostart", "--help"});
  EXPECT_TRUE(user.out.starts_with("Usage: norvanectl")) << user.out << user.err;
}

TEST(Launcher, RenewsLinksAndLeavesFilesOfTheUser) {
  const loopback::TempFolder data;
  const std::string folder = data / "norvane";
  fs::create_directory(folder);
  fs::create_symlink("/usr/lib/norvane-before/norvanectl", folder + "/norvanectl");
  WriteFile(folder + "/norvane-engine", "the user's own");
  const auto finished = Launch({"XDG_DATA_HOME=" + data.Path()}, "norvanectl", {"--help"});
  EXPECT_EQ(finished.code, 0) << finished.err;
  EXPECT_TRUE(fs::equivalent(folder + "/norvanectl", Program("norvanectl")));
  EXPECT_EQ(ReadFile(folder + "/norvane-engine"), "the user's own");
  EXPECT_EQ(Launch({"XDG_DATA_HOME=" + data.Path()}, "norvanectl", {"no", "such"}).code, 2);
}

}  // namespace
}  // namespace norvane::tests
