#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <system_error>

namespace norvane::platform {

/// The folder that holds this program, absolute, without links and without a slash at its end (but "/"). A
/// link to the program counts as lying where the link lies. It is looked up at the first call, which so
/// belongs before any change of the working folder; throws std::system_error if it cannot be found. Any
/// thread.
[[nodiscard]] const std::string& ApplicationFolder();

/// The application folder that a command line names, absolute and without a slash at its end; the program's
/// own if it names none.
[[nodiscard]] std::string FolderOrOwn(const std::string& named);

/// The folder in which the program called as `calledAs` (argv[0]) lies; a name without "/" is looked for in
/// `searchPath`, a list of folders joined by ":". Empty if no such file exists.
[[nodiscard]] std::string FolderOfProgram(const std::string& calledAs, std::string_view searchPath);

/// `path` with "/" for each "\", as attributes and the console write paths: a folder followed by "\log\x".
[[nodiscard]] std::string NativePath(std::string path);

/// Whether a regular file lies at `path`, links followed. A path that the system refuses does not exist.
[[nodiscard]] bool FileExists(const std::string& path);

/// Makes the folder `path` and what is missing above it, each with mode 0700. No error if it is there
/// already.
[[nodiscard]] std::error_code MakeFolder(const std::string& path);

/// Lets members of the group use what lies in the folder and lets them in, without seeing what else is there:
/// mode g+x alone. Only a member, or root, can give a folder to a group.
[[nodiscard]] std::error_code LetGroupThrough(const std::string& folder, gid_t group);

/// The name of this computer, at most 49 bytes of it.
[[nodiscard]] std::string ComputerName();

}  // namespace norvane::platform
