#include "workbench/yaml_scalars.hpp"

#include <charconv>
#include <cstdlib>
#include <string_view>

#include "workbench/duration_text.hpp"
#include "workbench/yaml_values.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

// Longer than anybody plays a scenario, and far from the end of every clock.
constexpr std::chrono::nanoseconds kLongest = std::chrono::hours(1'000);

const std::string kDuration = "a length of time such as 500 ms, 1.5 s or 2 min";
const std::string kAtMostLongest = "at most 1000 h";
const std::string kBytes = "bytes in hexadecimal such as \"03 50 00\", or \"\" for none";
const std::string kPermille = "a percentage from 0 % to 100 % such as 45 % or 12.5 %";
const std::string kProbability = "a number above 0 and up to 1 such as 0.25";

std::optional<Bytes> parse_bytes(std::string_view text) {
  Bytes bytes;
  while (!text.empty()) {
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), byte, 16);
    if (error != std::errc() || end != text.data() + 2) {
      return std::nullopt;
    }
    bytes.push_back(byte);
    text.remove_prefix(2);
    if (!text.empty() && (text.front() != ' ' || text.size() == 1)) {
      return std::nullopt;
    }
    text.remove_prefix(text.empty() ? 0 : 1);
  }
  return bytes;
}

std::optional<std::int64_t> parse_permille(std::string_view text) {
  std::int64_t whole = 0;
  std::int64_t tenth = 0;
  const char* const end = text.data() + text.size();
  const char* at = text.data();
  if (text.empty() || *at < '0' || *at > '9') {
    return std::nullopt;
  }
  const auto read = std::from_chars(at, end, whole);
  at = read.ptr;
  if (end - at >= 2 && at[0] == '.' && at[1] >= '0' && at[1] <= '9') {
    tenth = at[1] - '0';
    at += 2;
  }
  const bool is_percent = std::string_view(at, static_cast<std::size_t>(end - at)) == " %";
  if (read.ec != std::errc() || !is_percent || whole > 100 || whole * 10 + tenth > 1000) {
    return std::nullopt;
  }
  return whole * 10 + tenth;
}

}  // namespace

std::optional<std::chrono::nanoseconds> read_duration(const YamlNode& node, InputErrors& errors) {
  const auto duration =
      node.kind == YamlNode::Kind::Scalar ? parse_duration(node.text) : std::nullopt;
  if (duration && *duration <= kLongest) {
    return duration;
  }
  report_wrong_value(node, duration ? kAtMostLongest : kDuration, "", errors);
  return std::nullopt;
}

std::optional<Bytes> read_bytes(const YamlNode& node, InputErrors& errors) {
  if (node.kind == YamlNode::Kind::Scalar) {
    if (const auto bytes = parse_bytes(node.text)) {
      return bytes;
    }
  }
  report_wrong_value(node, kBytes, "", errors);
  return std::nullopt;
}

std::optional<std::int64_t> read_permille(const YamlNode& node, InputErrors& errors) {
  if (node.kind == YamlNode::Kind::Scalar) {
    if (const auto permille = parse_permille(node.text)) {
      return permille;
    }
  }
  report_wrong_value(node, kPermille, "", errors);
  return std::nullopt;
}

std::optional<double> read_probability(const YamlNode& node, InputErrors& errors) {
  if (node.kind == YamlNode::Kind::Scalar) {
    double probability = 0.0;
    const char* const end = node.text.data() + node.text.size();
    const auto read = std::from_chars(node.text.data(), end, probability, std::chars_format::fixed);
    if (read.ec == std::errc() && read.ptr == end && probability > 0.0 && probability <= 1.0) {
      return probability;
    }
  }
  report_wrong_value(node, kProbability, "", errors);
  return std::nullopt;
}

std::optional<std::size_t> read_word(const YamlNode& node, const std::vector<std::string>& words,
                                     InputErrors& errors) {
  if (node.kind == YamlNode::Kind::Scalar) {
    for (std::size_t index = 0; index < words.size(); ++index) {
      if (words[index] == node.text) {
        return index;
      }
    }
  }
  report_wrong_value(
      node, one_of(words),
      node.kind == YamlNode::Kind::Scalar ? nearest_name(node.text, words) : std::string(), errors);
  return std::nullopt;
}

std::optional<std::string> read_any_text(const YamlNode& node, const std::string& expected,
                                         InputErrors& errors) {
  if (node.kind != YamlNode::Kind::Scalar) {
    report_wrong_value(node, expected, "", errors);
    return std::nullopt;
  }
  return node.text;
}

std::string one_of(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t index = 0; index < words.size(); ++index) {
    text += index == 0 ? "" : (index + 1 == words.size() ? " or " : ", ");
    text += words[index];
  }
  return text;
}

}  // namespace vantrel_can_bridge::workbench
