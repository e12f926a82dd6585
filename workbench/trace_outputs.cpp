#include "workbench/trace_outputs.hpp"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "workbench/timeline_html.hpp"
#include "workbench/trace_jsonl.hpp"
#include "workbench/trace_perfetto.hpp"
#include "workbench/yaml_document.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

namespace fs = std::filesystem;

/// The file that is created by writing to `path`, where it is a link to one that does not exist.
fs::path destination(const std::string& path) {
  std::error_code none;
  const fs::path target = fs::read_symlink(path, none);
  // Absolute: a relative path of which nothing exists would stay as it is written.
  return fs::absolute(none ? fs::path(path) : fs::path(path).parent_path() / target);
}

/// Also where neither exists yet, or one is a link to the other.
bool is_same_file(const std::string& left, const std::string& right) {
  std::error_code unknown;
  if (fs::equivalent(left, right, unknown)) {
    return true;
  }
  return fs::weakly_canonical(destination(left), unknown) ==
         fs::weakly_canonical(destination(right), unknown);
}

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

std::string find_clash(const OutputPaths& paths, const std::string& scenario,
                       const std::string& robot) {
  const std::array<std::pair<const char*, const std::string*>, 6> files = {{
      {"the scenario", &scenario},
      {"its robot", &robot},
      {"--trace", &paths.jsonl},
      {"--perfetto", &paths.perfetto},
      {"--timeline", &paths.timeline},
      {"--record", &paths.recording},
  }};
  for (std::size_t i = 0; i < files.size(); ++i) {
    for (std::size_t j = i + 1; j < files.size(); ++j) {
      if (!files[i].second->empty() && !files[j].second->empty() &&
          *files[j].second != "/dev/null" && is_same_file(*files[i].second, *files[j].second)) {
        return *files[j].second + ": found for both " + files[i].first + " and " + files[j].first +
               "; expected two files\n";
      }
    }
  }
  return {};
}

struct TraceOutputs::Output {
  explicit Output(const std::string& path) : file(path) {}

  OutputFile file;
  std::unique_ptr<IEventSink> sink;  // null for the recording, which is written afterwards
};

TraceOutputs::TraceOutputs(const OutputPaths& paths, const std::string& title) {
  const auto open = [this](const std::string& path) -> Output& {
    return *outputs_.emplace_back(std::make_unique<Output>(path));
  };
  if (!paths.jsonl.empty()) {
    Output& output = open(paths.jsonl);
    output.sink = std::make_unique<TraceJsonl>(output.file.stream());
  }
  if (!paths.perfetto.empty()) {
    Output& output = open(paths.perfetto);
    output.sink = std::make_unique<TracePerfetto>(output.file.stream());
  }
  if (!paths.timeline.empty()) {
    Output& output = open(paths.timeline);
    const bool is_svg = ends_with(paths.timeline, ".svg");
    output.sink = std::make_unique<TimelineHtml>(
        output.file.stream(), is_svg ? TimelineForm::Svg : TimelineForm::Page, title);
  }
  if (!paths.recording.empty()) {
    recording_ = &open(paths.recording);
  }
}

TraceOutputs::~TraceOutputs() = default;

void TraceOutputs::add_to(EventFanOut& sinks) {
  for (const auto& output : outputs_) {
    if (output->sink != nullptr) {
      sinks.add(*output->sink);
    }
  }
}

void TraceOutputs::write_recording(const std::string& text) {
  recording_->file.stream() << text;
  if (text.size() > kLargestYamlFile) {
    recording_error_ = fmt::format(
        "{}: has {} bytes, of which play reads at most {}; expected a run of fewer steps\n",
        recording_->file.path(), text.size(), kLargestYamlFile);
  }
}

std::string TraceOutputs::close() {
  for (const auto& output : outputs_) {
    output->file.close();
  }
  return errors();
}

std::string TraceOutputs::errors() const {
  std::string lines;
  for (const auto& output : outputs_) {
    if (!output->file.error().empty()) {
      lines += output->file.error() + "\n";
    }
  }
  return lines + recording_error_;
}

}  // namespace vantrel_can_bridge::workbench
