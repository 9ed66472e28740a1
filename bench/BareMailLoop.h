#pragma once

#include <array>
#include <string>
#include <vector>

#include "bench/Pace.h"
#include "platform/FileDescriptor.h"

namespace norvane::bench {

/// What a mail check says, a command after each answer; the last one's answer is not waited for.
struct MailDialogue {
  int port = 0;           // on 127.0.0.1
  std::string accepting;  ///< the first characters of answers that accept
  std::vector<std::string> commands;
};

/// The least that a program can do for a mail check: sockets over epoll, 64 at a time. It takes it for
/// granted that each answer arrives in one piece, as on loopback it does.
class BareMailLoop {
 public:
  explicit BareMailLoop(MailDialogue dialogue);

  /// As fast as it goes, or so many a second. Gives how many came to the end of the dialogue.
  int Run(int checks, int perSecond = 0);

 private:
  struct Talk {
    platform::FileDescriptor socket;
    std::size_t said = 0;
  };

  void Begin();
  /// Whether the talk goes on.
  bool Answer(Talk& talk);

  MailDialogue m_dialogue;
  platform::FileDescriptor m_epoll;
  std::array<Talk, InFlight> m_talks;
  std::vector<Talk*> m_idle;
};

}  // namespace norvane::bench
