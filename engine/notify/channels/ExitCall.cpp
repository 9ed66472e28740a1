#include <algorithm>
#include <stdexcept>
#include <utility>

#include "engine/notify/Channel.h"
#include "engine/web/WebFetch.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/SecretFile.h"

namespace norvane::engine {

namespace {

constexpr std::size_t MaxHeaderFile = 16 << 10;

/// Whether `line` is "Name: value" (RFC 9110, 5.1), without what could break out of it.
bool IsHeader(std::string_view line) {
  constexpr std::string_view others = "!#$%&'*+-.^_`|~";
  const auto name = line.substr(0, line.find(':'));
  return !name.empty() && name.size() < line.size() && std::ranges::all_of(name, [&](char c) {
    return platform::IsAsciiAlnum(c) || others.find(c) != std::string_view::npos;
  }) && std::ranges::none_of(line, [](char c) {
    return (c >= 0 && c < 0x20 && c != '\t') || c == 0x7f;
  }) && !platform::Trimmed(line.substr(name.size() + 1)).empty();
}

/// Throws std::runtime_error with a reason that doesn't quote the file.
std::vector<std::string> ReadHeaders(const std::string& path) {
  const auto bytes = platform::ReadSecretFile(path, MaxHeaderFile);
  if (bytes.size() == MaxHeaderFile) throw std::runtime_error("too long");
  std::vector<std::string> headers;
  std::string_view text = bytes;
  for (int number = 1; !text.empty(); ++number) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    const auto header = platform::Trimmed(line, " \t\r");
    if (header.empty()) continue;
    if (!IsHeader(header))
      throw std::runtime_error("line " + std::to_string(number) + " is not \"Name: value\"");
    headers.emplace_back(header);
  }
  return headers;
}

/// A 2xx of the server is success, a redirect is none.
class ExitCall final : public Probe {
 public:
  ExitCall(WebTransfers& transfers, ProbeContext& context, const NotifyRequest& request,
           std::chrono::milliseconds timeout, ProbeClient& client)
      : m_transfers(transfers),
        m_context(context),
        m_request(request),
        m_timeout(timeout),
        m_client(client) {}

  void Begin() override {
    WebRequest web{.url = m_request.url, .onlySuccess = true, .followsRedirects = false};
    if (!m_request.headerFile.empty()) {
      try {
        web.headers = ReadHeaders(m_request.headerFile);
      } catch (const std::runtime_error& error) {
        return m_client.Ended("header_file " + m_request.headerFile + ": " + error.what());
      }
    }
    if (!m_request.body.empty()) {
      web.body = m_request.body;
      web.headers.emplace_back("Content-Type: application/json");
    }
    if (!m_request.identity.empty()) web.headers.push_back("Idempotency-Key: " + m_request.identity);
    m_fetch = MakeWebFetch(m_transfers, m_context, std::move(web), m_timeout, m_client);
    m_fetch->Begin();
  }
  [[nodiscard]] std::string_view Step() const override { return m_fetch ? m_fetch->Step() : "starting"; }
  [[nodiscard]] std::chrono::seconds RetryAfter() const override {
    return m_fetch ? m_fetch->RetryAfter() : std::chrono::seconds(0);
  }
  /// An event that the server refuses delays no other. One that may have arrived is repeated at once, since
  /// it has its identity with it.
  [[nodiscard]] SendFailure WhatFailed() const override {
    using Blame = SendFailure::Blame;
    const bool isRefused = m_fetch && m_fetch->WhatFailed().blame == Blame::Recipient;
    return {isRefused ? Blame::Message : Blame::Server};
  }

 private:
  WebTransfers& m_transfers;
  ProbeContext& m_context;
  const NotifyRequest& m_request;
  std::chrono::milliseconds m_timeout;
  ProbeClient& m_client;
  std::unique_ptr<WebFetch> m_fetch;
};

/// Messages for the exits of config.ini.
class ExitChannel final : public Channel {
 public:
  explicit ExitChannel(const ChannelContext& context)
      : m_context(context.probes), m_transfers(m_context.loop, m_context.tls) {}
  std::unique_ptr<Probe> Make(const NotifyMode&, const NotifyRequest& request,
                              std::chrono::milliseconds timeout, ProbeClient& client) override {
    return std::make_unique<ExitCall>(m_transfers, m_context, request, timeout, client);
  }

 private:
  ProbeContext& m_context;
  WebTransfers m_transfers;
};

}  // namespace

std::unique_ptr<Channel> MakeExitChannel(const ChannelContext& context) {
  return std::make_unique<ExitChannel>(context);
}

}  // namespace norvane::engine
