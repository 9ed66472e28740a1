#pragma once

#include <span>
#include <string_view>

class QWidget;

namespace norvane::console {

namespace shared {
class MainBas;
class Page;
}  // namespace shared

/// What the console has for a type of monitor. A monitor of any other type is shown in tree and list only.
struct TypeForms {
  std::string_view name;  ///< as the engine knows it; also the key of its image
  shared::Page* (*loadPage)(shared::MainBas& bas, QWidget* parent);
  const char* menu = nullptr;     ///< name of the entry of `mnuNew` that opens its wizard; null without one
  const char* caption = nullptr;  ///< of that entry
  void (*menuClick)(shared::MainBas& bas, QWidget& owner) = nullptr;
};

/// One row each. Its place in the list is the slot of its page in `PageForms`, and of its entry in the menu.
/// The page of the first gives the main window its width.
[[nodiscard]] std::span<const TypeForms> FormTable();

}  // namespace norvane::console
