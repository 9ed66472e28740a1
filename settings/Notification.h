#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "console/engine/Engine.h"
#include "settings/Fields.h"
#include "settings/GatewaySettings.h"

// How a monitor notifies, between the fields of a form and three attributes:
//
//   form           NotifyMode                                                  NotifyPager     NotifyMsg
//   none           ""                                                          not written     not written
//   direct call    TEL://                                                      txtPagerNumber  txtPagerMsg
//   internet call  PagerGatewayUrl cmd=11&mode= ENTRY &msg=%s&num=%s           txtPagerNumber  txtPagerMsg
//   e-mail         SMTP:// txtSmtpServer ; NotifyCopyAddress                   txtEmailAddr    txtSubject
//
// without the blanks between the pieces; read with an address of an earlier gateway too. ENTRY is the entry
// selected in cmbPagerType, counted from 0; the two
// "%s" are stored as they are.
namespace norvane::settings {

/// Writes one attribute. An exception ends the transfer; keys written before stay written.
using AttributeSink = std::function<void(std::string_view key, std::string_view value)>;

/// Writes the three attributes as `chkByPager` and then `chkByEmail` say. Without both the mode is
/// `keptMode`: empty, or what `ReadNotification` gave.
void WriteNotification(const Fields& form, const GatewaySettings& gateway, std::string_view keptMode,
                       const AttributeSink& write);

/// The half of it for pager and phone. An internet call without a selected entry leaves the mode as it is
/// stored.
void WritePagerNotification(const Fields& form, const GatewaySettings& gateway, const AttributeSink& write);

/// Reads the mode, ignoring case, and sets the fields of its form: `chkByPager`, `chkInetCall`,
/// `cmbPagerType`, or `chkByEmail` and the mail fields. A text of no known form reads as none, and is given
/// back, to be kept; an entry that the list does not have clears its selection. The mail server comes back in
/// capitals. Fields of which the mode says nothing keep what they had.
[[nodiscard]] std::string ReadNotification(Fields& form, console::engine::MonitorItem& monitor,
                                           const GatewaySettings& gateway);

/// `txtPagerNumber` and `txtPagerMsg` from their attributes, whatever the mode.
void ReadPagerFields(Fields& form, console::engine::MonitorItem& monitor);

}  // namespace norvane::settings
