#include "support/SystemInfo.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

#include "loopback/TempFolder.h"
#include "platform/Registry.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using namespace std::string_literals;
using console::shared::Box;
using platform::RegistryKey;
using platform::RegistryValue;

const std::string ToolKey = "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
const std::string FolderKey = "SOFTWARE\\Microsoft\\Shared Tools Location";

/// Values by key and name, below the local machine.
class ScriptedRegistry : public platform::Registry {
 public:
  std::map<std::string, std::map<std::string, RegistryValue>> keys;

  std::unique_ptr<RegistryKey> Open(std::uint32_t root, const std::string& key,
                                    std::uint32_t access) const override {
    const auto found = keys.find(key);
    if (root != 0x80000002 || access != 0x2003F || found == keys.end()) return nullptr;
    return std::make_unique<Key>(found->second);
  }

 private:
  class Key : public RegistryKey {
   public:
    explicit Key(const std::map<std::string, RegistryValue>& values) : m_values(values) {}
    std::optional<RegistryValue> Read(const std::string& name, std::size_t maxBytes) override {
      const auto found = m_values.find(name);
      if (found == m_values.end() || found->second.bytes.size() > maxBytes) return std::nullopt;
      return found->second;
    }

   private:
    const std::map<std::string, RegistryValue>& m_values;
  };
};

TEST(GetKeyValue, ReadsTextAndNumbers) {
  const struct {
    const char* name;
    RegistryValue value;
    bool read;
    std::string text;
  } rows[] = {
      {"text with its end", {1, "C:\\tool\0"s}, true, "C:\\tool"},
      {"text without", {1, "C:\\tool"}, true, "C:\\tool"},
      {"one end only", {1, "a\0\0"s}, true, "a\0"s},
      {"empty", {1, ""}, true, ""},
      {"as long as can be", {1, std::string(1024, 'x')}, true, std::string(1024, 'x')},
      {"too long", {1, std::string(1025, 'x')}, false, ""},
      {"number", {4, "\x12\x34\x56\x78"}, true, "2018915346"},
      {"number with zeroes", {4, "\x01\x02\0\0"s}, true, "513"},
      {"zero", {4, "\0\0\0\0"s}, true, "0"},
      {"another type", {3, "bytes"}, true, "as it was"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptedRegistry registry;
    registry.keys["key"].insert({"value", row.value});
    std::string text = "as it was";
    EXPECT_EQ(support::GetKeyValue(registry, 0x80000002, "key", "value", text), row.read);
    EXPECT_EQ(text, row.text);
  }
}

TEST(GetKeyValue, WhatIsNotThereClearsTheText) {
  ScriptedRegistry registry;
  registry.keys["key"].insert({"value", {1, "text"}});
  const std::tuple<std::uint32_t, const char*, const char*> rows[] = {
      {0x80000001, "key", "value"}, {0x80000002, "no key", "value"}, {0x80000002, "key", "no value"}};
  for (const auto& [root, key, value] : rows) {
    std::string text = "as it was";
    EXPECT_FALSE(support::GetKeyValue(registry, root, key, value, text));
    EXPECT_EQ(text, "");
  }
}

class SysInfoTest : public ::testing::Test {
 protected:
  void Start() {
    support::StartSysInfo(
        registry,
        [this](const std::string& path) {
          started.push_back(path);
          if (fails) throw std::runtime_error("cannot start");
        },
        dialogs);
  }
  void ExpectMessage() {
    dialogs.Announce();
    Start();
    EXPECT_EQ(
        dialogs.TakeBoxes(),
        (std::vector<Box>{{.title = "Norvane", .text = "System Information Is Unavailable At This Time"}}));
  }

  loopback::TempFolder folder;
  ScriptedRegistry registry;
  FakeDialogs dialogs;
  std::vector<std::string> started;
  bool fails = false;
};

TEST_F(SysInfoTest, TheFirstKeyNamesTheToolAndIsNotDoubted) {
  registry.keys[ToolKey].insert({"PATH", {1, "/gone/tool"}});
  registry.keys[FolderKey].insert({"MSINFO", {1, folder.Path()}});
  WriteFile(folder.Path() + "/MSINFO32.EXE", "");
  Start();
  fails = true;
  ExpectMessage();
  EXPECT_EQ(started, (std::vector<std::string>{"/gone/tool", "/gone/tool"}));
}

TEST_F(SysInfoTest, TheSecondKeyNamesTheToolsFolder) {
  registry.keys[FolderKey].insert({"MSINFO", {1, folder.Path()}});
  ExpectMessage();
  EXPECT_TRUE(started.empty());
  const auto tool = WriteFile(folder.Path() + "/MSINFO32.EXE", "");
  Start();
  EXPECT_EQ(started, std::vector<std::string>{tool});
}

TEST_F(SysInfoTest, HereNothingIsFound) {
  std::string text;
  EXPECT_FALSE(support::GetKeyValue(platform::SystemRegistry(), 0x80000002, ToolKey, "PATH", text));
  ExpectMessage();
}

TEST_F(SysInfoTest, AMissingProgramIsAFailedStart) {
  EXPECT_THROW(support::StartDetached(folder.Path() + "/none"), std::runtime_error);
}

}  // namespace
}  // namespace norvane::tests
