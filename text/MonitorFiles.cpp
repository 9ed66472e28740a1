#include "text/MonitorFiles.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <system_error>
#include <unordered_map>

#include "console/engine/Limits.h"
#include "platform/FileDescriptor.h"
#include "platform/Utf8.h"
#include "text/Nearest.h"
#include "text/Settings.h"

namespace norvane::text {

namespace ce = console::engine;
namespace fs = std::filesystem;
using Kind = YamlNode::Kind;

namespace {

constexpr std::size_t MaxFileSize = 64 << 20;
constexpr std::size_t MaxFiles = 10000;
constexpr std::size_t MaxIncludeDepth = 8;
constexpr std::array<std::string_view, 4> Sections = {"defaults", "templates", "include", "monitors"};
constexpr std::array<std::string_view, 1> Use = {"use"};

std::string ReadFile(const std::string& path) {
  const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0)
    throw std::runtime_error(std::generic_category().message(errno));
  if (!S_ISREG(status.st_mode)) throw std::runtime_error("not a regular file");
  std::string text(std::min(static_cast<std::size_t>(status.st_size), MaxFileSize) + 1, '\0');
  std::size_t size = 0;
  for (ssize_t read = 0; size < text.size(); size += static_cast<std::size_t>(read)) {
    read = ::read(file.Get(), text.data() + size, text.size() - size);
    if (read < 0) throw std::runtime_error(std::generic_category().message(errno));
    if (read == 0) break;
  }
  if (size > MaxFileSize) throw std::runtime_error("larger than 64 MiB");
  text.resize(size);
  return text;
}

/// The files that a pattern names, in the order of their names.
std::vector<std::string> Matches(const std::string& folder, const std::string& pattern) {
  std::string escaped;
  for (const char c : folder)
    escaped.append(std::string_view("*?[]\\").find(c) == std::string_view::npos ? "" : "\\") += c;
  glob_t found{};
  std::vector<std::string> paths;
  if (::glob((escaped + "/" + pattern).c_str(), 0, nullptr, &found) == 0)
    paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  ::globfree(&found);
  return paths;
}

class FilesReader {
 public:
  FilesReader(std::span<const std::string_view> types, Description& to) : m_types(types), m_to(to) {}

  void ReadPath(const std::string& path) {
    std::error_code error;
    if (!fs::is_directory(path, error)) return Read(path, {}, nullptr);
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(path, error))
      if (const auto kind = entry.path().extension(); kind == ".yaml" || kind == ".yml")
        files.push_back(entry.path().string());
    std::ranges::sort(files);
    if (files.empty()) m_to.mistakes.Add(NewFile(path), "no .yaml or .yml file in this folder");
    for (const auto& file : files)
      Read(file, {}, nullptr);
  }

  void ReadText(std::string_view text, const std::string& name) {
    Level level{nullptr, {}, {}, {}, 0};
    ReadDocument(text, NewFile(name).file, level);
  }

 private:
  struct Template {
    Settings settings;
    Place place;
  };
  /// What a file has of those that include it, and adds.
  struct Level {
    const Level* above;
    std::string folder;  ///< empty: there is none
    Settings defaults;
    std::unordered_map<std::string, Template> templates;
    std::size_t depth;
  };

  Place NewFile(const std::string& name) {
    m_to.files.push_back(name);
    return {static_cast<std::uint16_t>(m_to.files.size() - 1), 0, 0};
  }

  void Read(const std::string& path, const Place& from, const Level* above) {
    const auto blame = [&](const std::string& why) {
      if (above == nullptr)
        m_to.mistakes.Add(NewFile(path), why);
      else
        m_to.mistakes.Add(from, path + ": " + why);
    };
    if (m_to.files.size() >= MaxFiles) return blame("too many files");
    if (above != nullptr && above->depth >= MaxIncludeDepth) return blame("included too deep");
    std::error_code error;
    const auto canonical = fs::canonical(path, error);
    if (!error && !m_read.insert(canonical.string()).second) return blame("this file is read already");
    try {
      const auto text = ReadFile(path);
      Level level{
          above, fs::path(path).parent_path().string(), {}, {}, above == nullptr ? 0 : above->depth + 1};
      if (level.folder.empty()) level.folder = ".";
      ReadDocument(text, NewFile(path).file, level);
    } catch (const std::runtime_error& failure) {
      blame(failure.what());
    }
  }

  void ReadDocument(std::string_view text, std::uint16_t file, Level& level) {
    const auto root = ReadYaml(text, file, m_to.mistakes);
    if (!root || root->IsEmpty()) return;
    if (root->kind != Kind::Map) return m_to.mistakes.Add(root->place, "expected \"monitors:\"");
    for (std::size_t i = 0; i < root->children.size(); i += 2) {
      const auto& key = root->children[i];
      if (std::ranges::find(Sections, key.text) == Sections.end())
        m_to.mistakes.Add(key.place,
                          "unknown section " + Quoted(key.text) + DidYouMean(Nearest(key.text, Sections)));
    }
    ReadDefaults(Section(*root, "defaults"), level);
    ReadTemplates(Section(*root, "templates"), level);
    Include(Section(*root, "include"), level);
    ReadMonitors(Section(*root, "monitors"), level);
  }

  static const YamlNode* Section(const YamlNode& root, std::string_view name) {
    for (std::size_t i = 0; i < root.children.size(); i += 2)
      if (root.children[i].text == name && !root.children[i].asIs) return &root.children[i + 1];
    return nullptr;
  }

  void ReadDefaults(const YamlNode* node, Level& level) {
    if (level.above != nullptr) level.defaults = level.above->defaults;
    if (node == nullptr) return;
    auto own = SettingsReader(level.folder, {}, m_to.mistakes).Read(*node, {});
    for (auto& setting : own)
      setting.isDefault = true;
    Overlay(level.defaults, own, {});
  }

  void ReadTemplates(const YamlNode* node, Level& level) {
    if (!RequireMap(node, "templates")) return;
    for (std::size_t i = 0; i < node->children.size(); i += 2) {
      const auto& name = node->children[i];
      if (const auto* other = FindTemplate(level, name.text))
        m_to.mistakes.Add(name.place, "template " + Quoted(name.text) +
                                          " is there already: " + TextOf(other->place, m_to.files));
      SettingsReader reader(level.folder, {}, m_to.mistakes);
      level.templates.emplace(name.text, Template{reader.Read(node->children[i + 1], {}), name.place});
    }
  }

  static const Template* FindTemplate(const Level& level, const std::string& name) {
    for (const auto* each = &level; each != nullptr; each = each->above)
      if (const auto found = each->templates.find(name); found != each->templates.end())
        return &found->second;
    return nullptr;
  }

  bool RequireMap(const YamlNode* node, const char* what) {
    if (node == nullptr || node->IsEmpty()) return false;
    if (node->kind == Kind::Map) return true;
    m_to.mistakes.Add(node->place, "expected names below \"" + std::string(what) + ":\"");
    return false;
  }

  /// Runs `action` for each of a list of texts, or the one that stands there.
  template <class Action>
  void ForEachText(const YamlNode* node, Action action) {
    if (node == nullptr || node->IsEmpty()) return;
    if (node->kind == Kind::Scalar) return action(*node);
    if (node->kind == Kind::Map) return m_to.mistakes.Add(node->place, "expected a name, or a list of names");
    for (const auto& each : node->children) {
      if (each.kind == Kind::Scalar)
        action(each);
      else
        m_to.mistakes.Add(each.place, "expected a name");
    }
  }

  void Include(const YamlNode* node, const Level& level) {
    ForEachText(node, [&](const YamlNode& each) { IncludePattern(each, level); });
  }

  void IncludePattern(const YamlNode& pattern, const Level& level) {
    const fs::path path = pattern.text;
    if (level.folder.empty()) return m_to.mistakes.Add(pattern.place, "nothing can be included here");
    if (path.empty() || path.is_absolute() || std::ranges::find(path, fs::path("..")) != path.end() ||
        pattern.text.find('\0') != std::string::npos)
      return m_to.mistakes.Add(pattern.place, Quoted(pattern.text) + " is not below this file's folder");
    const auto files = Matches(level.folder, pattern.text);
    const bool isOne = pattern.text.find_first_of("*?[") == std::string::npos;
    if (files.empty() && isOne)
      return m_to.mistakes.Add(pattern.place, Quoted(pattern.text) + ": no such file");
    const auto self = m_to.files[pattern.place.file];
    std::error_code error;
    for (const auto& file : files) {
      if (!isOne && fs::equivalent(file, self, error)) continue;
      if (IsBelow(file, level.folder))
        Read(fs::path(file).lexically_normal().string(), pattern.place, &level);
      else
        m_to.mistakes.Add(pattern.place, file + ": leads out of this file's folder");
    }
  }

  static bool IsBelow(const std::string& file, const std::string& folder) {
    std::error_code error;
    const auto path = fs::canonical(file, error), top = fs::canonical(folder, error);
    if (error) return true;  // reading it says more
    return std::mismatch(top.begin(), top.end(), path.begin(), path.end()).first == top.end();
  }

  void ReadMonitors(const YamlNode* node, const Level& level) {
    if (!RequireMap(node, "monitors")) return;
    m_to.monitors.reserve(m_to.monitors.size() + node->children.size() / 2);
    for (std::size_t i = 0; i < node->children.size(); i += 2)
      ReadMonitor(node->children[i], node->children[i + 1], level);
  }

  void ReadMonitor(const YamlNode& name, const YamlNode& node, const Level& level) {
    // A name in bytes is in some data file.
    const auto readable = name.asIs ? platform::ValidUtf8(name.text) : name.text;
    if (const auto mistake = NameMistake(readable, m_types)) return m_to.mistakes.Add(name.place, *mistake);
    if (const auto [other, isNew] = m_places.emplace(name.text, name.place); !isNew) {
      // In one place it was said already.
      if (other->second.file != name.place.file)
        m_to.mistakes.Add(name.place,
                          Quoted(name.text) + " is there already: " + TextOf(other->second, m_to.files));
      return;
    }
    if (m_places.size() == ce::MaxMonitors + 1)
      m_to.mistakes.Add(name.place, "more than " + std::to_string(ce::MaxMonitors) + " monitors");
    const auto type = TypeNameOf(name.text);
    Settings settings;
    Overlay(settings, level.defaults, type);
    if (node.kind == Kind::Map) UseTemplates(Section(node, "use"), level, type, settings);
    Overlay(settings, SettingsReader(level.folder, Use, m_to.mistakes).Read(node, type), {});
    const bool hasTarget =
        std::ranges::any_of(settings, [](const Setting& each) { return each.key == ce::keys::Parameter; });
    if (!hasTarget)
      m_to.mistakes.Add(name.place,
                        Quoted(name.text) + " lacks " + (type == ce::TypeWeb ? "\"url\"" : "\"server\""));
    m_to.monitors.push_back({name.text, name.place, Resolve(settings, m_passwords, m_to.mistakes)});
  }

  void UseTemplates(const YamlNode* node, const Level& level, std::string_view type, Settings& settings) {
    ForEachText(node, [&](const YamlNode& name) {
      if (const auto* found = FindTemplate(level, name.text)) return Overlay(settings, found->settings, type);
      std::vector<std::string_view> known;
      for (const auto* each = &level; each != nullptr; each = each->above)
        for (const auto& [other, settingsOf] : each->templates)
          known.push_back(other);
      std::ranges::sort(known);
      m_to.mistakes.Add(name.place,
                        "no template " + Quoted(name.text) + DidYouMean(Nearest(name.text, known)));
    });
  }

  std::span<const std::string_view> m_types;
  Description& m_to;
  std::set<std::string> m_read;                     // files, by their canonical paths
  std::unordered_map<std::string, Place> m_places;  // of monitors
  PasswordFiles m_passwords;
};

}  // namespace

Description ReadMonitorFiles(const std::vector<std::string>& paths, std::span<const std::string_view> types) {
  Description description;
  FilesReader reader(types, description);
  for (const auto& path : paths)
    reader.ReadPath(path);
  return description;
}

Description ReadMonitorText(std::string_view text, std::span<const std::string_view> types) {
  Description description;
  FilesReader(types, description).ReadText(text, "text");
  return description;
}

}  // namespace norvane::text
