#include "workbench/interrupt.hpp"

#include <atomic>
#include <csignal>

namespace vantrel_can_bridge::workbench {
namespace {

// Where the signal handler looks, and what it leaves.
std::atomic<IScheduler*> current{nullptr};  // NOLINT
std::atomic<bool> is_interrupted{false};    // NOLINT

extern "C" void interrupt_run(int /*signal*/) {
  is_interrupted = true;
  if (IScheduler* const scheduler = current) {
    scheduler->interrupt();
  }
}

}  // namespace

InterruptOnSignal::InterruptOnSignal() {
  is_interrupted = false;
  struct sigaction action {};
  action.sa_handler = interrupt_run;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // the second one ends the program
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

InterruptOnSignal::~InterruptOnSignal() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
  current = nullptr;
}

void InterruptOnSignal::pass_to(IScheduler* scheduler) {
  current = scheduler;
  if (scheduler != nullptr && is_interrupted) {
    scheduler->interrupt();
  }
}

bool InterruptOnSignal::has_come() const { return is_interrupted; }

}  // namespace vantrel_can_bridge::workbench
