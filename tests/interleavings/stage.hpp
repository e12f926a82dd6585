#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vantrel_can_bridge::test {

/// Plays threads of the service against each other in an order that the test writes down.
///
/// A thread of the play is an actor. Whatever it does that can be seen is an event: a
/// gateway call, a log line, a wait, a lock taken or waited for, its end. Exactly one
/// actor runs at a time, from event to event, and the test says which and how far; all
/// others stand at the event that they reached last. A lock that is taken is never slept
/// on: its actor is handed back to the test and tries again at its next turn. So each order
/// is the same in every run, on any machine, and nothing depends on how long a thing takes.
///
/// Actors live on a clock of the play: a wait moves it on when the actor goes on. One
/// stage at a time. Replaces `pthread_mutex_lock`, `nanosleep` and `clock_gettime` for the
/// actors of this executable; all other threads have the system's.
class Stage {
 public:
  /// What an actor does; the text that it returns is shown behind "ends".
  using Job = std::function<std::string()>;

  /// One line of a script: `actor` begins `job`, or goes on where it stands when `job` is
  /// empty, and stops at the first event that begins with `until`.
  struct Step {
    std::string actor;
    Job job;
    std::string until;
  };

  Stage() = default;
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  /// Lets every actor run to its end.
  ~Stage();

  /// Plays the steps one after the other; fails the test where an actor ends, or waits
  /// for a lock, before it reaches its `until`.
  void play(const std::vector<Step>& script);

  /// Every event so far, in its order, as "ACTOR: EVENT".
  [[nodiscard]] std::vector<std::string> journal() const;

  // --- For a test that tries orders out rather than writing one down ---

  /// Gives `actor` a job; it stands before its first action.
  void begin(const std::string& actor, Job job);
  /// Lets `actor` run to its next event, or to the first that begins with `until`;
  /// returns that event, or the one that keeps it from getting there.
  std::string go_on(const std::string& actor, std::optional<std::string> until = "");
  /// Whether `actor` has a job that has not ended.
  [[nodiscard]] bool is_playing(const std::string& actor) const;

  // --- For the code that is played ---

  /// Reports an event of the calling actor; returns when it may go on. On a thread that is
  /// no actor, or aside, it does nothing.
  static void event(const std::string& what);

  /// While one exists, nothing that the calling thread does is an event: for the parts of
  /// the test that stand behind the code that is played.
  class Aside {
   public:
    Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;
    ~Aside();

   private:
    bool outer_;
  };

  // For the replaced functions, on an actor's thread.
  static bool is_actor();
  static void wait_for_lock();
  static void wait(std::int64_t nanoseconds, const std::string& shown);
  static std::int64_t now();

 private:
  struct Actor {
    Stage* stage = nullptr;
    std::string name;
    std::thread thread;
    bool playing = false;
    std::condition_variable turn;
    bool may_run = false;              // has the turn
    std::optional<std::string> until;  // empty: to its end
    std::string last_event;
  };

  void record(Actor& actor, const std::string& what);
  void hand_back(Actor& actor, std::unique_lock<std::mutex>& lock);
  void perform(Actor& actor, const Job& job);

  static thread_local Actor* self;
  static thread_local bool off_stage;  // an Aside exists

  mutable std::mutex mutex_;          // leaf; guards all below
  std::condition_variable director_;  // an actor has handed back
  std::map<std::string, std::unique_ptr<Actor>> actors_;
  std::vector<std::string> journal_;
  std::int64_t now_ = 1'000'000'000;  // nanoseconds; an arbitrary start
};

}  // namespace vantrel_can_bridge::test
