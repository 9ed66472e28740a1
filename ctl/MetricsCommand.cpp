// The state of engine and monitors for a metrics system.

#include <cstdio>

#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "platform/Utf8.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;

namespace {

/// Text in the exposition format 0.0.4 of Prometheus, which collectors of text files read. Names and units
/// are by its conventions: base units, "_total" behind counters.
class MetricsText {
 public:
  void Begin(const char* name, const char* type, const char* help) {
    m_name = name;
    m_text += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
  }
  void Add(double value) { Add("", value); }
  void Add(const ce::MonitorRecord& monitor, double value) {
    Add("{" + Label("monitor", monitor.name) + "," + Label("type", monitor.TypeName()) + "}", value);
  }
  void Add(const std::string& labels, double value) {
    char number[40];
    std::snprintf(number, sizeof number, "%.15g", value);
    m_text += m_name + labels + " " + number + "\n";
  }
  static std::string Label(std::string_view name, std::string_view value) {
    std::string label = std::string(name) + "=\"";
    for (const char each : platform::ValidUtf8(value)) {
      if (each == '\n') {
        label += "\\n";
      } else {
        if (each == '"' || each == '\\') label += '\\';
        label += each;
      }
    }
    return label + "\"";
  }
  [[nodiscard]] const std::string& Text() const { return m_text; }

 private:
  std::string m_name, m_text;
};

double AsSeconds(std::chrono::system_clock::time_point at) {
  return std::chrono::duration<double>(at.time_since_epoch()).count();
}

template <class Duration>
double AsSeconds(Duration duration) {
  return std::chrono::duration<double>(duration).count();
}

bool IsRunning(const ce::MonitorRecord& monitor) {
  return monitor.Get(keys::Status) == ce::StatusEnable;
}

bool WasChecked(const ce::MonitorRecord& monitor) {
  return !monitor.Get(keys::Result).empty();
}

/// A figure of each monitor for which `isMeant` is true.
struct MonitorMetric {
  const char *name, *help;
  bool (*isMeant)(const ce::MonitorRecord&);
  double (*value)(const ce::MonitorRecord&);
};
constexpr MonitorMetric MonitorMetrics[] = {
    {"norvane_monitor_running", "Whether the monitor is running.", [](const auto&) { return true; },
     [](const auto& monitor) { return IsRunning(monitor) ? 1.0 : 0.0; }},
    {"norvane_monitor_up", "Whether the last check of the running monitor was good.",
     [](const auto& monitor) { return IsRunning(monitor) && WasChecked(monitor); },
     [](const auto& monitor) { return ce::IsFailure(monitor.Get(keys::Result)) ? 0.0 : 1.0; }},
    {"norvane_monitor_answer_seconds", "How long the last check took.", &WasChecked,
     [](const auto& monitor) { return AsSeconds(monitor.checkDuration); }},
    {"norvane_monitor_consecutive_failures", "Failed checks in a row so far.", &WasChecked,
     [](const auto& monitor) { return static_cast<double>(monitor.failuresInARow); }},
    {"norvane_monitor_last_check_timestamp_seconds", "When the last check began.", &WasChecked,
     [](const auto& monitor) { return AsSeconds(monitor.checkedAt); }},
};

struct EngineMetric {
  const char *name, *type, *help;
  double (*value)(const ce::EngineStatus&);
};
constexpr EngineMetric EngineMetrics[] = {
    {"norvane_healthy", "gauge", "Whether nothing is wrong with the engine.",
     [](const auto& status) { return status.IsHealthy() ? 1.0 : 0.0; }},
    {"norvane_checks_total", "counter", "Checks made since the engine started.",
     [](const auto& status) { return static_cast<double>(status.checksMade); }},
    {"norvane_failed_checks_total", "counter", "Those that failed.",
     [](const auto& status) { return static_cast<double>(status.checksFailed); }},
    {"norvane_missed_checks_total", "counter",
     "Checks that could not be made in their interval, or not be judged.",
     [](const auto& status) { return static_cast<double>(status.checksNotMade); }},
    {"norvane_latest_check_start_seconds", "gauge", "The latest start of a check in the last minute.",
     [](const auto& status) { return AsSeconds(status.latestStart); }},
    {"norvane_checks_in_flight", "gauge", "Checks that are being made.",
     [](const auto& status) { return static_cast<double>(status.inFlight); }},
    {"norvane_checks_waiting", "gauge", "Checks that wait for others to end.",
     [](const auto& status) { return static_cast<double>(status.waiting); }},
    {"norvane_overdue_monitors", "gauge", "Running monitors without a check for three of their intervals.",
     [](const auto& status) { return static_cast<double>(status.overdue.size()); }},
};

}  // namespace

ExitCode Metrics(const Call& call) {
  const auto status = call.engine.QueryStatus()->Reply();
  const auto& info = call.engine.Info();
  MetricsText metrics;
  metrics.Begin("norvane_build_info", "gauge", "The engine's version.");
  metrics.Add("{" + MetricsText::Label("version", info.version) + "}", 1);
  metrics.Begin("norvane_start_timestamp_seconds", "gauge", "When the engine started.");
  metrics.Add(AsSeconds(info.startedAt));
  for (const auto& metric : EngineMetrics) {
    metrics.Begin(metric.name, metric.type, metric.help);
    metrics.Add(metric.value(status));
  }
  metrics.Begin("norvane_owed_messages", "gauge", "Messages that nobody has accepted yet.");
  metrics.Add(static_cast<double>(call.engine.Owed().size()));
  const auto monitors = Read(call, call.engine.Select(call.operands));
  for (const auto& metric : MonitorMetrics) {
    metrics.Begin(metric.name, "gauge", metric.help);
    for (const auto& monitor : monitors)
      if (metric.isMeant(*monitor)) metrics.Add(*monitor, metric.value(*monitor));
  }
  Print(metrics.Text());
  return Done;
}

}  // namespace norvane::ctl
