#include "settings/Transfer.h"

#include "formats/SuccessFlag.h"
#include "platform/Ascii.h"
#include "settings/Attributes.h"
#include "settings/NumberFields.h"

namespace norvane::settings {
namespace {

namespace keys = console::engine::keys;
using console::engine::MonitorItem;
using enum TextField;
using enum CheckField;
using enum ChoiceField;
using enum Handler;

// Steps of writing.

struct Writing {
  Fields& form;
  const GatewaySettings& gateway;
  const AttributeSink& write;
};
using WriteStep = void (*)(const Writing&);

template <const std::string_view& Key>
void Put(const Writing& to) {
  constexpr auto Field = FieldOf(Key);
  to.write(Key, to.form.Text(Field));
}

void Clamp(const Writing& to) {
  ClampTimes(to.form);
}

void PutFlag(const Writing& to) {
  const auto parameter = to.form.Text(txtBySize);
  const auto kind = static_cast<formats::SuccessFlag::Kind>(to.form.Selected(optFlag));
  to.write(keys::SuccessFlag, formats::FormatSuccessFlag({kind, parameter}));
}

void PutNotify(const Writing& to) {
  WriteNotification(to.form, to.gateway, to.write);
}

void PutPager(const Writing& to) {
  WritePagerNotification(to.form, to.gateway, to.write);
}

void PutCommand(const Writing& to) {
  to.write(keys::Command, to.form.Checked(chkDefaultCmd) ? DefaultCommand : to.form.Text(txtLaunchCmd));
}

// clang-format off
constexpr ByType<WriteStep> SaveOrder[] = {
    // web                   POP3                     SMTP
    {Put<keys::Parameter>,   nullptr,                 nullptr                },
    {Clamp,                  Clamp,                   Clamp                  },
    {nullptr,                Put<keys::Parameter>,    Put<keys::Parameter>   },
    {PutFlag,                Put<keys::PopAccount>,   Put<keys::From>        },
    {nullptr,                Put<keys::PopPass>,      Put<keys::To>          },
    {Put<keys::Interval>,    Put<keys::Interval>,     Put<keys::Interval>    },
    {Put<keys::Timeout>,     Put<keys::Timeout>,      Put<keys::Timeout>     },
    {Put<keys::MaxFailTimes>,Put<keys::MaxFailTimes>, Put<keys::MaxFailTimes>},
    {PutNotify,              PutNotify,               PutNotify              },
    {PutCommand,             Put<keys::Command>,      Put<keys::Command>     },
    {Put<keys::FailTimes>,   Put<keys::FailTimes>,    Put<keys::FailTimes>   },
    {Put<keys::CommandSucc>, Put<keys::CommandSucc>,  Put<keys::CommandSucc> },
    {Put<keys::LogFile>,     Put<keys::LogFile>,      Put<keys::LogFile>     },
};

constexpr ByType<WriteStep> NewMonitorOrder[] = {
    // web                   POP3                     SMTP
    {Put<keys::Parameter>,   Put<keys::Parameter>,    Put<keys::Parameter>   },
    {PutFlag,                Put<keys::PopAccount>,   Put<keys::From>        },
    {nullptr,                Put<keys::PopPass>,      Put<keys::To>          },
    {PutPager,               PutPager,                PutPager               },
};
// clang-format on

// Steps of reading.

struct Reading {
  PageFields& form;
  MonitorItem& monitor;
  const GatewaySettings& gateway;
};
using ReadStep = void (*)(const Reading&);

template <const std::string_view& Key>
void Get(const Reading& from) {
  constexpr auto Field = FieldOf(Key);
  from.form.SetText(Field, from.monitor.GetAttr(Key));
}

void GetFlag(const Reading& from) {
  const auto text = from.monitor.GetAttr(keys::SuccessFlag);
  const auto flag = formats::ParseSuccessFlag(text);
  from.form.Select(optFlag, static_cast<int>(flag.kind));
  from.form.SetText(txtBySize, flag.parameter);
}

void GetNotify(const Reading& from) {
  ReadNotification(from.form, from.monitor, from.gateway);
}

void GetPager(const Reading& from) {
  ReadPagerFields(from.form, from.monitor);
}

void GetDefaultCmd(const Reading& from) {
  const bool isDefault = platform::EqualsIgnoringCase(from.form.Text(txtLaunchCmd), DefaultCommand);
  from.form.SetEnabled(Switch::fam, !isDefault);
  from.form.SetChecked(chkDefaultCmd, isDefault);
}

/// What the notification enables follows from its check boxes, also from those that were not changed.
void RunChecks(const Reading& from) {
  for (const auto handler : {chkByPager_Click, chkByEmail_Click, chkInetCall_Click})
    from.form.Run(handler);
}

void RunPagerType(const Reading& from) {
  from.form.Run(cmbPagerType_Change);
}

/// Comes last, since the changes before it enabled it.
void NothingToApply(const Reading& from) {
  from.form.SetEnabled(Switch::cmdApply, false);
}

// clang-format off
constexpr ByType<ReadStep> RefreshOrder[] = {
    // web                   POP3                     SMTP
    {Get<keys::Parameter>,   Get<keys::Parameter>,    Get<keys::Parameter>   },
    {GetFlag,                Get<keys::PopAccount>,   Get<keys::From>        },
    {nullptr,                Get<keys::PopPass>,      Get<keys::To>          },
    {Get<keys::Interval>,    Get<keys::Interval>,     Get<keys::Interval>    },
    {Get<keys::Timeout>,     Get<keys::Timeout>,      Get<keys::Timeout>     },
    {Get<keys::MaxFailTimes>,Get<keys::MaxFailTimes>, Get<keys::MaxFailTimes>},
    {GetNotify,              GetNotify,               GetNotify              },
    {RunChecks,              nullptr,                 RunChecks              },
    {GetPager,               GetPager,                GetPager               },
    {Get<keys::Command>,     Get<keys::Command>,      Get<keys::Command>     },
    {GetDefaultCmd,          nullptr,                 nullptr                },
    {Get<keys::FailTimes>,   Get<keys::FailTimes>,    Get<keys::FailTimes>   },
    {Get<keys::CommandSucc>, Get<keys::CommandSucc>,  Get<keys::CommandSucc> },
    {Get<keys::LogFile>,     Get<keys::LogFile>,      Get<keys::LogFile>     },
    {nullptr,                RunChecks,               nullptr                },
    {nullptr,                RunPagerType,            RunPagerType           },
    {NothingToApply,         NothingToApply,          NothingToApply         },
};
// clang-format on

template <class Order, class Transfer>
void Run(const Order& order, Type type, const Transfer& transfer) {
  for (const auto& row : order)
    if (const auto step = row.For(type)) step(transfer);
}

}  // namespace

void SaveData(Type type, PageFields& form, MonitorItem& monitor, const GatewaySettings& gateway) {
  const AttributeSink write = [&](auto key, auto value) { monitor.SetAttr(key, value); };
  Run(SaveOrder, type, Writing{form, gateway, write});
}

void RefreshData(Type type, PageFields& form, MonitorItem& monitor, const GatewaySettings& gateway) {
  Run(RefreshOrder, type, Reading{form, monitor, gateway});
}

void WriteNewMonitor(Type type, Fields& form, const GatewaySettings& gateway, const AttributeSink& write) {
  Run(NewMonitorOrder, type, Writing{form, gateway, write});
}

void ProposeAddressee(Fields& form) {
  if (form.Text(txtSmtpTo).empty()) form.SetText(txtSmtpTo, "@" + form.Text(txtMonitorPoint));
}

}  // namespace norvane::settings
