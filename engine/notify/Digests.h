#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "engine/model/SingleMail.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// Which mails go alone, and which gather to be sent as one: a storm shall not fill a mailbox. Sends nothing.
class Digests {
 public:
  static constexpr std::chrono::seconds Window{60};  ///< in which single mails are counted
  static constexpr std::chrono::seconds QuietTime{
      10};                                            ///< a digest is closed when nothing was added for this,
  static constexpr std::chrono::seconds MaxTime{60};  ///< or when it is this old

  /// `single` mails for an address within the window go alone.
  Digests(std::size_t single, EventLoop::Clock clock) : m_single(single), m_clock(std::move(clock)) {}

  void SetSingle(std::size_t single) { m_single = single; }

  /// Goes on counting what went alone before the engine was restarted.
  void Restore(const SingleMails& singles);
  /// Of what went alone within the window, since the last call.
  [[nodiscard]] SingleMailChanges DequeueChanges();

  /// Whether the mail waits for others to the same address.
  [[nodiscard]] bool Gather(const std::string& address, const std::string& identity);
  /// The identities of each digest that is closed by now; they gather no more.
  [[nodiscard]] std::vector<std::vector<std::string>> Close();

 private:
  struct Single {
    Moment at;
    std::string identity;
  };
  struct Address {
    std::deque<Single> singles;
    std::vector<std::string> gathering;
    Moment first{}, last{};  // of those that gather
  };

  void ForgetOldSingles(Address& address);

  std::size_t m_single;
  EventLoop::Clock m_clock;
  std::map<std::string, Address> m_addresses;
  SingleMailChanges m_changes;
};

}  // namespace norvane::engine
