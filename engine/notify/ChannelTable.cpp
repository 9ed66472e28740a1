#include <array>

#include "engine/notify/Channel.h"

namespace norvane::engine {

using std::chrono::minutes;
using std::chrono::seconds;

// A channel is a file in channels/, which defines one of these, and a row below.
std::unique_ptr<Channel> MakeInternetCallChannel(const ChannelContext& context);
std::unique_ptr<Channel> MakeExitChannel(const ChannelContext& context);
std::unique_ptr<Channel> MakeMailChannel(const ChannelContext& context);
std::unique_ptr<Channel> MakeModemChannel(const ChannelContext& context);

std::span<const ChannelRow> ChannelTable() {
  using Form = NotifyMode::Form;
  static constexpr std::array<ChannelRow, 4> rows{{
      {Form::Mail, 128, seconds(60), &MakeMailChannel},  // until the greeting
      // There is one modem, and its own time limits, up to ten minutes for a call, come first.
      {Form::Phone, 1, minutes(11), &MakeModemChannel},
      {Form::InternetCall, 128, seconds(20), &MakeInternetCallChannel},
      {Form::Exit, 128, seconds(20), &MakeExitChannel},
  }};
  return rows;
}

}  // namespace norvane::engine
