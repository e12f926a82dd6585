#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>

#include "compat/bottom_compat_reply.hpp"
#include "vantrel_protocol/srv/bottom_interact_srv.hpp"
#include "workbench/clock.hpp"
#include "workbench/operation.hpp"
#include "workbench/terminal.hpp"

namespace vantrel_can_bridge::workbench {

struct ViewOptions {
  bool coloured = false;
  /// Show every debug line, also those that repeat what a request or an operation shows.
  bool verbose = false;
};

/// Prints what happens in a run, a line each, with the seconds since the run began:
///
///       0.412 ▶ cmd 8  wheel control  wheel_cmd=1
///       0.412   bottom_board/power_control  set_bit 01 05 01   ✔ power_bit sub=1 bit=5 value=1
///       0.412   warn   工具1伸出查询失败，重试中：...
///       0.413 ◀ success
///
/// The label of an operation is known from its debug line alone, so the debug channel has
/// to come here. An operation that repeats the one before it, as status polls do, is
/// counted, and the count is shown when something else happens.
///
/// Any member may be called from any thread; `mutex_` is a leaf, but for the clock's own,
/// and held while a line is written and flushed.
class RunView {
 public:
  /// `out` outlives the view.
  RunView(std::ostream& out, ViewOptions options, std::shared_ptr<IClock> clock);

  /// What follows happens on a thread of that name, which is shown; empty for the main one,
  /// which is not.
  void on_thread(std::string name);

  void heading(std::string_view text);
  void request(const vantrel_protocol::srv::BottomInteractSrv_Request& request);
  void operation(const OperationEvent& event);
  void debug(const std::string& line);
  void info(const std::string& line);
  void warn(const std::string& line);
  void reply(const business_layer::bottom_compat::BottomCompatReply& reply);
  void emergency(bool active);
  void fault(std::string_view text);

  /// Something that was checked, and how it came out.
  void check(bool held, std::string_view text);

  /// Lines without time, as they stand.
  void block(const std::string& text);

 private:
  // The caller holds mutex_.
  void line(std::string_view marker, const std::string& text);
  void write(const std::string& text);
  void finish_repeats();
  void forget_operation();
  void remember_label(const std::string& debug_line);
  [[nodiscard]] std::string take_label();

  [[nodiscard]] std::string paint(Style style, std::string_view text) const;

  std::ostream& out_;
  const ViewOptions options_;  // fixed at construction, as are:
  const std::shared_ptr<IClock> clock_;
  const TimePoint start_;

  std::mutex mutex_;            // leaf, but for the clock's own; guards all that follows
  std::string thread_;          // of what comes next
  std::string last_operation_;  // its line; empty after a request, a reply or a stop
  std::string last_op_;         // its "op"
  std::string last_thread_;     // on which it was asked for
  std::uint64_t repeats_ = 0;   // of last_operation_, not yet shown
  std::map<std::thread::id, std::string> labels_;  // of the operation that each thread began
};

}  // namespace vantrel_can_bridge::workbench
