#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace norvane::engine {

struct CurlFree {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
  void operator()(char* text) const noexcept { curl_free(text); }
};
using CurlUrl = std::unique_ptr<CURLU, CurlFree>;
using CurlList = std::unique_ptr<curl_slist, CurlFree>;

/// A part of a URL, empty if it has none.
[[nodiscard]] inline std::string UrlPart(CURLU* url, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  const auto code = curl_url_get(url, part, &text, flags);
  const std::unique_ptr<char, CurlFree> owned(text);  // libcurl may leave some behind with an error too
  return code == CURLUE_OK ? owned.get() : std::string();
}

}  // namespace norvane::engine
