#pragma once

#include <string>

class QWidget;

namespace norvane::demo {

/// A folder of pictures of windows.
class Pictures {
 public:
  /// Makes the folder.
  explicit Pictures(const std::string& folder);

  /// Writes a window that is on show, in a frame with its title, as NAME.png. Throws if it can't.
  void Capture(QWidget& window, const std::string& name);
  [[nodiscard]] int Count() const { return m_count; }

 private:
  const std::string m_folder;
  int m_count = 0;
};

}  // namespace norvane::demo
