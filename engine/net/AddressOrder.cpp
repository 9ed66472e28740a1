#include "engine/net/AddressOrder.h"

#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <tuple>
#include <utility>

#include "platform/FileDescriptor.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

namespace {

using Bytes = std::array<std::uint8_t, 16>;

/// IPv4 as IPv6 writes it.
Bytes BytesOf(const sockaddr& address) {
  Bytes bytes{};
  if (address.sa_family == AF_INET6) {
    std::memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr, bytes.size());
  } else {
    bytes[10] = bytes[11] = 0xff;
    std::memcpy(&bytes[12], &reinterpret_cast<const sockaddr_in&>(address).sin_addr, 4);
  }
  return bytes;
}

struct Policy {
  Bytes prefix;
  std::size_t size;  // of the prefix, in bits
  int precedence, label;
};

bool IsWithin(const Bytes& address, const Bytes& prefix, std::size_t bits) {
  for (std::size_t i = 0; i < bits; ++i)
    if (((address[i / 8] ^ prefix[i / 8]) & (0x80 >> i % 8)) != 0) return false;
  return true;
}

/// RFC 6724, section 2.1, the longest prefixes first.
const Policy& PolicyOf(const Bytes& address) {
  static constexpr Policy Policies[] = {
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 128, 50, 0},  // ::1
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}, 96, 35, 4},         // IPv4
      {{}, 96, 1, 3},
      {{0x20, 0x01}, 32, 5, 5},
      {{0x20, 0x02}, 16, 30, 2},
      {{0x3f, 0xfe}, 16, 1, 12},
      {{0xfe, 0xc0}, 10, 1, 11},
      {{0xfc}, 7, 3, 13},
      {{}, 0, 40, 1},
  };
  return *std::ranges::find_if(
      Policies, [&](const Policy& policy) { return IsWithin(address, policy.prefix, policy.size); });
}

/// RFC 6724, section 3.1.
int ScopeOf(const Bytes& address) {
  constexpr int LinkLocal = 2, SiteLocal = 5, Global = 14;
  const bool isIPv4 = PolicyOf(address).label == 4;
  if (isIPv4 && (address[12] == 127 || (address[12] == 169 && address[13] == 254))) return LinkLocal;
  if (PolicyOf(address).label == 0 || IsWithin(address, {0xfe, 0x80}, 10)) return LinkLocal;
  if (PolicyOf(address).label == 11) return SiteLocal;
  return address[0] == 0xff ? address[1] & 0x0f : Global;
}

/// The address by which this machine would go to `peer`. Nothing is sent.
std::optional<Bytes> SourceFor(const platform::SocketAddress& peer) {
  const platform::FileDescriptor socket(
      ::socket(peer.storage.ss_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket || ::connect(socket.Get(), &peer.Get(), peer.size) != 0) return std::nullopt;
  platform::SocketAddress own;
  own.size = sizeof own.storage;
  if (::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&own.storage), &own.size) != 0)
    return std::nullopt;
  return BytesOf(own.Get());
}

std::optional<platform::SocketAddress> Parse(const std::string& address) {
  constexpr std::uint16_t AnyPort = 53;
  return platform::ParseNumericAddress(address, AnyPort);
}

/// The rules 1, 2, 5, 6 and 8 of RFC 6724, section 6; the smaller is the better.
std::tuple<bool, bool, bool, int, int> RankOf(const std::string& address) {
  const auto peer = Parse(address);
  if (!peer) return {true, true, true, 0, 0};
  const auto bytes = BytesOf(peer->Get());
  const auto source = SourceFor(*peer);
  return {!source, !source || ScopeOf(*source) != ScopeOf(bytes),
          !source || PolicyOf(*source).label != PolicyOf(bytes).label, -PolicyOf(bytes).precedence,
          ScopeOf(bytes)};
}

}  // namespace

std::vector<std::string> InOrderOfUse(std::vector<std::string> addresses) {
  if (addresses.size() < 2) return addresses;
  std::vector<std::pair<std::tuple<bool, bool, bool, int, int>, std::string>> ranked;
  for (auto& address : addresses)
    ranked.emplace_back(RankOf(address), std::move(address));
  std::ranges::stable_sort(ranked, {}, [](const auto& entry) { return entry.first; });
  std::ranges::transform(ranked, addresses.begin(), [](auto& entry) { return std::move(entry.second); });
  return addresses;
}

bool HasRoute(const std::string& address) {
  const auto peer = Parse(address);
  return peer && SourceFor(*peer);
}

}  // namespace norvane::engine
