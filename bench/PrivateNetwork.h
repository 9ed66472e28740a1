#pragma once

#include <string>

namespace norvane::bench {

/// Puts this process, which has one thread, into a network of its own with the loopback device alone, in
/// which names are asked of the server at 127.0.0.1, port 53, and every port may be bound. `folder` is for a
/// file. Throws std::runtime_error where the machine doesn't allow it.
void EnterPrivateNetwork(const std::string& folder);

}  // namespace norvane::bench
