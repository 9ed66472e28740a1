#include "engine/net/HostsFile.h"

#include <gtest/gtest.h>
#include <netinet/in.h>

#include "engine/net/AddressOrder.h"
#include "loopback/TempFolder.h"
#include "platform/FileDescriptor.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using Strings = std::vector<std::string>;
using tests::Rows;

TEST(HostsFile, FindsAllAddressesOfANameAndOfItsAliases) {
  const loopback::TempFolder folder;
  HostsFile hosts(tests::WriteFile(folder / "hosts",
                                   "# 192.0.2.9 commented\n"
                                   "192.0.2.1 shop.test shop Web # rest\n"
                                   " \t192.0.2.2\tshop.test\r\n"
                                   "2001:db8:0::1 SHOP.TEST shop.test\n"
                                   "\n192.0.2.3\n"
                                   "fe80::1%eth0 scoped\n"
                                   "192.0.2 broken\n"
                                   "192.0.2.4 last"));
  const Rows<const char*, Strings> rows = {
      {"shop.test", {"192.0.2.1", "192.0.2.2", "2001:db8::1"}},
      {"Shop.Test", {"192.0.2.1", "192.0.2.2", "2001:db8::1"}},
      {"shop", {"192.0.2.1"}},
      {"web", {"192.0.2.1"}},
      {"last", {"192.0.2.4"}},
      {"commented", {}},
      {"rest", {}},
      {"scoped", {}},
      {"broken", {}},
      {"192.0.2.1", {}},
      {"", {}},
  };
  for (const auto& [name, addresses] : rows)
    EXPECT_EQ(hosts.Find(name, {}), addresses) << name;
}

TEST(HostsFile, IsReadAgainWhenItHasChanged) {
  const loopback::TempFolder folder;
  HostsFile hosts(folder / "hosts");
  Moment now{std::chrono::hours(1)};
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (const Strings& addresses : {Strings{"192.0.2.1"}, {"192.0.2.22"}, {}}) {
    EXPECT_NE(hosts.Find("shop.test", now), addresses);
    if (addresses.empty())
      std::filesystem::remove(folder / "hosts");
    else
      tests::WriteFile(folder / "hosts", addresses[0] + " shop.test\n");
    while (hosts.Find("shop.test", now) != addresses) {
      ASSERT_LT(std::chrono::steady_clock::now(), end);
      now += std::chrono::seconds(1);
      std::this_thread::yield();
    }
  }
}

TEST(HostsFile, KeepsItsNamesWhileItCannotBeRead) {
  const loopback::TempFolder folder;
  const std::filesystem::path path = folder / "hosts", aside = folder / "aside";
  HostsFile hosts(tests::WriteFile(path, "192.0.2.1 shop.test\n"));
  Moment now{std::chrono::hours(1)};
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (const bool isUnreadable : {true, false}) {
    if (isUnreadable) {
      std::filesystem::rename(path, aside);
      std::filesystem::create_symlink(path, path);  // not even root can read that
    } else {
      std::filesystem::rename(aside, path);
    }
    do {
      ASSERT_LT(std::chrono::steady_clock::now(), end);
      EXPECT_EQ(hosts.Find("shop.test", now), Strings{"192.0.2.1"});
      now += std::chrono::seconds(1);
      std::this_thread::yield();
    } while (hosts.IsUnreadable(now) != isUnreadable);
  }
}

bool HasIPv6() {
  const platform::FileDescriptor socket(::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  return ::bind(socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

TEST(AddressOrder, WhatIsWithinReachAndNearComesFirst) {
  const std::string ipv6 = "::1", near = "127.0.0.1", other = "127.0.0.2", beyond = "fe80::1";
  const Rows<Strings, Strings> rows = {
      {{}, {}},
      {{beyond}, {beyond}},
      {{other, near}, {other, near}},
      {{beyond, near}, {near, beyond}},
      {{near, ipv6}, HasIPv6() ? Strings{ipv6, near} : Strings{near, ipv6}},
      {{"ff05::1", other, "fe80::2", near, beyond}, {other, near, "ff05::1", "fe80::2", beyond}},
  };
  for (const auto& [addresses, ordered] : rows)
    EXPECT_EQ(InOrderOfUse(addresses), ordered) << testing::PrintToString(addresses);
}

}  // namespace
}  // namespace norvane::engine
