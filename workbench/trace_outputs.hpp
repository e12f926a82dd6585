#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/event.hpp"
#include "workbench/output_file.hpp"

namespace vantrel_can_bridge::workbench {

/// The files that a run is to be written to; empty for none.
struct OutputPaths {
  std::string jsonl;
  std::string perfetto;
  std::string timeline;   ///< the picture alone if it ends in ".svg", else a page
  std::string recording;  ///< the scenario again, expecting what has happened

  [[nodiscard]] bool empty() const {
    return jsonl.empty() && perfetto.empty() && timeline.empty() && recording.empty();
  }
};

/// Why a run of the scenario file `scenario` on the robot file `robot` must not be written to
/// `paths`, since one file would overwrite another; empty where it may.
[[nodiscard]] std::string find_clash(const OutputPaths& paths, const std::string& scenario,
                                     const std::string& robot);

/// The record of one run in files.
class TraceOutputs {
 public:
  /// Opens the files, whose contents are lost. `title` is the scenario's.
  TraceOutputs(const OutputPaths& paths, const std::string& title);
  TraceOutputs(const TraceOutputs&) = delete;
  TraceOutputs& operator=(const TraceOutputs&) = delete;
  ~TraceOutputs();

  void add_to(EventFanOut& sinks);

  /// Writes the text of the recording that was asked for. One too large to be read again is an
  /// error, though it is written.
  void write_recording(const std::string& text);

  /// Closes the files. Lines of errors from all of it, empty where all was written.
  [[nodiscard]] std::string close();

  /// Lines of errors so far.
  [[nodiscard]] std::string errors() const;

 private:
  struct Output;

  std::vector<std::unique_ptr<Output>> outputs_;
  Output* recording_ = nullptr;  // one of them
  std::string recording_error_;
};

}  // namespace vantrel_can_bridge::workbench
