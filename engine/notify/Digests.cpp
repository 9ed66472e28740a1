#include "engine/notify/Digests.h"

#include <algorithm>
#include <utility>

namespace norvane::engine {

using std::chrono::system_clock;

void Digests::Restore(const SingleMails& singles) {
  const auto now = system_clock::now();
  for (const auto& [identity, mail] : singles) {
    const auto age = std::clamp<system_clock::duration>(now - mail.at, {}, Window);
    m_addresses[mail.address].singles.push_back({m_clock() - age, identity});
  }
  for (auto& [name, address] : m_addresses) {
    std::ranges::sort(address.singles, {}, &Single::at);
    ForgetOldSingles(address);
  }
}

SingleMailChanges Digests::DequeueChanges() {
  return std::exchange(m_changes, {});
}

bool Digests::Gather(const std::string& name, const std::string& identity) {
  const auto now = m_clock();
  auto& address = m_addresses[name];
  ForgetOldSingles(address);
  if (address.gathering.empty()) {
    if (address.singles.size() < m_single) {
      address.singles.push_back({now, identity});
      m_changes[identity] = SingleMail{name, system_clock::now()};
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

void Digests::ForgetOldSingles(Address& address) {
  while (!address.singles.empty() && m_clock() >= address.singles.front().at + Window) {
    m_changes[address.singles.front().identity] = std::nullopt;
    address.singles.pop_front();
  }
}

}  // namespace norvane::engine
