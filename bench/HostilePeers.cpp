#include "bench/HostilePeers.h"

#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>
#include <sys/resource.h>

#include <random>
#include <stdexcept>

#include "console/engine/MonitorKeys.h"
#include "loopback/HttpServer.h"
#include "loopback/MailServers.h"

namespace norvane::bench {

namespace ce = console::engine;
namespace keys = console::engine::keys;
using loopback::HttpServer;
using loopback::Saying;
using namespace std::chrono_literals;
using namespace std::string_view_literals;
using End = Saying::End;

namespace {

constexpr int LowPriority = 10;  // as if they worked elsewhere
constexpr std::uint32_t FirstNumber = 1001;

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i)
    all += text;
  return all;
}

const std::string ChunkedHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const HostilePeers::Settings DefaultTimes{{keys::Interval, "60"}, {keys::Timeout, "30"}};

/// Of monitors that run from the engine's start.
HostilePeers::Settings Running(HostilePeers::Settings settings) {
  settings.emplace_back(keys::Status, ce::StatusEnable);
  return settings;
}

/// One server with one script, and so many monitors of it.
void AddWeb(HostilePeers& peers, int count, const HttpServer::Script& script,
            const HostilePeers::Settings& settings = {}, const HttpServer::Options& options = {}) {
  const auto address = peers.Serve([=](int& port) {
    auto server = std::make_shared<HttpServer>(options);
    server->ForgetRequests();
    server->Set("/", script);
    port = server->Port();
    return server;
  });
  peers.Watch(count, ce::TypeWeb, (options.tls ? "https://" : "http://") + address + "/", settings);
}

void AddOneByteChunks(HostilePeers& peers, int count, const HostilePeers::Settings& settings) {
  AddWeb(peers, count, {ChunkedHead, Repeated("1\r\nx\r\n", 10000)}, settings);
}

/// A byte of it becomes a thousand: zeros, compressed.
void AddCompressed(HostilePeers& peers) {
  static constexpr std::string_view begin =
      "\x1f\x8b\x08\0\0\0\0\0\x02\x03\xec\xc1\x01\x01\0\0\0\x80\x90\xfe\xaf\xee\x08\x0a"sv;
  const std::string zeros(65536, '\0');
  const std::string status = "HTTP/1.1 200 OK\r\n";
  for (const auto& header : {"Content-Encoding: gzip\r\n\r\n", "Content-Encoding: gzip, gzip, gzip\r\n\r\n",
                             "Content-Encoding: deflate\r\n\r\n", "Transfer-Encoding: gzip\r\n\r\n"})
    AddWeb(peers, 3, {status + header + std::string(begin), zeros}, {{keys::SuccessFlag, "STR:nowhere"}});
}

void AddExtensions(HostilePeers& peers) {
  AddWeb(peers, 20, {ChunkedHead + "1", Repeated(";extension=value", 4096)});
}

std::string Rubbish(std::size_t size) {
  std::mt19937 random(1);
  std::string bytes(size, '\0');
  for (auto& byte : bytes)
    byte = static_cast<char>(random());
  return bytes;
}

void AddRubbish(HostilePeers& peers, int count, const std::string& interval) {
  AddWeb(peers, count, HttpServer::Reply(Rubbish(15u << 20)),
         {{keys::SuccessFlag, "STR:nowhere to be found"}, {keys::Interval, interval}});
}

void AddHeaders(HostilePeers& peers) {
  const std::string status = "HTTP/1.1 200 OK\r\n";
  const HttpServer::Script scripts[] = {
      {status + "X-Endless: ", std::string(65536, 'x')},
      {status, Repeated("X-More: value\r\n", 4096)},
      {"", Repeated("HTTP/1.1 100 Continue\r\n\r\n", 4096)},
      {"HTTP/1.1 200 ", std::string(65536, 'x')},
      {"", Repeated("\r\n", 32768)},
      {ChunkedHead + "0\r\n", Repeated("X-Trailer: value\r\n", 4096)},
      {status + "X-Slow: ", "x", 20ms},
      {"", Repeated("X", 1000), 0ms, End::Close, 1},
      {status + "Transfer-Encoding: " + Repeated("gzip, ", 4096) + "chunked\r\n\r\n", "0"},
      HttpServer::Redirect("/"),
      HttpServer::Redirect("/" + std::string(60000, 'x')),
      {Repeated(status + "Connection: keep-alive\r\n", 1), Repeated("Set-Cookie: a=b\r\n", 4096)},
  };
  for (const auto& script : scripts)
    AddWeb(peers, 3, script);
}

// TLS

using Tls = std::function<void(SSL_CTX*)>;

std::shared_ptr<EVP_PKEY> Owned(EVP_PKEY* key) {
  if (key == nullptr) throw std::runtime_error("OpenSSL made no key");
  return {key, loopback::FreeSsl()};
}

/// A number of primes makes it in seconds.
std::shared_ptr<EVP_PKEY> RsaKey(int bits, int primes) {
  const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
      EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr), &EVP_PKEY_CTX_free);
  EVP_PKEY* key = nullptr;
  EVP_PKEY_keygen_init(context.get());
  EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits);
  EVP_PKEY_CTX_set_rsa_keygen_primes(context.get(), primes);
  EVP_PKEY_generate(context.get(), &key);
  return Owned(key);
}

/// Numbers for a Diffie-Hellman exchange that cost the client as much as can be, and the server little. That
/// the modulus is no prime is nothing that a client looks at.
EVP_PKEY* LargeDhParameters() {
  constexpr int Bits = 10000;
  constexpr long ServersBits = 256;
  BIGNUM* modulus = BN_new();
  BIGNUM* generator = BN_new();
  BN_rand(modulus, Bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ODD);
  BN_set_word(generator, 2);
  OSSL_PARAM_BLD* builder = OSSL_PARAM_BLD_new();
  OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_FFC_P, modulus);
  OSSL_PARAM_BLD_push_BN(builder, OSSL_PKEY_PARAM_FFC_G, generator);
  OSSL_PARAM_BLD_push_long(builder, OSSL_PKEY_PARAM_DH_PRIV_LEN, ServersBits);
  OSSL_PARAM* parameters = OSSL_PARAM_BLD_to_param(builder);
  EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr);
  EVP_PKEY* key = nullptr;
  EVP_PKEY_fromdata_init(context);
  EVP_PKEY_fromdata(context, &key, EVP_PKEY_KEY_PARAMETERS, parameters);
  EVP_PKEY_CTX_free(context);
  OSSL_PARAM_free(parameters);
  OSSL_PARAM_BLD_free(builder);
  BN_free(modulus);
  BN_free(generator);
  if (key == nullptr) throw std::runtime_error("OpenSSL made no parameters");
  return key;
}

void OfferLargeDh(SSL_CTX* context) {
  SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_cipher_list(context, "DHE-RSA-AES128-GCM-SHA256");
  SSL_CTX_set_options(context, SSL_OP_CIPHER_SERVER_PREFERENCE);
  SSL_CTX_set0_tmp_dh_pkey(context, LargeDhParameters());
}

void AddDh(HostilePeers& peers) {
  HttpServer::Options options;
  options.tls = peers.Authority().IssueFor("127.0.0.1", RsaKey(2048, 2));
  options.changeTls = &OfferLargeDh;
  AddWeb(peers, 10, HttpServer::Reply("page"), {}, options);
}

/// A chain of certificates with the largest keys that OpenSSL verifies, all in order.
void AddLargeKeys(HostilePeers& peers) {
  static const auto key = RsaKey(16384, 5);
  for (const int authorities : {0, 18}) {
    HttpServer::Options options;
    options.tls = peers.Authority().IssueFor("127.0.0.1", key, authorities);
    AddWeb(peers, 5, HttpServer::Reply("page"), {}, options);
  }
}

void AddTlsMessages(HostilePeers& peers) {
  HttpServer::Options options;
  options.onConnect = {{"", loopback::HelloRequests()}};
  const auto tls = peers.Authority().Issue("127.0.0.1");
  const auto address = peers.Serve([=](int& port) {
    auto server = std::make_shared<HttpServer>(options);
    port = server->Port();
    return server;
  });
  peers.Watch(10, ce::TypeWeb, "https://" + address + "/");
  peers.Watch(10, ce::TypePop3, "pop3s://" + address, {{keys::PopAccount, "a"}, {keys::PopPass, "b"}});

  HttpServer::Options tickets;
  tickets.tls = tls;
  tickets.changeTls = [](SSL_CTX* context) { SSL_CTX_set_num_tickets(context, 1 << 20); };
  AddWeb(peers, 10, HttpServer::Reply("page"), {}, tickets);

  HttpServer::Options records;
  records.tls = tls;
  HttpServer::Script page = HttpServer::Reply(std::string(4 << 20, 'x'));
  page.piece = 1;
  AddWeb(peers, 10, page, {{keys::SuccessFlag, "STR:nowhere"}}, records);
}

// Mail

template <class Server, class Options>
void AddMail(HostilePeers& peers, int count, const std::string& point, const Saying& saying) {
  const bool isPop3 = std::is_same_v<Server, loopback::Pop3Server>;
  const auto address = peers.Serve([=](int& port) {
    auto server = std::make_shared<Server>(Options{});
    server->Set(point, saying);
    port = server->Port();
    return server;
  });
  peers.Watch(
      count, isPop3 ? ce::TypePop3 : ce::TypeSmtp, address,
      {{keys::PopAccount, "a"}, {keys::PopPass, "b"}, {keys::From, "a@b.test"}, {keys::To, "c@d.test"}});
}

void AddPop3(HostilePeers& peers, int count, const std::string& point, const Saying& saying) {
  AddMail<loopback::Pop3Server, loopback::Pop3Server::Pop3Options>(peers, count, point, saying);
}

void AddSmtp(HostilePeers& peers, int count, const std::string& point, const Saying& saying) {
  AddMail<loopback::SmtpServer, loopback::SmtpServer::SmtpOptions>(peers, count, point, saying);
}

Saying Endless(const std::string& head, const std::string& line, std::size_t piece = 0) {
  Saying saying{head};
  saying.forEver = Repeated(line, static_cast<int>(65536 / line.size()));
  saying.piece = piece;
  return saying;
}

void AddMailServers(HostilePeers& peers) {
  const auto greeting = loopback::MailServer::Greeting;
  AddPop3(peers, 5, greeting, Endless("", "+"));
  AddPop3(peers, 5, greeting, Endless("", "+", 1));
  AddPop3(peers, 5, "CAPA", Endless("+OK\r\n", "XTOPIC\r\n"));
  AddPop3(peers, 5, "CAPA", Endless("+OK\r\n", "X\r\n", 1));
  AddPop3(peers, 5, "USER", Endless("", "\r\n"));
  AddSmtp(peers, 5, greeting, Endless("", "220-more\r\n"));
  AddSmtp(peers, 5, greeting, Endless("", "2"));
  AddSmtp(peers, 5, "EHLO", Endless("", "250-XTOPIC\r\n"));
  AddSmtp(peers, 5, "MAIL", Endless("", "250-x\r\n", 1));
}

void AddLongGreetings(HostilePeers& peers) {
  Saying greeting{std::string(31u << 20, '+'), End::Silence};
  AddPop3(peers, 13, loopback::MailServer::Greeting, greeting);
  AddSmtp(peers, 12, loopback::MailServer::Greeting, greeting);
}

// Names, silence, messages

void AddNames(HostilePeers& peers, int count, const std::string& domain,
              const HostilePeers::Settings& settings) {
  for (int i = 0; i < count; ++i)
    peers.Watch(1, ce::TypeWeb, "http://x" + std::to_string(i) + domain + "/", settings);
}

std::string ServeSilence(HostilePeers& peers) {
  return peers.Serve([](int& port) {
    HttpServer::Options options;
    options.onConnect = {{"", "", 0ms, End::Silence}};
    auto server = std::make_shared<HttpServer>(options);
    port = server->Port();
    return server;
  });
}

void AddSilence(HostilePeers& peers) {
  peers.Watch(1000, ce::TypeWeb, "http://" + ServeSilence(peers) + "/");
  const auto stalled = peers.Serve([](int& port) {
    auto server = std::make_shared<loopback::StalledPort>();
    port = server->Port();
    return server;
  });
  peers.Watch(500, ce::TypeSmtp, stalled, {{keys::From, "a@b.test"}, {keys::To, "c@d.test"}});
}

/// Outages whose messages nobody takes.
void AddSilentGateway(HostilePeers& peers) {
  const auto silence = ServeSilence(peers);
  const auto refused = "http://" + peers.Serve([](int& port) {
    auto server = std::make_shared<loopback::RefusingPort>();
    port = server->Port();
    return server;
  }) + "/";
  for (const auto& mode : {"http://" + silence + "/?msg=%s&num=%s", "SMTP://" + silence + ";a@b.test"})
    peers.Watch(100, ce::TypeWeb, refused,
                {{keys::NotifyMode, mode},
                 {keys::NotifyPager, "c@d.test"},
                 {keys::NotifyMsg, "down"},
                 {keys::MaxFailTimes, "1"},
                 {keys::FailTimes, "1"}});
}

GoodTimes Hasty() {
  return {500ms, 1s, 0ms};
}

GoodTimes Slow() {
  return {1000ms, 5s, 400ms};
}

}  // namespace

std::string HostilePeers::Serve(const ServerProcess::Start& start) {
  const auto& server = m_servers.Add([&](int& port) {
    ::setpriority(PRIO_PROCESS, 0, LowPriority);
    return start(port);
  });
  return server.Address();
}

void HostilePeers::Watch(int count, std::string_view type, const std::string& parameter,
                         const Settings& settings) {
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, parameter);
  attributes.Set(keys::Interval, "1");
  attributes.Set(keys::Timeout, "5");
  attributes.Set(keys::LogFile, "hostile.log");
  for (const auto& [key, value] : settings)
    attributes.Set(key, value);
  const auto shared = std::make_shared<const engine::Attributes>(std::move(attributes));
  for (int i = 0; i < count; ++i) {
    const auto number = FirstNumber + static_cast<std::uint32_t>(m_monitors.size());
    m_monitors.push_back({number, std::string(type) + " Of hostile " + std::to_string(number), shared});
  }
}

const std::vector<HostileRow>& HostileRows() {
  const auto names = [](int count) {
    return [=](HostilePeers& peers) { AddNames(peers, count, ".hang.test", DefaultTimes); };
  };
  const auto rubbish = [](int count, const char* interval) {
    return [=](HostilePeers& peers) { AddRubbish(peers, count, interval); };
  };
  static const std::vector<HostileRow> rows{
      {"none", "nothing: what this machine can do"},
      {"chunks", "3 pages in chunks of one byte",
       [](HostilePeers& peers) { AddOneByteChunks(peers, 3, {}); }},
      {"chunks30", "30 of them with default times",
       [](HostilePeers& peers) { AddOneByteChunks(peers, 30, DefaultTimes); }, false},
      {"gzip", "12 endless compressed pages, unasked", &AddCompressed},
      {"extensions", "20 endless chunk extensions", &AddExtensions},
      {.name = "rubbish",
       .what = "57 rubbish pages of 15 MB in 20 s",
       .addPeers = rubbish(57, "20"),
       .startsOver = 20s},
      {"headers", "endless headers, statuses, trailers, redirects; drops", &AddHeaders},
      {"dh", "10 TLS peers with 10,000-bit DH numbers", &AddDh},
      {"keys", "RSA keys of 16,384 bits, in chains too", &AddLargeKeys},
      {"tls", "endless TLS messages and tickets, one-byte records", &AddTlsMessages},
      {"mail", "endless POP3 and SMTP answers, some byte by byte", &AddMailServers},
      {"greetings", "25 greetings of 31 MB", &AddLongGreetings},
      {"silence", "1,500 peers that answer nothing", &AddSilence},
      {"names", "20,000 names that hang", names(20000), false},
      {.name = "names1",
       .what = "20,000 names that hang from the start, one thread for checks",
       .addPeers = [](HostilePeers& peers) { AddNames(peers, 20000, ".hang.test", Running(DefaultTimes)); },
       .isShort = false,
       .threads = 1},
      {"names2000", "2,000 names that hang", names(2000)},
      {"truncated", "truncated answers of the name server, TCP refused",
       [](HostilePeers& peers) { AddNames(peers, 20, ".cut.test", {}); }},
      {"lies", "answers of the name server that lie of their sizes",
       [](HostilePeers& peers) { AddNames(peers, 200, ".lie.test", {}); }},
      {"gateway", "200 messages that nobody takes", &AddSilentGateway},
      {.name = "nice", .what = "nice 19 beside 4 busy loops, 0.5 s / 1 s", .good = Hasty(), .busyLoops = 4},
      {.name = "memory260",
       .what = "RLIMIT_AS 260 MiB, 19 large pages",
       .addPeers = rubbish(19, "1"),
       .isShort = false,
       .addressSpaceMegabytes = 260},
      {.name = "memory330",
       .what = "RLIMIT_AS 330 MiB, 19 large pages",
       .addPeers = rubbish(19, "1"),
       .addressSpaceMegabytes = 330},
      {.name = "memory400",
       .what = "RLIMIT_AS 400 MiB, 19 large pages",
       .addPeers = rubbish(19, "1"),
       .isShort = false,
       .addressSpaceMegabytes = 400},
      {.name = "stop6", .what = "stopped for 6 s in mid-dialogue", .good = Slow(), .stoppedFor = 6s},
      {.name = "stop20",
       .what = "stopped for 20 s in mid-dialogue",
       .isShort = false,
       .good = Slow(),
       .stoppedFor = 20s},
      {.name = "stop60", .what = "stopped for 60 s", .isShort = false, .good = Slow(), .stoppedFor = 60s},
      {.name = "stop600", .what = "stopped for 600 s", .isShort = false, .good = Slow(), .stoppedFor = 600s},
  };
  return rows;
}

}  // namespace norvane::bench
