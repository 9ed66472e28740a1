#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

namespace norvane::testing {

/// A fresh folder for one test, removed with all that lies in it.
class TemporaryFolder {
 public:
  TemporaryFolder() : m_path((std::filesystem::temp_directory_path() / "norvane-XXXXXX").string()) {
    if (!::mkdtemp(m_path.data())) throw std::system_error(errno, std::generic_category(), m_path);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;  // a leftover in the temporary folder fails no test
    std::filesystem::remove_all(m_path, ignored);
  }

  [[nodiscard]] const std::string& Path() const { return m_path; }
  /// The path of `name` in the folder.
  [[nodiscard]] std::string operator/(std::string_view name) const {
    return m_path + "/" + std::string(name);
  }

 private:
  std::string m_path;
};

/// Writes the whole file and gives its path back.
inline std::string WriteFile(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
  return path;
}

/// The content of a file; empty if there is none.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace norvane::testing
