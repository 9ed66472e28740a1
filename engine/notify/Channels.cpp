#include <array>

#include "engine/notify/Channel.h"
#include "engine/notify/InternetCall.h"
#include "engine/notify/ModemCall.h"

namespace norvane::engine {

using std::chrono::seconds;

std::span<const ChannelRow> ChannelTable() {
  using Form = NotifyMode::Form;
  // There is one modem. Its own time limits come first; the one here is for what nobody thought of.
  static constexpr std::array<ChannelRow, 2> rows{{
      {Form::Phone, 1, seconds(ModemSettings::MaxWait + seconds(60)), &MakeModemChannel},
      {Form::InternetCall, 16, seconds(20), &MakeInternetCallChannel},
  }};
  return rows;
}

}  // namespace norvane::engine
