#include "settings/PageData.h"

#include "formats/SuccessFlag.h"
#include "platform/Ascii.h"
#include "settings/NumberFields.h"

namespace norvane::settings {
namespace {

namespace keys = console::engine::keys;
using console::engine::MonitorItem;
using enum TextField;
using enum CheckField;
using enum ChoiceField;

constexpr TextAttribute Point[] = {{keys::Parameter, txtMonitorPoint}};
constexpr TextAttribute Times[] = {
    {keys::Interval, txtInterval}, {keys::Timeout, txtWaitTime}, {keys::MaxFailTimes, txtRetryTimes}};
constexpr TextAttribute Command[] = {{keys::Command, txtLaunchCmd}};
constexpr TextAttribute Rest[] = {
    {keys::FailTimes, txtRetrytime}, {keys::CommandSucc, txtLaunchUpCmd}, {keys::LogFile, txtLogFile}};

void Write(std::span<const TextAttribute> attributes, const Fields& form, const AttributeSink& write) {
  for (const auto& [key, field] : attributes)
    write(key, form.Text(field));
}

void WriteFlag(const Fields& form, const AttributeSink& write) {
  const auto kind = static_cast<formats::SuccessFlag::Kind>(form.Selected(optFlag));
  const auto parameter = form.Text(txtBySize);
  write(keys::SuccessFlag, formats::FormatSuccessFlag({kind, parameter}));
}

void Read(std::span<const TextAttribute> attributes, Fields& form, MonitorItem& monitor) {
  for (const auto& [key, field] : attributes)
    form.SetText(field, monitor.GetAttr(key));
}

void ReadFlag(Fields& form, MonitorItem& monitor) {
  const auto text = monitor.GetAttr(keys::SuccessFlag);
  const auto flag = formats::ParseSuccessFlag(text);
  form.Select(optFlag, static_cast<int>(flag.kind));
  form.SetText(txtBySize, flag.parameter);
}

}  // namespace

void SaveData(const Type& type, Fields& form, MonitorItem& monitor, const GatewaySettings& gateway,
              std::string_view keptMode) {
  const AttributeSink write = [&monitor](auto key, auto value) { monitor.SetAttr(key, value); };
  if (type.successFlag) {
    Write(Point, form, write);
    ClampTimes(form);
    WriteFlag(form, write);
  } else {
    ClampTimes(form);
    Write(Point, form, write);
  }
  Write(type.own, form, write);
  Write(Times, form, write);
  WriteNotification(form, gateway, keptMode, write);
  if (type.defaultCommand && form.Checked(chkDefaultCmd))
    write(keys::Command, DefaultCommand);
  else
    Write(Command, form, write);
  Write(Rest, form, write);
}

std::string RefreshData(const Type& type, Fields& form, MonitorItem& monitor,
                        const GatewaySettings& gateway) {
  Read(Point, form, monitor);
  if (type.successFlag) ReadFlag(form, monitor);
  Read(type.own, form, monitor);
  Read(Times, form, monitor);
  auto keptMode = ReadNotification(form, monitor, gateway);
  ReadPagerFields(form, monitor);
  Read(Command, form, monitor);
  if (type.defaultCommand)
    form.SetChecked(chkDefaultCmd, platform::EqualsIgnoringCase(form.Text(txtLaunchCmd), DefaultCommand));
  Read(Rest, form, monitor);
  return keptMode;
}

void WriteNewMonitor(const Type& type, const Fields& form, const GatewaySettings& gateway,
                     const AttributeSink& write) {
  Write(Point, form, write);
  if (type.successFlag) WriteFlag(form, write);
  Write(type.own, form, write);
  WritePagerNotification(form, gateway, write);
}

void ProposeAddressee(Fields& form) {
  if (form.Text(txtSmtpTo).empty()) form.SetText(txtSmtpTo, "@" + form.Text(txtMonitorPoint));
}

}  // namespace norvane::settings
