#include "workbench/side_by_side.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vantrel_can_bridge::workbench {
namespace {

using Lines = std::vector<std::string>;

/// A line of each list, or none where the other list has a line too many.
struct Row {
  const std::string* expected = nullptr;
  const std::string* actual = nullptr;

  [[nodiscard]] bool is_equal() const {
    return expected != nullptr && actual != nullptr && *expected == *actual;
  }
};

constexpr std::size_t kWidestColumn = 72;
/// Longer lists are compared line by line: finding what they share would take too long.
constexpr std::size_t kLongestAligned = 2'000;

/// Lengths of the longest common parts of what follows each pair of lines.
class CommonLengths {
 public:
  CommonLengths(const Lines& a, const Lines& b)
      : width_(b.size() + 1), lengths_((a.size() + 1) * width_) {
    for (std::size_t i = a.size(); i-- > 0;) {
      for (std::size_t j = b.size(); j-- > 0;) {
        lengths_[i * width_ + j] =
            a[i] == b[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
      }
    }
  }

  [[nodiscard]] std::uint32_t at(std::size_t i, std::size_t j) const {
    return lengths_[i * width_ + j];
  }

 private:
  std::size_t width_;
  std::vector<std::uint32_t> lengths_;
};

std::vector<Row> in_order(const Lines& expected, const Lines& actual) {
  std::vector<Row> rows(std::max(expected.size(), actual.size()));
  for (std::size_t index = 0; index < rows.size(); ++index) {
    rows[index] = {index < expected.size() ? &expected[index] : nullptr,
                   index < actual.size() ? &actual[index] : nullptr};
  }
  return rows;
}

std::vector<Row> aligned(const Lines& expected, const Lines& actual) {
  if (expected.size() > kLongestAligned || actual.size() > kLongestAligned) {
    return in_order(expected, actual);
  }
  const CommonLengths common(expected, actual);
  std::vector<Row> rows;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < expected.size() || j < actual.size()) {
    const bool has_both = i < expected.size() && j < actual.size();
    // Neither line is shared with the rest of the other list: they stand for each other.
    const bool is_pair =
        has_both && (expected[i] == actual[j] || common.at(i + 1, j + 1) == common.at(i, j));
    const bool take_expected =
        is_pair || j == actual.size() || (has_both && common.at(i + 1, j) == common.at(i, j));
    const bool take_actual = is_pair || !take_expected;
    rows.push_back({take_expected ? &expected[i] : nullptr, take_actual ? &actual[j] : nullptr});
    i += take_expected ? 1 : 0;
    j += take_actual ? 1 : 0;
  }
  return rows;
}

std::string text_of(const std::string* line) { return line == nullptr ? "-" : *line; }

std::string trimmed(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

std::string below_each_other(const Lines& expected, const Lines& actual,
                             const std::string& margin) {
  std::string text;
  for (const auto& [name, lines] :
       {std::pair("expected", &expected), std::pair("actual", &actual)}) {
    text += margin + name + "\n";
    for (const std::string& line : *lines) {
      text += trimmed(margin + "  " + line);
    }
    if (lines->empty()) {
      text += margin + "  -\n";
    }
  }
  return text;
}

}  // namespace

std::size_t display_width(const std::string& text) {
  std::size_t width = 0;
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    // Characters from U+1000 on begin with E1 or more; of those that occur here, all from
    // E3 on are wide, and continuation bytes count nothing.
    width += (value & 0xc0U) == 0x80U ? 0 : (value >= 0xe3 ? 2 : 1);
  }
  return width;
}

std::string side_by_side(const Lines& expected, const Lines& actual, std::size_t indent) {
  const std::string margin(indent, ' ');
  std::size_t width = display_width("expected");
  for (const std::string& line : expected) {
    width = std::max(width, display_width(line));
  }
  if (width > kWidestColumn) {
    return below_each_other(expected, actual, margin);
  }
  const auto row_text = [&](const std::string& left, const char* mark, const std::string& right) {
    const std::string gap(width - display_width(left), ' ');
    return trimmed(margin + left + gap + mark + right);
  };
  std::string text = row_text("expected", "   ", "actual");
  for (const Row& row : aligned(expected, actual)) {
    text += row_text(text_of(row.expected), row.is_equal() ? "   " : " ≠ ", text_of(row.actual));
  }
  if (expected.empty() && actual.empty()) {
    text += row_text("-", "   ", "-");
  }
  return text;
}

}  // namespace vantrel_can_bridge::workbench
