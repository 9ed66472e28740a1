#include "engine/notify/Digests.h"

#include <utility>

namespace norvane::engine {

bool Digests::Gather(const std::string& name, const std::string& identity) {
  const auto now = m_clock();
  auto& address = m_addresses[name];
  ForgetOldSingles(address);
  if (address.gathering.empty()) {
    if (address.singles.size() < m_single) {
      address.singles.push_back(now);
      return false;
    }
    address.first = now;
  }
  address.last = now;
  address.gathering.push_back(identity);
  return true;
}

std::vector<std::vector<std::string>> Digests::Close() {
  std::vector<std::vector<std::string>> closed;
  const auto now = m_clock();
  for (auto& [name, address] : m_addresses) {
    ForgetOldSingles(address);
    if (!address.gathering.empty() && (now >= address.last + QuietTime || now >= address.first + MaxTime))
      closed.push_back(std::exchange(address.gathering, {}));
  }
  std::erase_if(m_addresses, [](const auto& each) {
    return each.second.singles.empty() && each.second.gathering.empty();
  });
  return closed;
}

void Digests::ForgetOldSingles(Address& address) const {
  while (!address.singles.empty() && m_clock() >= address.singles.front() + Window)
    address.singles.pop_front();
}

}  // namespace norvane::engine
