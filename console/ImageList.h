#pragma once

#include <QIcon>
#include <string>
#include <unordered_map>

namespace norvane::console {

/// The small images of tree and list, by key. Must go before the application object does.
class ImageList {
 public:
  ImageList();
  /// Empty for an unknown key.
  [[nodiscard]] QIcon Image(const std::string& key) const;

 private:
  std::unordered_map<std::string, QIcon> m_images;
};

/// One of the program's drawings, by file name without its ending.
[[nodiscard]] QIcon Drawing(const std::string& name);

}  // namespace norvane::console
