#include "support/SystemInfo.h"

#include <QProcess>
#include <stdexcept>

#include "console/shared/Dialogs.h"
#include "console/shared/MainBas.h"
#include "platform/Paths.h"
#include "platform/Registry.h"

namespace norvane::support {

namespace {
using platform::Registry;
using platform::RegistryValue;

constexpr std::size_t MaxValueSize = 1024;
constexpr char ToolKey[] = "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
constexpr char ToolValue[] = "PATH";
constexpr char FolderKey[] = "SOFTWARE\\Microsoft\\Shared Tools Location";
constexpr char FolderValue[] = "MSINFO";
constexpr char ToolFile[] = "\\MSINFO32.EXE";

/// The bytes from the last to the first, two hexadecimal digits each, make up the number.
std::string DecimalText(const std::string& bytes) {
  std::uint64_t number = 0;
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte)
    number = number << 8 | static_cast<unsigned char>(*byte);
  return std::to_string(number);
}

/// The path of the tool; empty if there is none.
std::string FindTool(const Registry& registry) {
  std::string path;
  if (GetKeyValue(registry, Registry::LocalMachine, ToolKey, ToolValue, path)) return path;
  if (!GetKeyValue(registry, Registry::LocalMachine, FolderKey, FolderValue, path)) return {};
  path = platform::NativePath(path + ToolFile);
  return platform::FileExists(path) ? path : std::string();
}
}  // namespace

bool GetKeyValue(const Registry& registry, std::uint32_t KeyRoot, const std::string& KeyName,
                 const std::string& SubKeyRef, std::string& KeyVal) {
  const auto key = registry.Open(KeyRoot, KeyName, Registry::AllAccess);
  auto value = key ? key->Read(SubKeyRef, MaxValueSize) : std::nullopt;
  if (!value) {
    KeyVal.clear();
    return false;
  }
  auto& bytes = value->bytes;
  if (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
  if (value->type == RegistryValue::Text)
    KeyVal = bytes;
  else if (value->type == RegistryValue::Number)
    KeyVal = DecimalText(bytes);
  return true;
}

void StartSysInfo(const Registry& registry, const StartProgram& start, console::shared::Dialogs& dialogs) {
  try {
    const auto tool = FindTool(registry);
    if (tool.empty()) throw std::runtime_error("no tool is installed");
    start(tool);
  } catch (const std::exception&) {  // whatever the reason, the user reads the same
    dialogs.Show({.title = console::shared::ApplicationTitle,
                  .text = "System Information Is Unavailable At This Time"});
  }
}

void StartDetached(const std::string& path) {
  if (!QProcess::startDetached(QString::fromStdString(path), {}))
    throw std::runtime_error("cannot start " + path);
}

}  // namespace norvane::support
