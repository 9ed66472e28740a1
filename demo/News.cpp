#include "demo/News.h"

#include <fstream>

#include "console/engine/MonitorKeys.h"
#include "demo/DemoFolder.h"
#include "demo/DemoServers.h"
#include "link/EngineClient.h"

namespace norvane::demo {

namespace {
/// A mail's header, with its name.
std::string Header(const std::string& mail, const std::string& name) {
  const auto start = mail.find(name + ": ");
  return start == std::string::npos ? "" : mail.substr(start, mail.find("\r\n", start) - start);
}
}  // namespace

News::News(link::EngineClient& engine, const DemoServers& servers, const DemoFolder& folder)
    : m_engine(engine), m_servers(servers), m_commandsLog(folder / "log/commands.log") {}

std::vector<std::string> News::Next() {
  std::vector<std::string> news;
  AddResults(news);
  AddCommands(news);
  AddMails(news);
  AddCalls(news);
  return news;
}

void News::AddResults(std::vector<std::string>& news) {
  for (const auto& monitor : m_engine.Snapshot()) {
    const std::string result(monitor->Get(console::engine::keys::Result));
    auto& known = m_results[monitor->name];
    if (result == known) continue;
    known = result;
    if (!result.empty()) news.push_back(monitor->name + ": " + result);
  }
}

void News::AddCommands(std::vector<std::string>& news) {
  std::ifstream log(m_commandsLog);
  log.seekg(m_commandBytes);
  // A line without its end is still being written.
  for (std::string line; std::getline(log, line) && !log.eof(); m_commandBytes = log.tellg())
    news.push_back("A command ran. " + line.substr(line.find(' ') + 1));
}

void News::AddMails(std::vector<std::string>& news) {
  const auto mails = m_servers.post.Mails();
  for (; m_mails < mails.size(); ++m_mails) {
    const auto& text = mails[m_mails].text;
    std::string line = "A mail arrived.";
    for (const char* name : {"From", "To", "Subject"})
      line += " " + Header(text, name) + ".";
    news.push_back(line);
  }
}

void News::AddCalls(std::vector<std::string>& news) {
  const auto calls = m_servers.gateway.Calls();
  for (; m_calls < calls.size(); ++m_calls)
    news.push_back("The pager gateway was called: " + calls[m_calls]);
}

}  // namespace norvane::demo
