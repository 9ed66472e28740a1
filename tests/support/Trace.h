#pragma once

#include <QObject>
#include <map>
#include <set>
#include <string>

#include "tests/support/ScriptedConsole.h"

namespace norvane::tests {

/// The effects of a user's actions, as text: calls of the engine, boxes, windows, new folders, and whatever
/// of the forms on show has changed. Timers do not fire meanwhile, so that a slow machine gives the same
/// text.
class Trace : public QObject {
 public:
  /// Appends to `text`. `console` must outlive this.
  Trace(ScriptedConsole& console, std::string& text);
  ~Trace() override;

  /// One line of its own, after the calls so far.
  void Add(const std::string& line);
  /// The calls so far, and what they changed.
  void AddChanges() { AddChangesBut(nullptr); }
  /// One line of its own, after all that has changed so far.
  void AddAfterChanges(const std::string& line);
  /// Later changes are compared with the form as it is now.
  void Remember(const QWidget& form) { Compare(form, false); }
  /// The same for the whole console, so that nothing of it comes out later.
  void RememberAll();
  /// Whether timers go off by themselves; those of forms never do.
  void LetTimeRun(bool runs) { m_timeRuns = runs; }
  /// Dumps the form of this name as soon as it shows.
  void DumpWhenShown(const std::string& form) { m_dumpWhenShown = form; }
  void Dump(const QWidget& form);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void AddCalls();
  /// `opening` was not on show before.
  void AddChangesBut(const QWidget* opening);
  void AddFolders();
  void ComparePlace(const QWidget& window, bool report);
  void Compare(const QWidget& form, bool report);
  void WatchPages();
  [[nodiscard]] std::string PlaceOf(const QWidget& window) const;

  ScriptedConsole& m_console;
  std::string& m_text;
  std::map<std::string, std::string> m_seen;  ///< of the parts of forms
  std::set<const QObject*> m_pages;
  std::map<const QWidget*, std::string> m_places;  ///< of windows
  std::set<std::string> m_folders;
  std::string m_dumpWhenShown;
  bool m_timeRuns = false;
};

}  // namespace norvane::tests
