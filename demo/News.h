#pragma once

#include <cstddef>
#include <ios>
#include <map>
#include <string>
#include <vector>

namespace norvane::link {
class EngineClient;
}

namespace norvane::demo {

class DemoFolder;
struct DemoServers;

/// What the engine found and did, as sentences for the terminal.
class News {
 public:
  /// All of these outlive it.
  News(link::EngineClient& engine, const DemoServers& servers, const DemoFolder& folder);

  /// What has happened since the last call: results of monitors that changed, output of commands, mails,
  /// calls of the pager gateway.
  [[nodiscard]] std::vector<std::string> Next();

 private:
  void AddResults(std::vector<std::string>& news);
  void AddCommands(std::vector<std::string>& news);
  void AddMails(std::vector<std::string>& news);
  void AddCalls(std::vector<std::string>& news);

  link::EngineClient& m_engine;
  const DemoServers& m_servers;
  const std::string m_commandsLog;
  std::map<std::string, std::string> m_results;  // by the monitor's name
  std::streamoff m_commandBytes = 0;
  std::size_t m_mails = 0;
  std::size_t m_calls = 0;
};

}  // namespace norvane::demo
