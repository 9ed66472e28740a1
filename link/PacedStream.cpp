#include "link/PacedStream.h"

#include <kj/debug.h>

#include "platform/MemoryReserve.h"

namespace norvane::link {

namespace {
/// What a usual call and its answer need, and less than what the allocator maps and unmaps each time
/// (`platform::TuneAllocator`), which took longer than a change of a monitor.
constexpr std::size_t EnoughForCall = 120 << 10;
}  // namespace

kj::Promise<size_t> PacedStream::tryRead(void* buffer, size_t minBytes, size_t maxBytes) {
  platform::EnsureMemory(EnoughForCall);
  if (minBytes > m_maxRead()) return KJ_EXCEPTION(FAILED, "message too large at this point", minBytes);
  if (!m_writing) return m_inner->tryRead(buffer, minBytes, maxBytes);
  return WhenWritten().then(
      [this, buffer, minBytes, maxBytes] { return tryRead(buffer, minBytes, maxBytes); });
}

kj::Promise<void> PacedStream::WhenAllIsRead() {
  // Last, since the write of the next message in the queue begins only after the end of the one before.
  return kj::evalLast([this]() -> kj::Promise<void> {
    if (!m_writing) return kj::READY_NOW;
    return WhenWritten().then([this] { return WhenAllIsRead(); });
  });
}

kj::Promise<void> PacedStream::WhenWritten() {
  auto written = kj::newPromiseAndFulfiller<void>();
  m_waiting.add(kj::mv(written.fulfiller));
  return kj::mv(written.promise);
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
    for (auto& waiting : m_waiting)
      waiting->fulfill();
    m_waiting.clear();
  }));
}

}  // namespace norvane::link
