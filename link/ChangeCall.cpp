#include "link/ChangeCall.h"

#include "console/engine/EngineError.h"
#include "link/Wire.h"

namespace norvane::link {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::engine::MonitorChange;

namespace {
/// Bytes of a message, but for a single change that has more.
constexpr std::size_t MessageSize = 64 << 10;

std::size_t SizeOf(const MonitorChange& change) {
  std::size_t size = change.name.size();
  for (const auto& [key, value] : change.values)
    size += key.size() + value.size();
  return size;
}

/// Far below that of a message, since lists take some too.
constexpr std::size_t MaxSizeOfOne = 24 << 20;

void Write(const MonitorChange& from, wire::MonitorChange::Builder to) {
  to.setName(ToText(from.name));
  to.setWhat(static_cast<wire::MonitorChange::What>(from.what));
  auto values = to.initValues(static_cast<unsigned>(from.values.size()));
  for (unsigned i = 0; i < values.size(); ++i) {
    values[i].setKey(ToText(from.values[i].first));
    values[i].setValue(ToData(from.values[i].second));
  }
}

/// Whether the engine did it.
bool Accepts(wire::Answer::Reader answer, CallState& state) {
  if (answer.isError()) state.Fail(std::make_exception_ptr(ReadError(answer.getError())));
  return !answer.isError();
}
}  // namespace

void ChangeCall::RequireSendable() const {
  for (const auto& change : m_changes) {
    if (SizeOf(change) > MaxSizeOfOne)
      throw EngineError(EngineErrorCode::Invalid, change.name + ": more than 24 MiB of values");
  }
}

kj::Promise<std::uint64_t> ChangeCall::Run(wire::Session::Client& session, CallState& state) {
  return session.changeRequest().send().then([this, &state](auto&& results) -> kj::Promise<std::uint64_t> {
    if (!Accepts(results.getAnswer(), state)) return results.getAnswer().getChange();
    return SendRest(results.getTransaction(), state);
  });
}

kj::Promise<std::uint64_t> ChangeCall::SendRest(wire::Transaction::Client transaction, CallState& state) {
  if (m_next == m_changes.size()) {
    auto request = transaction.commitRequest();
    request.setBasedOn(m_basedOn);
    return request.send().then([&state](auto&& results) -> std::uint64_t {
      static_cast<void>(Accepts(results.getAnswer(), state));
      return results.getAnswer().getChange();
    });
  }
  auto request = transaction.addRequest();
  FillNext(request);
  return request.send().then(
      [this, transaction, &state](auto&& results) mutable -> kj::Promise<std::uint64_t> {
        if (!Accepts(results.getAnswer(), state)) return results.getAnswer().getChange();
        return SendRest(kj::mv(transaction), state);
      });
}

void ChangeCall::FillNext(wire::Transaction::AddParams::Builder request) {
  const auto first = m_next;
  std::size_t bytes = 0;
  while (m_next < m_changes.size() && (m_next == first || bytes < MessageSize))
    bytes += SizeOf(m_changes[m_next++]);
  auto changes = request.initChanges(static_cast<unsigned>(m_next - first));
  for (unsigned i = 0; i < changes.size(); ++i)
    Write(m_changes[first + i], changes[i]);
}

}  // namespace norvane::link
