#pragma once

#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {

/// Is told what happens on the simulated boards.
///
/// Called on the thread that made it happen, after it has happened and before that thread
/// goes on, with no lock of the boards held: it may look at the boards, change them, and
/// block. From several threads at once. Operations come from within the orchestrator, so
/// `on_operation` must not call the orchestrator on its own thread.
class IBoardsObserver {
 public:
  virtual ~IBoardsObserver() = default;

  virtual void on_operation(const OperationEvent& event) = 0;

  /// The self-cleaning board entered (`active`) or left its emergency stop.
  virtual void on_emergency(bool active) = 0;

 protected:
  IBoardsObserver() = default;
  IBoardsObserver(const IBoardsObserver&) = default;
  IBoardsObserver& operator=(const IBoardsObserver&) = default;
};

}  // namespace vantrel_can_bridge::workbench
