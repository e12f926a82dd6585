#include "workbench/interrupt.hpp"

#include <csignal>

namespace vantrel_can_bridge::workbench {
namespace {

std::atomic<IScheduler*> current{nullptr};  // NOLINT: where the signal handler looks

extern "C" void interrupt_run(int /*signal*/) {
  if (IScheduler* const scheduler = current) {
    scheduler->interrupt();
  }
}

}  // namespace

InterruptOnSignal::InterruptOnSignal(IScheduler& scheduler) {
  current = &scheduler;
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

}  // namespace vantrel_can_bridge::workbench
