#pragma once

#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::service {

/// One engine per folder: holds a lock on a file in it for as long as this object lives, or the process.
class FolderLock {
 public:
  /// Throws FolderTaken if another engine holds it, std::system_error if the folder cannot be written.
  explicit FolderLock(const std::string& folder);

 private:
  platform::FileDescriptor m_file;
};

/// Thrown with a text for the user.
struct FolderTaken {
  std::string text;
};

}  // namespace norvane::service
