#pragma once

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace norvane::tests {

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

/// The permissions of a file or folder, as for `chmod`.
inline mode_t ModeOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) throw std::runtime_error("there is no " + path);
  return status.st_mode & 07777;
}

}  // namespace norvane::tests
