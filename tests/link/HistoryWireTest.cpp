#include "link/HistoryWire.h"

#include <capnp/message.h>
#include <gtest/gtest.h>

namespace norvane::link {
namespace {

namespace ce = console::engine;
using std::chrono::milliseconds;
using Time = ce::HistoryQuery::Time;

TEST(HistoryWire, CarriesAll) {
  const auto at = [](int number) { return Time(milliseconds(1700000000000 + number)); };
  const auto times = [](int number) {
    const auto time = [&](int more) { return milliseconds(number + more); };
    return ce::StateTimes{time(0), time(1), time(2), time(3), time(4)};
  };
  const ce::MonitorHistory history{at(1),
                                   at(2),
                                   std::chrono::seconds(300),
                                   {{at(3), 4, 5, {6, 7, 8, 9, 10, 11}, times(12)}, {at(20), 0, 0, {}, {}}},
                                   21,
                                   22,
                                   {23, 24, 25, 26, 27, 28},
                                   times(30),
                                   {{at(40), at(41), "\xc3\xa4", true}, {at(42), {}, "", false}},
                                   43};
  capnp::MallocMessageBuilder message;
  auto wire = message.initRoot<wire::History>();
  WriteHistory(history, wire);
  EXPECT_EQ(ReadHistory(wire.asReader()), history);
}

}  // namespace
}  // namespace norvane::link
