#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "platform/FileDescriptor.h"

namespace norvane::bench {

/// When requests came, as one process writes it down and another reads it: shared memory.
class Arrivals {
 public:
  struct Entry {
    std::uint32_t monitor;
    std::int64_t at;  ///< nanoseconds of the steady clock
  };

  Arrivals();
  ~Arrivals();
  Arrivals(const Arrivals&) = delete;
  Arrivals& operator=(const Arrivals&) = delete;

  /// Beyond the capacity nothing is noted any more.
  void Note(std::uint32_t monitor);
  void Clear();
  [[nodiscard]] std::uint32_t Count() const;
  [[nodiscard]] std::vector<Entry> All() const;

 private:
  static constexpr std::uint32_t Capacity = 1u << 20;
  struct Shared {
    std::atomic<std::uint32_t> count;
    std::array<Entry, Capacity> entries;
  };
  Shared* m_shared;
};

/// A web server on a loopback port that does as little as can be: one request a connection, one page for
/// all. A path is "/NUMBER", whose arrival is noted; "/hung" never gets an answer. In a thread of its own.
class PageServer {
 public:
  PageServer(const std::string& page, Arrivals& arrivals);
  ~PageServer();
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  [[nodiscard]] int Port() const { return m_port; }

 private:
  void Run();
  void AcceptAll();
  void Serve(platform::FileDescriptor connection);
  void Watch(int fd);

  std::string m_reply;
  Arrivals& m_arrivals;
  int m_port = 0;  // told by the listener's making
  platform::FileDescriptor m_listener;
  platform::FileDescriptor m_epoll;
  std::atomic<bool> m_isEnding = false;
  std::thread m_thread;
};

}  // namespace norvane::bench
