#pragma once

#include "bench/FigureTable.h"
#include "bench/PageServer.h"

/// Figures of the whole engine: the real program with a data file of its own, its own logs and a console.
namespace norvane::bench {

/// Where its web monitors find their page, and when the server saw them.
struct LoadPage {
  std::string url;     ///< to which a monitor's number is added, or "hung"
  std::string wanted;  ///< a text in the page
  Arrivals& arrivals;
};

/// All monitors there may be, each checked every so many seconds.
void FullLoad(FigureTable& table, const LoadPage& page, int seconds);
void HungTargets(FigureTable& table, const LoadPage& page);
void Growth(FigureTable& table, const LoadPage& page);

}  // namespace norvane::bench
