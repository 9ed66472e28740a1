#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "engine/model/Reports.h"
#include "engine/notify/Channel.h"

namespace norvane::engine {

/// Sends notifications in the loop, each through the channel of its form, a few at a time; the others wait
/// for their turn, so that a dead peer of one channel holds up nothing but its own queue.
class Notifier {
 public:
  using Deliver = std::function<void(NotificationEnded)>;
  /// In one channel's queue; beyond, sending fails.
  static constexpr std::size_t MaxWaiting = 1000;

  /// `folder` holds "config.ini". `deliver` gets the end of each, from the loop.
  Notifier(ProbeContext& probes, const std::string& folder, Deliver deliver);
  ~Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  void Notify(NotifyRequest request, std::uint64_t ticket);

 private:
  class Sending;
  using Sendings = std::list<std::unique_ptr<Sending>>;
  struct Queue {
    const ChannelRow& row;
    std::unique_ptr<Channel> channel;
    Sendings waiting;
    Sendings inFlight;
  };

  void BeginWaiting();
  void End(NotificationEnded report, const std::string& failure);

  EventLoop& m_loop;
  std::string m_configFile;
  Deliver m_deliver;
  EventLoop::Timer m_begin;  // begins those that wait, from the loop: a sending may end as it begins
  std::map<NotifyMode::Form, Queue> m_queues;
};

}  // namespace norvane::engine
