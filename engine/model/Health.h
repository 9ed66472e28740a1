#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace norvane::engine {

/// What is wrong with the engine itself. On the service thread.
class Health {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  struct Condition {
    std::string text;
    std::chrono::system_clock::time_point since;
    Moment end = Moment::max();
  };
  using Conditions = std::map<std::string, Condition, std::less<>>;  ///< by key
  enum class Change { Begins, Recurs, Ends };
  using Observer = std::function<void(std::string_view key, const Condition& condition, Change change)>;
  using Clock = std::function<Moment()>;

  /// An event counts as a condition for so long.
  static constexpr std::chrono::hours EventTime{1};
  /// Beyond, events are not kept: the observer is notified as if they recurred.
  static constexpr std::size_t MaxConditions = 100;

  Health(Clock clock, Observer observer) : m_clock(std::move(clock)), m_observer(std::move(observer)) {}

  [[nodiscard]] const Conditions& Now() const { return m_conditions; }

  /// The state of `key`: what is wrong with it, or empty. Notifies the observer of a beginning and an end.
  void Set(std::string_view key, const std::string& problem);
  /// Something went wrong just now. Ends by itself, or by `Set` with the same key. Notifies the observer each
  /// time.
  void Note(std::string_view key, const std::string& text, std::chrono::seconds lasting = EventTime);
  /// The state of `key`, if anything was wrong with it, ends in something worse: the observer isn't notified.
  void Replace(std::string_view key);
  /// To be called now and then.
  void EndExpired();

 private:
  void Begin(std::string_view key, const std::string& text, Moment end = Moment::max());
  void End(Conditions::iterator at);

  Clock m_clock;
  Observer m_observer;
  Conditions m_conditions;
};

}  // namespace norvane::engine
