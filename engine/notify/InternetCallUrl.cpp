#include "engine/notify/InternetCallUrl.h"

#include <memory>
#include <new>

#include "engine/web/CurlHandles.h"

namespace norvane::engine {

namespace {

std::string PercentEncoded(std::string_view text) {
  if (text.empty()) return {};  // libcurl would look for its end
  const std::unique_ptr<char, CurlFree> encoded(
      curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())));
  if (!encoded) throw std::bad_alloc();
  return encoded.get();
}

}  // namespace

std::string InternetCallUrl(const formats::NotifyMode& mode, std::string_view message,
                            std::string_view number) {
  return mode.beforeMessage + PercentEncoded(message) + mode.beforeNumber + PercentEncoded(number) +
         mode.afterNumber;
}

}  // namespace norvane::engine
