#pragma once

#include <kj/async-io.h>
#include <kj/function.h>
#include <kj/vector.h>

namespace norvane::link {

/// Backpressure: stops reading from the peer until it has read what was written to it, so that a peer that
/// sends calls without reading the answers cannot make us queue them. The peer must read without waiting for
/// its own writes. A single read of more than `maxRead` bytes, by which the rest of a message comes, fails
/// before it begins.
class PacedStream final : public kj::AsyncIoStream {
 public:
  PacedStream(kj::Own<kj::AsyncIoStream> inner, kj::Function<size_t()> maxRead)
      : m_inner(kj::mv(inner)), m_maxRead(kj::mv(maxRead)) {}

  kj::Promise<size_t> tryRead(void* buffer, size_t minBytes, size_t maxBytes) override;
  kj::Promise<void> write(const void* buffer, size_t size) override;
  kj::Promise<void> write(kj::ArrayPtr<const kj::ArrayPtr<const kj::byte>> pieces) override;
  kj::Promise<void> whenWriteDisconnected() override { return m_inner->whenWriteDisconnected(); }
  void shutdownWrite() override { m_inner->shutdownWrite(); }
  void abortRead() override { m_inner->abortRead(); }

  /// Done when the peer has read all that was written so far.
  kj::Promise<void> WhenAllIsRead();

 private:
  kj::Promise<void> WhenWritten();
  kj::Promise<void> Track(kj::Promise<void> write);

  kj::Own<kj::AsyncIoStream> m_inner;
  kj::Function<size_t()> m_maxRead;
  bool m_writing = false;
  kj::Vector<kj::Own<kj::PromiseFulfiller<void>>> m_waiting;  ///< for the write's end
};

}  // namespace norvane::link
