#include "text/MonitorFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"
#include "text/ApplyPlan.h"

namespace norvane::text {
namespace {

using loopback::TempFolder;
using tests::Rows;
using tests::WriteFile;

std::string MistakesOf(const Description& description) {
  std::string text;
  for (const auto& mistake : description.mistakes.Kept())
    text += TextOf(mistake, description.files) + "\n";
  return text;
}

/// The text of one monitor with these settings, from line 3 on.
std::string Web(const std::string& settings) {
  return "monitors:\n  WebMonitor Of a:\n    url: http://a/\n" + settings;
}

TEST(MonitorFiles, NameEachMistakeWithItsPlace) {
  const std::string tooDeep = "[[[[[[[[", many(300, '[');
  for (const auto& [text, mistake] : Rows<std::string, std::string>{
           {"", ""},
           {"monitors:\n", ""},
           {"- a\n", "text:1:1: expected \"monitors:\""},
           {"monitor: {}\n", "text:1:1: unknown section \"monitor\"; did you mean \"monitors\"?"},
           {"monitors: [a]\n", "text:1:11: expected names below \"monitors:\""},
           {"monitors: {\n", "text:2:1: did not find expected node content"},
           {"a: b: c\n", "text:1:5: mapping values are not allowed"},
           {"monitors: {}\n---\nmonitors: {}\n", "text:2:1: more than one document"},
           {"monitors: &a {}\n", "text:1:11: anchors are not supported"},
           {"monitors: *a\n", "text:1:11: aliases are not supported"},
           {"monitors: !thing {}\n", "text:1:11: unknown tag \"!thing\""},
           {"? [a]\n: b\n", "text:1:3: a key must be a text"},
           {"a: " + tooDeep, "text:1:9: nested too deep"},
           {"a: " + many, "nested too deep"},
           {"monitors:\n  x: \xff\n", "text:2:6: invalid leading UTF-8 octet"},
           {"monitors:\n  \xc3\xa4: \x01\n", "text:2:6: control characters are not allowed"},
           {Web("    interval: 5m\n"), ""},
           {Web("    interval: soon\n"), "text:4:15: \"soon\" is no time, such as 30s, 5m, 1.5h or 1d"},
           {Web("    interval: 0.1s\n"), "text:4:15: \"0.1\" is too small; the engine would use 0.5"},
           {Web("    intervall: 5m\n"),
            "text:4:5: unknown setting \"intervall\"; did you mean \"interval\"?"},
           {Web("    interval: [5m]\n"), "text:4:15: \"interval\" holds one value"},
           {Web("    !raw interval: 5m\n"), ""},
           {Web("    interval: !raw 5m\n"), "text:4:15: !raw and !!binary are for keys"},
           {Web("    interval: 5m\n    Monitor_InterVal (s): 300\n"),
            "text:5:5: \"Monitor_InterVal (s)\" and \"interval\" in line 4 exclude each other"},
           {Web("    interval: 5m\n    interval: 5m\n"), "text:5:5: \"interval\" stands here twice"},
           {Web("    Monitor_Paramter: x\n"), "did you mean \"Monitor_Parameter\"?"},
           {Web("    Monitor_InterVal (s): abc\n"),
            "text:4:27: \"abc\" is not a number; the engine would use 60"},
           {Web("    Monitor_InterVal (s): !raw abc\n"), ""},
           {Web("    colour: !raw red\n    Monitor_Command: !!binary /w==\n"), ""},
           {Web("    Monitor_Command: !!binary \"?\"\n"), "text:4:22: not base64"},
           {Web("    Monitor_Result: !raw Ok\n"), "is the engine's"},
           {Web("    account: probe\n"), "text:4:5: \"account\" is for a Pop3Monitor only"},
           {Web("    server: a\n"), "text:4:5: \"server\" is not for a WebMonitor; did you mean \"url\"?"},
           {Web("    state: Running\n"),
            "text:4:12: \"Running\" is neither running nor stopped; did you mean \"running\"?"},
           {Web("    expect: Add\n"), "text:4:13: \"expect\" holds settings of its own"},
           {Web("    expect: {text: a, size: 4}\n"), "\"expect.size\" and \"expect.text\" in line 4 exclude"},
           {Web("    expect: {size: big}\n"), "text:4:20: \"big\" is not a number"},
           {Web("    notify: {mail: a@b}\n"), "text:4:14: notify.mail lacks \"via\""},
           {Web("    notify: {via: b}\n"), "notify.via is of no use without \"mail\""},
           {Web("    notify: {mail: a@b, phone: 5}\n"),
            "\"notify.phone\" and \"notify.mail\" in line 4 exclude"},
           {Web("    notify: {call: 'http://g/', number: 5}\n"), "text:4:20: \"http://g/\" is neither"},
           {Web("    notify: {mial: a@b}\n"),
            "unknown setting \"mial\" in \"notify\"; did you mean \"mail\"?"},
           {Web("    use: fast\n"), "text:4:10: no template \"fast\""},
           {Web("  WebMonitor Of a: {url: http://b/}\n"), "text:4:3: \"WebMonitor Of a\" stands here twice"},
           {"monitors:\n  WebMonitor Of a:\n", "text:2:3: \"WebMonitor Of a\" lacks \"url\""},
           {"monitors:\n  WebMontor Of a: {}\n",
            "text:2:3: unknown type \"WebMontor\"; did you mean \"WebMonitor\"?"},
           {"defaults: {interval: never}\nmonitors: {}\n", "text:1:22: \"never\" is no time"},
           {"include: a.yaml\n", "text:1:10: nothing can be included here"},
       }) {
    const auto mistakes = MistakesOf(ReadMonitorText(text));
    EXPECT_EQ(mistakes.empty(), mistake.empty()) << text << mistakes;
    EXPECT_NE(mistakes.substr(0, mistakes.find('\n')).find(mistake), std::string::npos) << text << mistakes;
  }
}

/// The monitor's own settings count before those of templates, the later before the earlier, and these before
/// defaults; what excludes each other replaces each other.
TEST(MonitorFiles, LayDefaultsTemplatesAndOwnSettingsUponEachOther) {
  const std::string head =
      "defaults:\n"
      "  interval: 1m\n"
      "  account: probe\n"
      "  expect: {text: a}\n"
      "  notify: {mail: ops@x, via: mail.x, from: n@x, message: down}\n"
      "templates:\n"
      "  slow: {interval: 1h, timeout: 2m}\n"
      "  call: {timeout: 3m, notify: {phone: 5}}\n";
  const std::string ways =
      "Monitor_Notify Msg=down;Monitor_Notify Mode=SMTP://mail.x;n@x;Monitor_Notify Pager=ops@x;";
  for (const auto& [settings, expected] : Rows<std::string, std::vector<std::string>>{
           {"",
            {"InterVal (s)=60;", "SuccessFlag=STR:a;", "Mode=SMTP://mail.x;n@x;", "Pager=ops@x;",
             "Msg=down;"}},
           {"use: slow", {"InterVal (s)=3600;", "Timeout (s)=120;"}},
           {"use: [slow, call]", {"Timeout (s)=180;", "Mode=TEL://;", "Pager=5;", "Msg=down;"}},
           {"use: [call, slow], timeout: 9s", {"Timeout (s)=9;"}},
           {"notify: {mail: me@x}", {"Mode=SMTP://mail.x;n@x;", "Pager=me@x;", "Msg=down;"}},
           {"notify: {via: other}", {"Mode=SMTP://other;n@x;", "Pager=ops@x;"}},
           {"notify: ", {"!Mode", "!Pager", "!Msg"}},
           {"expect: {size: 5}", {"SuccessFlag=SIZE:5;"}},
           {"expect: ~", {"!SuccessFlag"}},
           {"Monitor_Notify Mode: 'TEL://'", {"Mode=TEL://;", "!SMTP"}},
           {"MonitorExt_SuccessFlag: 'SUM:4'", {"SuccessFlag=SUM:4;"}},
       }) {
    SCOPED_TRACE(settings);
    const auto read =
        ReadMonitorText(head + "monitors:\n  WebMonitor Of a: {url: http://a/, " + settings + "}\n");
    ASSERT_EQ(MistakesOf(read), "");
    std::string values;
    for (const auto& [key, value] : read.monitors.at(0).values)
      values += key + "=" + value + ";";
    EXPECT_EQ(values.find("PopAccount"), std::string::npos) << "of another type";
    for (const auto& each : expected)
      EXPECT_EQ(values.find(each.substr(each[0] == '!')) == std::string::npos, each[0] == '!')
          << each << values;
  }
}

TEST(MonitorFiles, IncludeFilesBelowTheirFolderOnly) {
  const TempFolder folder;
  std::filesystem::create_directories(folder / "top/more/deep");
  std::filesystem::create_symlink("../..", folder / "top/more/out");
  WriteFile(folder / "outside.yaml", "monitors: {WebMonitor Of outside: {url: http://o/}}\n");
  WriteFile(folder / "top/more/b.yaml", "defaults: {timeout: 9s}\ninclude: deep/*\n");
  WriteFile(folder / "top/more/deep/c.yaml", "monitors: {WebMonitor Of c: {url: http://c/, use: t}}\n");
  WriteFile(folder / "top/circle.yaml", "include: circle.yaml\n");
  const auto read = [&](const std::string& include) {
    WriteFile(folder / "top/main.yaml",
              "templates: {t: {tries: 4}}\ndefaults: {interval: 7s}\ninclude: " + include);
    auto description = ReadMonitorFiles({folder / "top/main.yaml"});
    return description;
  };
  const auto good = read("[more/*.yaml, none/*.yaml]");
  ASSERT_EQ(MistakesOf(good), "");
  ASSERT_EQ(good.monitors.size(), 1u);
  const auto& values = good.monitors[0].values;
  EXPECT_EQ(values.at("Monitor_InterVal (s)") + values.at("Monitor_Timeout (s)") +
                values.at("Monitor_MaxFailTimes"),
            "794");
  for (const auto& [include, mistake] : Rows<std::string, std::string>{
           {"../outside.yaml", "main.yaml:3:10: \"../outside.yaml\" is not below this file's folder"},
           {folder / "outside.yaml", "is not below this file's folder"},
           {"more/out/outside.yaml", "leads out of this file's folder"},
           {"none.yaml", "main.yaml:3:10: \"none.yaml\": no such file"},
           {"circle.yaml", "circle.yaml:1:10: " + folder / "top/circle.yaml" + ": this file is read already"},
           {"[more/b.yaml, more/b.yaml]", "is read already"},
           {"more", "not a regular file"},
       })
    EXPECT_NE(MistakesOf(read(include)).find(mistake), std::string::npos) << MistakesOf(read(include));
  EXPECT_EQ(MistakesOf(read("'*.yaml'")).find("main.yaml: this file"), std::string::npos) << "not itself";
  const auto twice = ReadMonitorFiles({folder / "top/more/deep/c.yaml", folder / "none.yaml"});
  EXPECT_NE(MistakesOf(twice).find("none.yaml: No such file"), std::string::npos) << MistakesOf(twice);
}

TEST(MonitorFiles, ReadPasswordsFromFilesThatNobodyElseReads) {
  const TempFolder folder;
  WriteFile(folder / "secret", "geheim\n");
  WriteFile(folder / "a.yaml",
            "monitors: {Pop3Monitor Of a: {server: m, account: x, password_file: secret}}\n");
  ::chmod((folder / "secret").c_str(), 0644);
  EXPECT_NE(MistakesOf(ReadMonitorFiles({folder / "a.yaml"})).find("others than its owner have access"),
            std::string::npos);
  ::chmod((folder / "secret").c_str(), 0600);
  const auto read = ReadMonitorFiles({folder.Path()});
  ASSERT_EQ(MistakesOf(read), "");
  EXPECT_EQ(read.monitors.at(0).values.at("MonitorExt_PopPass"), "geheim");
  const auto plan = MakePlan(read, {}, "/srv", false);
  EXPECT_EQ(plan.text.find("geheim"), std::string::npos);
}

}  // namespace
}  // namespace norvane::text
