#pragma once

#include <string>

namespace norvane::demo {

/// The application folder of the demonstration, with links to the programs and the help.
class DemoFolder {
 public:
  /// Made fresh: an engine that still serves an earlier one is ended. `programs` is the folder of the built
  /// programs.
  DemoFolder(const std::string& path, const std::string& programs);
  /// Ends the engine; the folder stays, for its logs.
  ~DemoFolder();
  DemoFolder(const DemoFolder&) = delete;
  DemoFolder& operator=(const DemoFolder&) = delete;

  [[nodiscard]] const std::string& Path() const { return m_path; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return m_path + "/" + name; }
  /// Writes a file of the folder.
  void Write(const std::string& name, const std::string& content) const;
  /// Ends the engine of this folder, if there is one.
  void EndEngine() const;

 private:
  std::string m_path;
};

}  // namespace norvane::demo
