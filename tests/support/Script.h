#pragma once

#include <string>

namespace norvane::tests {

/// Plays a story of the console, told in a text file, and fails the test if it comes out another way. The
/// console is the whole one, on a fake engine and fake dialogs.
///
/// A line that begins with ">" is what the user does, or what the world is like; the verbs stand in
/// Script.cpp. The lines below it are what comes of it, in order: calls of the engine, boxes with title,
/// icon, text and answer, windows, files opened, the hourglass; then whatever of the forms on show is not as
/// it was before.
/// "==" begins a new console in a new folder; "#" is a remark.
///
/// `NORVANE_RENEW=1 ctest --preset dev -R Script` writes into all files what comes of their stories today,
/// and fails. Read the difference like code: a story is a promise to the user.
void PlayScript(const std::string& path);

}  // namespace norvane::tests
