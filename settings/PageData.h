#pragma once

#include <string>
#include <string_view>

#include "console/engine/Engine.h"
#include "settings/Fields.h"
#include "settings/GatewaySettings.h"
#include "settings/Notification.h"
#include "settings/Type.h"

namespace norvane::settings {

/// The value of `Command` while the box "restart the web server" is checked.
inline constexpr std::string_view DefaultCommand = "WebBounce.exe";

/// Writes all fields of a page to `monitor`, interval and time-out clamped. `keptMode` is what `RefreshData`
/// gave, or empty once the user has chosen a notification. Meant for fields that passed `Validate`. Throws
/// EngineError; keys written before stay written.
void SaveData(const Type& type, Fields& form, console::engine::MonitorItem& monitor,
              const GatewaySettings& gateway, std::string_view keptMode);

/// Shows all attributes of `monitor` as they are stored; gives the notification mode if it is one that the
/// fields cannot show, else an empty text. Throws EngineError; fields set before stay set.
[[nodiscard]] std::string RefreshData(const Type& type, Fields& form, console::engine::MonitorItem& monitor,
                                      const GatewaySettings& gateway);

/// Gives what a wizard's fields say of a new monitor to `write`, but for the log file, which no field holds.
/// Meant for fields that passed `CheckNewMonitor`.
void WriteNewMonitor(const Type& type, const Fields& form, const GatewaySettings& gateway,
                     const AttributeSink& write);

/// The handler of `txtMonitorPoint_LostFocus`: an empty `txtSmtpTo` gets the server's name behind an "@".
void ProposeAddressee(Fields& form);

}  // namespace norvane::settings
