#include "bench/EngineProcess.h"

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "engine/checks/ProbeTable.h"
#include "platform/FileNames.h"

namespace norvane::bench {

namespace fs = std::filesystem;

void WriteDataFile(const std::string& folder, std::vector<engine::datafile::Row> rows) {
  engine::datafile::Changes all;
  all.rows = std::move(rows);
  all.total = all.rows.size();
  std::string keptAs;
  const auto path = platform::PathIn(folder, platform::files::EngineData);
  if (!engine::datafile::Save(path, all, engine::ProbeTable(), &keptAs))
    throw std::runtime_error("no data file");
}

EngineProcess::EngineProcess(const std::string& folder, const std::function<void()>& prepare) {
  std::string program =
      (fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin/norvane-engine").string();
  std::string option = "--folder", value = folder;
  std::array<char*, 4> arguments{program.data(), option.data(), value.data(), nullptr};
  if (!fs::exists(program)) throw std::runtime_error("there is no " + program);
  m_process = ::fork();
  if (m_process < 0) throw std::runtime_error("cannot start " + program);
  if (m_process > 0) return;
  prepare();
  ::execv(program.c_str(), arguments.data());
  ::_exit(1);
}

void EngineProcess::End() {
  if (m_process == 0) return;
  ::kill(m_process, SIGTERM);
  ::waitpid(m_process, nullptr, 0);
  m_process = 0;
}

std::string EngineProcess::Ending() {
  int status = 0;
  if (m_process == 0 || ::waitpid(m_process, &status, WNOHANG) == 0) return {};
  m_process = 0;
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "exit code " + std::to_string(WEXITSTATUS(status));
}

int EngineProcess::Descriptors() const {
  std::error_code gone;
  const fs::directory_iterator entries("/proc/" + std::to_string(m_process) + "/fd", gone);
  return static_cast<int>(std::distance(begin(entries), fs::directory_iterator()));
}

double EngineProcess::Memory() const {
  std::ifstream status("/proc/" + std::to_string(m_process) + "/status");
  std::string token;
  while (status >> token)
    if (token == "VmRSS:") break;
  double kilobytes = 0;
  status >> kilobytes;
  return kilobytes / 1024;
}

double EngineProcess::CpuSeconds() const {
  clockid_t clock{};
  timespec time{};
  if (::clock_getcpuclockid(m_process, &clock) != 0 || ::clock_gettime(clock, &time) != 0)
    throw std::runtime_error("the engine has ended");
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

link::LinkOptions ConsoleOptions(const std::string& folder) {
  link::LinkOptions options;
  options.folder = folder;
  options.startEngine = [] {};  // it is on its way
  return options;
}

}  // namespace norvane::bench
