#pragma once

#include <string>

#include "demo/News.h"
#include "demo/Pictures.h"
#include "driver/ConsoleRun.h"

namespace norvane::demo {

/// The console's forms, driven through a day of an administrator, with a picture of each. Prints what is
/// done, what the list shows and what the engine does. A step whose outcome does not come ends it by an
/// exception.
class Story {
 public:
  /// All of these outlive it; the engine runs already.
  Story(link::EngineClient& engine, DemoServers& servers, const DemoFolder& folder, Pictures& pictures);

  void Run();

 private:
  void FirstRun();
  void SecondRun();

  void LookAtTheList();
  void AddMonitors();
  void LookAtThePages();
  void ChangeSettings();
  void TestMonitors();
  void WaitForAnAnswer();
  void SeeOutages();
  void LookAtTheRest();
  void Delete();
  void Quit();

  /// Fills a wizard's common part, captures it and presses OK.
  void FinishWizard(QWidget& wizard, const std::string& name, const std::string& picture);
  void CheckUrl(QWidget& wizard);
  void ShowPages(const std::string& fullName, const std::string& picture);

  void Say(const std::string& text);
  void ShowList();
  /// Prints all news until each of these texts has been in one.
  void AwaitNews(const std::vector<std::string>& texts);
  /// Does `act`, which ends in a message box, and presses a button there.
  void ThroughBox(const std::string& title, const std::function<void()>& act, const std::string& picture,
                  const std::string& button = "OK");

  link::EngineClient& m_engine;
  DemoServers& m_servers;
  const DemoFolder& m_folder;
  Pictures& m_pictures;
  News m_news;
  driver::ConsoleRun* m_console = nullptr;  // the run under way
};

}  // namespace norvane::demo
