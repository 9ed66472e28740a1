#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/Mistakes.h"
#include "text/MonitorLines.h"
#include "text/ShortNames.h"
#include "text/YamlTree.h"

namespace norvane::text {

/// One setting as it was read.
struct Setting {
  const ShortName* row = nullptr;  ///< none for an attribute by its key, and for a group that is emptied
  std::string_view emptied;        ///< this group
  std::string key;                 ///< of the attribute
  std::string value;               ///< the attribute's, or its part; of a file its path
  bool isDefault = false;          ///< of "defaults:"
  Place place;
};
using Settings = std::vector<Setting>;

/// Passwords by the path of their files, so that each is read once.
using PasswordFiles = std::map<std::string, std::string>;

/// Reads the settings of a map. Whatever of it is wrong by itself is a mistake.
class SettingsReader {
 public:
  /// Relative names of files start at `folder`; `skipped` names no setting here.
  SettingsReader(std::string folder, std::span<const std::string_view> skipped, Mistakes& mistakes)
      : m_folder(std::move(folder)), m_skipped(skipped), m_mistakes(mistakes) {}

  /// A key with the tag "!raw" is that of an attribute, whatever short name there is. `typeName` is empty where monitors of any type may use them.
  [[nodiscard]] Settings Read(const YamlNode& map, std::string_view typeName);

 private:
  void ReadGroup(std::string_view group, const YamlNode& key, const YamlNode& value);
  void ReadNamed(std::string_view group, const YamlNode& key, const YamlNode& value);
  void ReadAttribute(const YamlNode& key, const YamlNode& value);
  void RefuseUnknown(std::string_view group, const YamlNode& key);
  [[nodiscard]] bool RequireText(const YamlNode& key, const YamlNode& value);
  void Put(Setting setting);

  std::string m_folder;
  std::span<const std::string_view> m_skipped;
  Mistakes& m_mistakes;
  std::string_view m_type;
  Settings m_settings;
};

/// What `upper` says replaces what `lower` says of the same. Of `upper` counts what is for monitors of this
/// type; all if it is empty.
void Overlay(Settings& lower, const Settings& upper, std::string_view typeName);

/// The attributes that these settings make.
[[nodiscard]] AttributeValues Resolve(const Settings& settings, PasswordFiles& passwords, Mistakes& mistakes);

}  // namespace norvane::text
