#include "settings/Notification.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "console/engine/MonitorKeys.h"
#include "formats/NotifyMode.h"
#include "formats/Number.h"
#include "settings/Text.h"

namespace norvane::settings {
namespace {

namespace keys = console::engine::keys;
using enum TextField;
using enum CheckField;
using enum ChoiceField;

constexpr std::string_view EntryHead = "cmd=11&mode=";
constexpr std::string_view EntryTail = "&msg=%s&num=%s";

std::optional<std::string> PagerMode(const Fields& form, const GatewaySettings& gateway) {
  if (!form.Checked(chkInetCall)) return std::string(formats::PhoneMode);
  const int entry = form.Selected(cmbPagerType);
  if (entry < 0) return std::nullopt;
  return gateway.PagerGatewayUrl + std::string(EntryHead) + std::to_string(entry) + std::string(EntryTail);
}

void WriteEmailNotification(const Fields& form, const GatewaySettings& gateway, const AttributeSink& write) {
  write(keys::NotifyMode, formats::MailMode(form.Text(txtSmtpServer), gateway.NotifyCopyAddress));
  write(keys::NotifyPager, form.Text(txtEmailAddr));
  write(keys::NotifyMsg, form.Text(txtSubject));
}

/// The entry that `mode`, in capitals, names if a list of `count` has it, else -1.
int EntryIn(const std::string& mode, int count) {
  constexpr std::string_view Name = "MODE";
  const auto name = mode.find(Name);
  if (name == std::string::npos) return -1;
  const auto value = mode.substr(std::min(name + Name.size() + 1, mode.size()));
  const double entry = std::nearbyint(formats::Val(value));  // ends by itself at the "&" behind the number
  return entry >= 0 && entry < count ? static_cast<int>(entry) : -1;
}

/// `text` is in capitals.
bool IsCallThrough(const GatewaySettings& gateway, std::string_view text) {
  const auto begins = [text](const std::string& url) { return text.starts_with(Upper(url)); };
  return begins(gateway.PagerGatewayUrl) || std::ranges::any_of(gateway.EarlierUrls, begins);
}

void ReadInternetCall(Fields& form, const std::string& mode) {
  form.SetChecked(chkByPager, true);
  form.SetChecked(chkInetCall, true);
  form.Select(cmbPagerType, EntryIn(mode, form.EntryCount(cmbPagerType)));
}

void ReadEmail(Fields& form, console::engine::MonitorItem& monitor, const std::string& server) {
  form.SetChecked(chkByEmail, true);
  form.SetText(txtSmtpServer, server);
  form.SetText(txtEmailAddr, monitor.GetAttr(keys::NotifyPager));
  form.SetText(txtSubject, monitor.GetAttr(keys::NotifyMsg));
}

}  // namespace

void WriteNotification(const Fields& form, const GatewaySettings& gateway, std::string_view keptMode,
                       const AttributeSink& write) {
  if (form.Checked(chkByPager))
    WritePagerNotification(form, gateway, write);
  else if (form.Checked(chkByEmail))
    WriteEmailNotification(form, gateway, write);
  else
    write(keys::NotifyMode, keptMode);
}

void WritePagerNotification(const Fields& form, const GatewaySettings& gateway, const AttributeSink& write) {
  if (const auto mode = PagerMode(form, gateway)) write(keys::NotifyMode, *mode);
  write(keys::NotifyPager, form.Text(txtPagerNumber));
  write(keys::NotifyMsg, form.Text(txtPagerMsg));
}

std::string ReadNotification(Fields& form, console::engine::MonitorItem& monitor,
                             const GatewaySettings& gateway) {
  using Form = formats::NotifyMode::Form;
  auto stored = monitor.GetAttr(keys::NotifyMode);
  const auto text = Upper(stored);
  const auto mode = formats::NotifyMode::Parse(text);
  if (IsCallThrough(gateway, text)) {
    ReadInternetCall(form, text);
  } else if (mode.form == Form::Mail) {
    ReadEmail(form, monitor, mode.server);
  } else if (mode.form == Form::Phone) {
    form.SetChecked(chkInetCall, false);
    form.SetChecked(chkByPager, true);
  } else {
    form.SetChecked(chkByPager, false);
    form.SetChecked(chkByEmail, false);
    return stored;
  }
  return {};
}

void ReadPagerFields(Fields& form, console::engine::MonitorItem& monitor) {
  form.SetText(txtPagerNumber, monitor.GetAttr(keys::NotifyPager));
  form.SetText(txtPagerMsg, monitor.GetAttr(keys::NotifyMsg));
}

}  // namespace norvane::settings
