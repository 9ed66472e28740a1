#pragma once

#include <string>

#include "bench/FigureTable.h"

/// Figures of the checker alone, with a receiver of its reports, in this process.
namespace norvane::bench {

/// Servers on 127.0.0.1, each in a process of its own.
struct CheckedServers {
  std::string url, secureUrl;
  std::string wanted;  ///< a text in both pages
  std::string caFile;  ///< by which the secure one is verified
  int pop3 = 0, smtp = 0;
  int slowPop3 = 0, slowSmtp = 0;  ///< answer QUIT late
};

/// What the mail servers know.
inline constexpr const char* Account = "bench";
inline constexpr const char* Password = "secret";

/// CPU per check against bare loops.
void CostOfChecks(FigureTable& table, const CheckedServers& servers);
/// CPU per check, and checks a second by the CPU time of the busiest thread, with one loop and with two.
void CostOfLoops(FigureTable& table, const CheckedServers& servers);
/// Mail checks at once against servers that answer QUIT late.
void LateQuits(FigureTable& table, const CheckedServers& servers);

}  // namespace norvane::bench
