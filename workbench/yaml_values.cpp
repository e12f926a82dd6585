#include "workbench/yaml_values.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

namespace vantrel_can_bridge::workbench {
namespace {

using Kind = YamlNode::Kind;

bool is_digit(char character) { return character >= '0' && character <= '9'; }

/// Whether `text` is an integer as we write it: "-" or nothing, then digits that do not
/// begin with a zero unless it is the only one.
bool is_decimal(std::string_view text) {
  if (!text.empty() && text[0] == '-') {
    text.remove_prefix(1);
  }
  return !text.empty() && std::all_of(text.begin(), text.end(), is_digit) &&
         (text[0] != '0' || text.size() == 1);
}

/// The value of `text` in digits of `base`; nothing where it has others or leaves 64 bits.
std::optional<std::int64_t> parse(std::string_view text, int base) {
  std::int64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

/// The integer that somebody meant with digits grouped, a plus sign, zeros in front, a
/// zero fraction, or "0x", "0o", "0b" in front.
std::optional<std::int64_t> meant_integer(std::string_view written) {
  std::string text(written);
  text.erase(std::remove_if(text.begin(), text.end(),
                            [](char character) { return character == '_' || character == ','; }),
             text.end());
  if (!text.empty() && text[0] == '+') {
    text.erase(0, 1);
  }
  if (const std::size_t point = text.find('.');
      point != std::string::npos && text.find_first_not_of('0', point + 1) == std::string::npos) {
    text.erase(point);
  }
  struct Base {
    std::string_view prefix;
    int base;
  };
  for (const Base& base : {Base{"0x", 16}, Base{"0X", 16}, Base{"0o", 8}, Base{"0b", 2}}) {
    if (text.compare(0, base.prefix.size(), base.prefix) == 0) {
      return parse(std::string_view(text).substr(base.prefix.size()), base.base);
    }
  }
  return parse(text, 10);
}

std::string integer_hint(const YamlNode& node, IntegerRange range) {
  const std::optional<std::int64_t> meant = meant_integer(node.text);
  return meant && *meant >= range.min && *meant <= range.max ? std::to_string(*meant) : "";
}

/// The truth value that other programs read from `text`, or that it misspells.
std::string bool_hint(std::string_view text) {
  std::string lower(text.substr(0, 8));
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
  });
  constexpr std::array kTrue{"yes", "y", "on", "1"};
  constexpr std::array kFalse{"no", "n", "off", "0"};
  if (std::find(kTrue.begin(), kTrue.end(), lower) != kTrue.end()) {
    return "true";
  }
  if (std::find(kFalse.begin(), kFalse.end(), lower) != kFalse.end()) {
    return "false";
  }
  return nearest_name(lower, {"true", "false"});
}

/// Whether YAML readers take the unquoted `text` for a number.
bool is_number(std::string_view text) {
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    text.remove_prefix(1);
  }
  if (text == ".inf" || text == ".Inf" || text == ".INF" || text == ".nan" || text == ".NaN" ||
      text == ".NAN") {
    return true;
  }
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'o')) {
    const std::string_view digits = text[1] == 'x' ? "0123456789abcdefABCDEF" : "01234567";
    return text.find_first_not_of(digits, 2) == std::string_view::npos;
  }
  const auto skip_digits = [&text] {
    const auto end = std::find_if_not(text.begin(), text.end(), is_digit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    text.remove_prefix(count);
    return count;
  };
  std::size_t digits = skip_digits();
  if (!text.empty() && text[0] == '.') {
    text.remove_prefix(1);
    digits += skip_digits();
  }
  if (digits > 0 && !text.empty() && (text[0] == 'e' || text[0] == 'E')) {
    text.remove_prefix(1);
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
      text.remove_prefix(1);
    }
    digits = skip_digits();
  }
  return digits > 0 && text.empty();
}

bool is_truth_value(std::string_view text) {
  constexpr std::array kWords{"true", "True", "TRUE", "false", "False", "FALSE"};
  return std::find(kWords.begin(), kWords.end(), text) != kWords.end();
}

bool is_kind(Kind kind, const YamlNode& node, const std::string& what, InputErrors& errors) {
  if (node.kind != kind) {
    report_wrong_value(node, what, "", errors);
  }
  return node.kind == kind;
}

}  // namespace

std::string expected_integer(IntegerRange range) {
  constexpr IntegerRange kAll;
  return range.min == kAll.min && range.max == kAll.max ? "an integer"
         : range.max == kAll.max ? fmt::format("an integer of {} or more", range.min)
                                 : fmt::format("an integer from {} to {}", range.min, range.max);
}

std::string found(const YamlNode& node) {
  switch (node.kind) {
    case Kind::Null:
      return "found nothing";
    case Kind::Sequence:
      return "found a list";
    case Kind::Mapping:
      return "found a mapping";
    case Kind::Scalar:
    case Kind::Refused:
      break;
  }
  return fmt::format(node.quoted ? "found \"{}\"" : "found {}", printable(node.text));
}

void report_wrong_value(const YamlNode& node, const std::string& expected, const std::string& hint,
                        InputErrors& errors) {
  if (node.kind == Kind::Refused) {
    return;
  }
  errors.add(node.place, fmt::format("{}{}{}; expected {}{}", node.label,
                                     node.label.empty() ? "" : ": ", found(node), expected,
                                     hint.empty() ? "" : fmt::format("; did you mean {}?", hint)));
}

std::optional<std::int64_t> read_integer(const YamlNode& node, IntegerRange range,
                                         InputErrors& errors) {
  if (node.kind != Kind::Scalar) {
    report_wrong_value(node, expected_integer(range), "", errors);
    return std::nullopt;
  }
  const bool is_written_well = !node.quoted && is_decimal(node.text);
  const std::optional<std::int64_t> value = parse(node.text, 10);
  if (is_written_well && value && *value >= range.min && *value <= range.max) {
    return value;
  }
  if (is_written_well && !value) {
    // Beyond 64 bits "an integer" alone would not say what is wrong.
    report_wrong_value(node, fmt::format("an integer from {} to {}", range.min, range.max), "",
                       errors);
    return std::nullopt;
  }
  report_wrong_value(node, expected_integer(range),
                     is_written_well ? "" : integer_hint(node, range), errors);
  return std::nullopt;
}

std::optional<bool> read_bool(const YamlNode& node, InputErrors& errors) {
  const bool plain = node.kind == Kind::Scalar && !node.quoted;
  if (plain && (node.text == "true" || node.text == "false")) {
    return node.text == "true";
  }
  report_wrong_value(node, "true or false", bool_hint(node.text), errors);
  return std::nullopt;
}

std::optional<std::string> read_string(const YamlNode& node, InputErrors& errors) {
  const bool is_text = node.kind == Kind::Scalar &&
                       (node.quoted || (!is_number(node.text) && !is_truth_value(node.text)));
  if (is_text) {
    return node.text;
  }
  report_wrong_value(node, "a text",
                     node.kind == Kind::Scalar ? fmt::format("\"{}\"", printable(node.text)) : "",
                     errors);
  return std::nullopt;
}

bool is_sequence(const YamlNode& node, const std::string& what, InputErrors& errors) {
  return is_kind(Kind::Sequence, node, what, errors);
}

bool is_mapping(const YamlNode& node, const std::string& what, InputErrors& errors) {
  return is_kind(Kind::Mapping, node, what, errors);
}

// --- MappingReader ---

MappingReader::MappingReader(const YamlNode& node, const std::string& what, InputErrors& errors)
    : node_(node),
      what_(what),
      errors_(errors),
      is_mapping_(is_mapping(node, "a mapping with the fields of " + what, errors)) {}

const YamlNode* MappingReader::find(const std::string& name) {
  asked_.push_back(name);
  const auto key = std::find_if(node_.keys.begin(), node_.keys.end(),
                                [&](const YamlNode::Key& each) { return each.name == name; });
  if (key == node_.keys.end()) {
    absent_.push_back(name);
    return nullptr;
  }
  return &node_.items[static_cast<std::size_t>(key - node_.keys.begin())];
}

const YamlNode* MappingReader::need(const std::string& name, const std::string& expected) {
  const YamlNode* const node = find(name);
  if (node == nullptr) {
    missing_.push_back({name, expected});
  }
  return node;
}

std::string MappingReader::known_names() const {
  constexpr std::size_t kMostListed = 15;
  return asked_.size() > kMostListed ? "one of its fields"
                                     : fmt::format("one of {}", fmt::join(asked_, ", "));
}

std::string MappingReader::nearest_known(const std::string& name) const {
  // Of two as near, the one that is not there yet is meant.
  std::vector<std::string> names = absent_;
  names.insert(names.end(), asked_.begin(), asked_.end());
  return nearest_name(name, names);
}

std::string MappingReader::where_it_stands(const std::string& name,
                                           const YamlNode::Key& beside) const {
  const auto there = std::find_if(node_.keys.begin(), node_.keys.end(),
                                  [&](const YamlNode::Key& each) { return each.name == name; });
  return there != node_.keys.end() && *there->place.file == *beside.place.file
             ? fmt::format(", which stands in line {}", there->place.line)
             : "";
}

void MappingReader::finish() {
  if (!is_mapping_) {
    return;
  }
  constexpr std::size_t kMostHints = 100;  // comparing names is slow, and more are not shown
  std::size_t hints = 0;
  for (const YamlNode::Key& key : node_.keys) {
    if (std::find(asked_.begin(), asked_.end(), key.name) != asked_.end()) {
      continue;
    }
    const std::string meant = hints++ < kMostHints ? nearest_known(key.name) : std::string();
    errors_.add(key.place,
                fmt::format("found {}, which is unknown in {}; {}", printable(key.name), what_,
                            meant.empty() ? "expected " + known_names()
                                          : fmt::format("did you mean {}{}?", meant,
                                                        where_it_stands(meant, key))));
    // One mistake, one error: the name that was meant is not missing as well.
    missing_.erase(std::remove_if(missing_.begin(), missing_.end(),
                                  [&](const Missing& each) { return each.name == meant; }),
                   missing_.end());
    absent_.erase(std::remove(absent_.begin(), absent_.end(), meant), absent_.end());
  }
  for (const Missing& each : missing_) {
    errors_.add(node_.place,
                fmt::format("{} is missing in {}; expected {}", each.name, what_, each.expected));
  }
}

}  // namespace vantrel_can_bridge::workbench
