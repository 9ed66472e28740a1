#pragma once

#include <string>

namespace norvane::engine {

/// What a notification that was not accepted says of others.
struct SendFailure {
  enum class Blame {
    Server,     ///< it does not serve, or nobody can tell
    Recipient,  ///< messages to others may be accepted
    Message,    ///< likewise others to the same recipient
  };
  Blame blame = Blame::Server;
  bool mayHaveArrived = false;  ///< the server had all of it, and did not answer
  std::string left{};  ///< those of several recipients who have yet to get it, if others have; else empty
};

}  // namespace norvane::engine
