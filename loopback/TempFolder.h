#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace norvane::loopback {

/// A fresh folder, gone with everything in it at the end of the test.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "norvane-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;  // a test that took rights away from its folder has failed already
    std::filesystem::remove_all(m_path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  [[nodiscard]] const std::string& Path() const { return m_path; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

}  // namespace norvane::loopback
