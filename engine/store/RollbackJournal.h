#pragma once

#include <optional>
#include <string>

namespace norvane::engine::datafile {

/// A name for the state that comes after `known`, if that was the last one. It has the former's name in it.
[[nodiscard]] std::string NextState(const std::optional<std::string>& known = {});

/// SQLite rolls back what a killed save left half done, by a journal beside the file, into whatever file lies
/// there. If that isn't the one that was saved, the journal is kept under another name, which is given; else
/// nothing happens. To be called before the file is opened. Throws StoreError.
[[nodiscard]] std::string KeepForeignRollback(const std::string& path);

}  // namespace norvane::engine::datafile
