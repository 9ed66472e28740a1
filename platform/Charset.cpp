#include "platform/Charset.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <unordered_map>

#include "platform/Ascii.h"
#include "platform/Utf8.h"

namespace norvane::platform {
namespace {

constexpr std::size_t MaxNameSize = 64;

// An empty name would mean the locale's character set, and a "/" begins a suffix. iconv skips
// characters that no name has, so that one set would have names without end.
bool IsPlainName(const std::string& name) {
  return !name.empty() && name.size() <= MaxNameSize && std::all_of(name.begin(), name.end(), [](char c) {
    return IsAsciiAlnum(c) || c == '-' || c == '_' || c == '.' || c == ':';
  });
}

// A byte that a multi-byte or a stateful set treats apart gives no character of its own.
std::optional<std::string> MeaningOf(char byte, CharsetConverter& converter) {
  std::string_view input(&byte, 1);
  std::string meaning;
  const auto stop = converter.Convert(input, meaning);
  const bool apart =
      stop == CharsetConverter::Stop::Incomplete || (stop == CharsetConverter::Stop::End && meaning.empty());
  std::string heldBack;
  converter.Finish(heldBack);
  if (apart || !heldBack.empty()) return std::nullopt;
  return stop == CharsetConverter::Stop::Invalid ? std::string(ReplacementUtf8) : meaning;
}

std::unique_ptr<const ByteMeanings> ReadMeanings(CharsetConverter converter) {
  auto meanings = std::make_unique<ByteMeanings>();
  for (unsigned byte = 0; byte < meanings->size(); ++byte) {
    const char c = static_cast<char>(byte);
    const auto meaning = MeaningOf(c, converter);
    if (!meaning || (byte < 0x80 && *meaning != std::string_view(&c, 1))) return nullptr;
    (*meanings)[byte] = *meaning;
  }
  return meanings;
}

}  // namespace

std::optional<CharsetConverter> CharsetConverter::Open(const std::string& to, const std::string& from) {
  if (!IsPlainName(to) || !IsPlainName(from)) return std::nullopt;
  const iconv_t handle = ::iconv_open(to.c_str(), from.c_str());
  if (handle == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  return CharsetConverter(handle);
}

CharsetConverter::Stop CharsetConverter::Convert(std::string_view& input, std::string& output) {
  auto* next = const_cast<char*>(input.data());  // iconv's signature is older than const
  std::size_t left = input.size();
  while (true) {
    char buffer[4096];
    char* end = buffer;
    std::size_t space = sizeof buffer;
    const auto converted = ::iconv(m_handle.get(), &next, &left, &end, &space);
    const int error = converted == static_cast<std::size_t>(-1) ? errno : 0;
    output.append(buffer, end);
    if (error == E2BIG) continue;
    input.remove_prefix(input.size() - left);
    return error == 0 ? Stop::End : error == EINVAL ? Stop::Incomplete : Stop::Invalid;
  }
}

void CharsetConverter::Finish(std::string& output) {
  char buffer[64];
  char* end = buffer;
  std::size_t space = sizeof buffer;
  ::iconv(m_handle.get(), nullptr, nullptr, &end, &space);
  output.append(buffer, end);
}

void CharsetConverter::Close::operator()(void* handle) const noexcept {
  ::iconv_close(handle);
}

const ByteMeanings* SingleByteCharset(const std::string& charset) {
  // Only names that iconv knows are kept, so that peers cannot fill the memory.
  thread_local std::unordered_map<std::string, std::unique_ptr<const ByteMeanings>> known;
  if (const auto found = known.find(charset); found != known.end()) return found->second.get();
  auto converter = CharsetConverter::Open("UTF-8", charset);
  if (!converter) return nullptr;
  return known.emplace(charset, ReadMeanings(std::move(*converter))).first->second.get();
}

}  // namespace norvane::platform
