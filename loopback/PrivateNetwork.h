#pragma once

#include <string>

namespace norvane::loopback {

/// Puts this process, which has one thread, into a network of its own with the loopback device alone, in
/// which every port may be bound. Throws std::runtime_error where the machine doesn't allow it.
void EnterPrivateNetwork();

/// There, makes this process and its children ask the server at 127.0.0.1, port 53, for names. `folder` is
/// for a file.
void AskLoopbackForNames(const std::string& folder);

}  // namespace norvane::loopback
