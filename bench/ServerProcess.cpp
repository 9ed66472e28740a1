#include "bench/ServerProcess.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <array>
#include <exception>
#include <stdexcept>

namespace norvane::bench {

namespace {
struct Pipe {
  platform::FileDescriptor reader, writer;
};

Pipe NewPipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {platform::FileDescriptor(ends[0]), platform::FileDescriptor(ends[1])};
}

[[noreturn]] void Serve(const ServerProcess::Start& start, int answer, int end) {
  try {
    int port = 0;
    const auto server = start(port);
    char byte = 0;
    const bool isTold = ::write(answer, &port, sizeof port) == sizeof port;
    while (isTold && ::read(end, &byte, 1) > 0) {
    }
    ::_exit(0);
  } catch (const std::exception&) {
    ::_exit(1);  // the other end reads no port
  }
}
}  // namespace

ServerProcess::ServerProcess(const Start& start) {
  auto answer = NewPipe();
  auto end = NewPipe();
  m_process = ::fork();
  if (m_process == 0) {
    end.writer.Reset();
    Serve(start, answer.writer.Get(), end.reader.Get());
  }
  answer.writer.Reset();
  m_end = std::move(end.writer);
  if (::read(answer.reader.Get(), &m_port, sizeof m_port) != sizeof m_port)
    throw std::runtime_error("a server does not start");
}

ServerProcess::~ServerProcess() {
  m_end.Reset();
  ::waitpid(m_process, nullptr, 0);
}

}  // namespace norvane::bench
