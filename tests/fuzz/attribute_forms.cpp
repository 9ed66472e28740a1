// The attributes whose text has a form of its own: notification mode, server address, success flag. All take
// the same input; for the success flag its first line is the flag and the rest the page.

#include <algorithm>
#include <string>

#include "engine/checks/PageFailure.h"
#include "engine/net/ServerAddress.h"
#include "engine/notify/InternetCallUrl.h"
#include "tests/fuzz/Fuzzer.h"

namespace {

using namespace norvane;
using tests::Require;

bool IsPrintable(char c) {
  return c > ' ' && c < '\x7f';
}

void ReadAddress(std::string_view text) {
  const auto address = engine::ServerAddress::Parse(text, {"pop3", 110, "pop3s", 995});
  if (!address) return;
  Require(!address->host.empty() && address->port > 0 && address->port <= 65535);
  Require(std::all_of(address->host.begin(), address->host.end(), IsPrintable));
}

void ReadMode(std::string_view text) {
  using Form = formats::NotifyMode::Form;
  const auto mode = formats::NotifyMode::Parse(text);
  if (mode.form != Form::InternetCall) return;
  // Message and number, whatever they hold, end no part of the address.
  const auto url = engine::InternetCallUrl(mode, text, text);
  const auto bare = engine::InternetCallUrl(mode, "", "");
  const auto separators = [](const std::string& address) {
    return std::count_if(address.begin(), address.end(), [](char c) { return !IsPrintable(c) || c == '&'; });
  };
  Require(url.size() >= bare.size() && separators(url) == separators(bare));
}

void JudgePage(std::string_view text) {
  const auto line = text.substr(0, text.find('\n'));
  const auto body = text.substr(std::min(text.size(), line.size() + 1));
  static const platform::LegacyCharset charset;
  const auto failure = engine::PageFailure(line, {body, "text/html; charset=utf-8"}, charset);
  Require(failure.empty() || engine::JudgesContent(line));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ReadAddress(text);
  ReadMode(text);
  JudgePage(text);
  return 0;
}
