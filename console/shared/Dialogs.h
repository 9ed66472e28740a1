#pragma once

#include <functional>
#include <optional>
#include <string>

namespace norvane::console::shared {

enum class BoxIcon { None, Information, Exclamation, Question, Critical };
enum class BoxButtons { Ok, YesNo };
enum class BoxChoice { Ok, Yes, No };

/// A modal message box. Title and text are plain text, never markup.
struct Box {
  std::string title;
  std::string text;
  BoxIcon icon = BoxIcon::None;
  BoxButtons buttons = BoxButtons::Ok;

  friend bool operator==(const Box&, const Box&) = default;
};

/// Message boxes, the file dialog, the pointer and the desktop's programs: all that a form shows other than
/// by its own controls. Text is UTF-8. Nothing here throws.
class Dialogs {
 public:
  virtual ~Dialogs() = default;

  /// Returns when the user has answered. Esc and the box's close button mean OK, or No where there is one.
  virtual BoxChoice Show(const Box& box) = 0;
  /// Lets the user choose an existing file, beginning in `startFolder`. `filter` is a list of names and
  /// patterns, separated by "|", the patterns of one name by ";"; "*.*" matches every file. Empty if the user
  /// cancelled.
  virtual std::optional<std::string> OpenFile(const std::string& startFolder, const std::string& filter) = 0;
  /// Opens a file, or an address if the text begins with a scheme, with the program that the desktop has for
  /// it. Calls `notOpened`, at once or some time later, if there is no such file, or no such program.
  virtual void Open(const std::string& pathOrAddress, std::function<void()> notOpened) = 0;
  /// The pointer over all windows: an hourglass, or the normal one again.
  virtual void ShowHourglass(bool shown) = 0;
  /// The box for a user who acts while an engine call is pending.
  virtual void SetPendingCallText(const std::string& text, const std::string& title) = 0;
};

}  // namespace norvane::console::shared
