#pragma once

#include <curl/curl.h>

#include <array>
#include <string>
#include <vector>

#include "bench/Pace.h"
#include "platform/FileDescriptor.h"

namespace norvane::bench {

/// The least that a program using libcurl for web checks can do: transfers over epoll, 64 at a time, each on
/// a connection of its own, each page looked through for a string.
class BareWebLoop {
 public:
  /// `caFile` is a PEM file of the authorities that a server's certificate is verified by.
  BareWebLoop(std::string url, std::string wanted, const std::string& caFile = "");
  ~BareWebLoop();
  BareWebLoop(const BareWebLoop&) = delete;
  BareWebLoop& operator=(const BareWebLoop&) = delete;

  /// As fast as it goes, or so many a second. Gives how many found the string.
  int Run(int checks, int perSecond = 0);

 private:
  struct Transfer {
    CURL* curl = nullptr;
    std::string body;
  };

  void Prepare(Transfer& transfer, const std::string& caFile);
  void Begin();
  bool End(CURL* curl, CURLcode code);
  void Wait(int longest);
  static int SocketChanged(CURL*, curl_socket_t fd, int what, void* self, void*);
  static int TimerChanged(CURLM*, long milliseconds, void* self);
  static std::size_t ReceiveBody(char* bytes, std::size_t, std::size_t size, void* transfer);

  std::string m_url;
  std::string m_wanted;
  platform::FileDescriptor m_epoll;
  CURLM* m_multi;
  curl_slist* m_headers = curl_slist_append(nullptr, "Connection: close");
  std::array<Transfer, InFlight> m_transfers;
  std::vector<Transfer*> m_idle;
  Clock::time_point m_due = Clock::time_point::max();
};

}  // namespace norvane::bench
