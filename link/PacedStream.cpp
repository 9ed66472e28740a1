#include "link/PacedStream.h"

namespace norvane::link {

kj::Promise<size_t> PacedStream::tryRead(void* buffer, size_t minBytes, size_t maxBytes) {
  if (!m_writing) return m_inner->tryRead(buffer, minBytes, maxBytes);
  auto written = kj::newPromiseAndFulfiller<void>();
  m_reader = kj::mv(written.fulfiller);
  return written.promise.then(
      [this, buffer, minBytes, maxBytes] { return tryRead(buffer, minBytes, maxBytes); });
}

kj::Promise<void> PacedStream::write(const void* buffer, size_t size) {
  return Track(m_inner->write(buffer, size));
}

kj::Promise<void> PacedStream::write(kj::ArrayPtr<const kj::ArrayPtr<const kj::byte>> pieces) {
  return Track(m_inner->write(pieces));
}

kj::Promise<void> PacedStream::Track(kj::Promise<void> write) {
  m_writing = true;
  return write.attach(kj::defer([this] {
    m_writing = false;
    if (m_reader.get() != nullptr) m_reader->fulfill();
  }));
}

}  // namespace norvane::link
