#include "demo/DemoServers.h"

namespace norvane::demo {

namespace {
using loopback::HttpServer;
using loopback::MailServer;

constexpr char Prices[] =
    "<html><head><title>Prices</title></head>\n<body>\n<p>Tea 2.40</p>\n<p>Coffee 3.10</p>\n</body></html>\n";
constexpr char NewsHtml[] =
    "<html>\n<head><title>News</title></head>\n<body>\n<h1>What is new</h1>\n<p>The spring catalogue is "
    "out.</p>\n</body>\n</html>\n";

// A closed server also ends the sessions that are still open at their next mail.
void SetOpen(loopback::SmtpServer& server, bool open) {
  const loopback::MailAnswer closed{"421 mail.example.com is closed\r\n", loopback::MailAnswer::End::Close};
  server.Set(MailServer::Greeting, open ? loopback::MailAnswer{"220 mail.example.com ready\r\n"} : closed);
  server.Set("MAIL", open ? loopback::MailAnswer{"250 OK\r\n"} : closed);
}
}  // namespace

std::string PricesSize() {
  return std::to_string(sizeof Prices - 1);
}

DemoServers::DemoServers() {
  SetShop(true);
  SetMailbox(true);
  web.Set(PricesPage, HttpServer::Reply(Prices));
  web.Set(NewsPage, HttpServer::Reply(NewsHtml));
  auto endless = HttpServer::Reply("");
  endless.end = HttpServer::End::Silence;
  endless.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n";
  web.Set(HangingPage, endless);
}

void DemoServers::SetShop(bool good) {
  web.Set(ShopPage,
          good ? HttpServer::Reply("<html><body><h1>Tea</h1><button>Add to basket</button></body></html>")
               : HttpServer::Reply("<html><body><h1>Error in line 12</h1></body></html>"));
}

void DemoServers::SetMailbox(bool good) {
  mailbox.SetAccount(Account, {good ? Password : "another", 3});
}

void DemoServers::SetRelay(bool good) {
  SetOpen(relay, good);
}

void DemoServers::SetPost(bool good) {
  SetOpen(post, good);
}

}  // namespace norvane::demo
