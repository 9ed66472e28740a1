#pragma once

#include <string>

namespace norvane::console::engine {

/// How fetching a page ended.
struct PageReply {
  enum class End { Complete, TimedOut, Failed };
  End end = End::Failed;
  std::string reason;       ///< of a failure, for people
  std::string body;         ///< bytes as they were served; of a stopped fetch as far as they came
  std::string contentType;  ///< the header's value with its parameters; empty if there was none
  int status = 0;           ///< of HTTP; 0 if no reply had begun
};

/// A page on its way. Destroying it gives the page up.
class PageFetch {
 public:
  virtual ~PageFetch() = default;
  [[nodiscard]] virtual bool HasEnded() = 0;
  /// Ends it at once: it is complete with what has come so far. Harmless if it has ended.
  virtual void Stop() = 0;
  /// Waits for the end. Once.
  [[nodiscard]] virtual PageReply Reply() = 0;
};

}  // namespace norvane::console::engine
