#include "workbench/scenario_recording.hpp"

#include <fmt/format.h>

#include <cctype>
#include <filesystem>
#include <string_view>

#include "workbench/step_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

std::string in_quotes(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";  // not read unless it is escaped
  std::string out = "\"";
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char character = text[index];
    if (character == '"' || character == '\\') {
      out += '\\';
      out += character;
    } else if (character == '\n') {
      out += "\\n";
    } else if (text.substr(index, kByteOrderMark.size()) == kByteOrderMark) {
      out += "\\ufeff";
      index += kByteOrderMark.size() - 1;
    } else if (static_cast<unsigned char>(character) < 0x20 || character == 0x7f) {
      out += fmt::format("\\x{:02x}", static_cast<unsigned char>(character));
    } else {
      out += character;
    }
  }
  return out + "\"";
}

/// Whether `text` means the same without quotes wherever it stands.
bool is_plain(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./% -";
  if (text.empty() || text.find_first_not_of(kPlain) != std::string_view::npos ||
      text.back() == ' ' || text == "null" || text == "Null" || text == "NULL") {
    return false;
  }
  const std::size_t first = text.front() == '-' ? 1 : 0;  // of a number below 0
  return first < text.size() && std::isalnum(static_cast<unsigned char>(text[first])) != 0;
}

/// A value as it was read, on one line.
std::string flow(const YamlNode& node) {
  switch (node.kind) {
    case YamlNode::Kind::Null:
    case YamlNode::Kind::Refused:
      return "~";
    case YamlNode::Kind::Scalar:
      return node.quoted || !is_plain(node.text) ? in_quotes(node.text) : node.text;
    case YamlNode::Kind::Sequence:
    case YamlNode::Kind::Mapping:
      break;
  }
  const bool is_mapping = node.kind == YamlNode::Kind::Mapping;
  std::string text;
  for (std::size_t index = 0; index < node.items.size(); ++index) {
    text += index == 0 ? "" : ", ";
    if (is_mapping) {
      const std::string& key = node.keys[index].name;
      text += (is_plain(key) ? key : in_quotes(key)) + ": ";
    }
    text += flow(node.items[index]);
  }
  return is_mapping ? "{" + text + "}" : "[" + text + "]";
}

std::string name_text(const std::string& name) { return is_plain(name) ? name : in_quotes(name); }

/// Repeats of an operation as one entry.
std::string operations_text(const std::vector<Operation>& operations) {
  if (operations.empty()) {
    return "      operations: []\n";
  }
  std::string text = "      operations:\n";
  std::uint64_t times = 0;
  for (std::size_t index = 0; index < operations.size(); ++index) {
    const auto entry = [](const Operation& one) {
      const std::string payload = one.payload.empty() ? "" : ", " + in_quotes(hex(one.payload));
      return fmt::format("{}, {}, {}{}", name_text(one.board), name_text(one.device),
                         name_text(one.op), payload);
    };
    const std::string shown = entry(operations[index]);
    ++times;
    if (index + 1 == operations.size() || entry(operations[index + 1]) != shown) {
      text += fmt::format("        - [{}{}]\n", shown,
                          times == 1 ? std::string() : fmt::format(", x {}", times));
      times = 0;
    }
  }
  return text;
}

std::string reply_text(const RequestOutcome& outcome) {
  if (!outcome.thrown.empty()) {
    return fmt::format("      reply: {{throws: {}}}\n", in_quotes(outcome.thrown));
  }
  return fmt::format("      reply: {{success: {}, message: {}}}\n", outcome.reply.success,
                     in_quotes(outcome.reply.message));
}

std::string lines_text(const StepRecord& record, LogChannel channel, std::string_view key) {
  std::string text;
  for (const StepRecord::Line& line : record.lines) {
    if (line.channel == channel) {
      text += "        - " + in_quotes(line.text) + "\n";
    }
  }
  return text.empty() ? fmt::format("      {}: []\n", key) : fmt::format("      {}:\n", key) + text;
}

/// Also for the time that asking takes, which is part of the run: a running move is waited for.
std::string claws_text(const std::vector<ClawExpectation>& claws) {
  std::string text;
  for (const ClawExpectation& claw : claws) {
    text += fmt::format("{}motor{}: {}", text.empty() ? "      claws: {" : ", ", claw.motor,
                        claw_state_text(claw.state));
  }
  return text.empty() ? text : text + "}\n";
}

std::string step_recording(const YamlNode& step, const StepRecord& record) {
  std::string text;
  for (std::size_t index = 0; index < step.keys.size(); ++index) {
    if (step.keys[index].name != "expect") {
      text += fmt::format("{} {}: {}\n", text.empty() ? "  -" : "   ", step.keys[index].name,
                          flow(step.items[index]));
    }
  }
  text += text.empty() ? "  - expect:\n" : "    expect:\n";
  if (record.outcome) {
    text += reply_text(*record.outcome);
  }
  return text + operations_text(record.operations) + lines_text(record, LogChannel::Info, "info") +
         lines_text(record, LogChannel::Warn, "warn") + claws_text(record.claws);
}

}  // namespace

std::string ScenarioRecording::text(const std::string& path) const {
  namespace fs = std::filesystem;
  // Without links, behind which ".." leads elsewhere.
  const auto folder_of = [](const fs::path& file) {
    return fs::weakly_canonical(fs::absolute(file).parent_path());
  };
  std::string text;
  const YamlNode* steps = nullptr;
  for (std::size_t index = 0; index < scenario_.document.keys.size(); ++index) {
    const std::string& key = scenario_.document.keys[index].name;
    const YamlNode& value = scenario_.document.items[index];
    if (key == "steps") {
      steps = &value;
    } else if (key == "robot") {
      const fs::path robot = scenario_.robot_path();
      const fs::path from_there = folder_of(robot).lexically_relative(folder_of(path));
      text +=
          "robot: " + in_quotes((from_there / robot.filename()).lexically_normal().string()) + "\n";
    } else if (key != "seed") {
      text += key + ": " + flow(value) + "\n";
    }
  }
  // Without a step, nothing would stand where a list has to.
  text += fmt::format("seed: {}\nsteps:{}\n", scenario_.seed, records_.empty() ? " []" : "");
  for (std::size_t index = 0; steps != nullptr && index < records_.size(); ++index) {
    text += step_recording(steps->items[index], records_[index]);
  }
  return text;
}

}  // namespace vantrel_can_bridge::workbench
