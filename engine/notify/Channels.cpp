#include <array>

#include "engine/notify/Channel.h"
#include "engine/notify/InternetCall.h"
#include "engine/notify/MailNotification.h"
#include "engine/notify/ModemCall.h"

namespace norvane::engine {

using std::chrono::seconds;

std::span<const ChannelRow> ChannelTable() {
  using Form = NotifyMode::Form;
  static constexpr std::array<ChannelRow, 3> rows{{
      {Form::Mail, 16, seconds(60), &MakeMailChannel},
      // There is one modem, and its own time limits come first.
      {Form::Phone, 1, seconds(ModemSettings::MaxWait + seconds(60)), &MakeModemChannel},
      {Form::InternetCall, 16, seconds(20), &MakeInternetCallChannel},
  }};
  return rows;
}

}  // namespace norvane::engine
