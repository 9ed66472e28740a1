#pragma once

#include <string>

#include "loopback/HttpServer.h"
#include "loopback/MailServers.h"
#include "loopback/PagerGateway.h"

namespace norvane::demo {

/// The services that are watched, and those that carry its notifications, on loopback ports.
struct DemoServers {
  DemoServers();

  // Each is good until told otherwise.
  void SetShop(bool good);
  void SetMailbox(bool good);
  void SetRelay(bool good);
  /// Whether it accepts notifications by mail.
  void SetPost(bool good);

  loopback::HttpServer web;
  loopback::Pop3Server mailbox;
  loopback::SmtpServer relay;
  loopback::SmtpServer post;
  loopback::PagerGateway gateway;
};

/// Pages of the web server. The shop's has a basket while it is good; that which hangs never ends.
inline constexpr char ShopPage[] = "/shop/index.htm";
inline constexpr char PricesPage[] = "/prices.htm";
inline constexpr char NewsPage[] = "/news.htm";
inline constexpr char HangingPage[] = "/slow.htm";
inline constexpr char ShopFlag[] = "Add to basket";
/// The size of the prices' page, in the character set that counts.
[[nodiscard]] std::string PricesSize();

/// The mailbox's account.
inline constexpr char Account[] = "orders";
inline constexpr char Password[] = "open sesame";

}  // namespace norvane::demo
