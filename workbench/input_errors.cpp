#include "workbench/input_errors.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::size_t kLongestShown = 40;  // bytes of a text
constexpr std::size_t kMostShown = 100;    // errors of a run
constexpr std::size_t kLongestName = 64;   // longer ones are nobody's misspelling

bool is_control(unsigned char byte) { return byte < 0x20 || byte == 0x7f; }

/// Whether the UTF-8 character that begins at `at` is one of the controls U+0080 to U+009F.
bool is_high_control(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]) == 0xc2 && at + 1 < text.size() &&
         static_cast<unsigned char>(text[at + 1]) < 0xa0;
}

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

/// Characters to insert, remove, replace or swap with their neighbour to make `b` of `a`.
std::size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before_last(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before_last.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before_last[j - 2] + 1);
      }
    }
  }
  return row[b.size()];
}

}  // namespace

std::string to_string(const Place& place) {
  return place.line == 0 ? *place.file
                         : fmt::format("{}:{}:{}", *place.file, place.line, place.column);
}

bool is_before(const Place& a, const Place& b) {
  return std::tie(*a.file, a.line, a.column) < std::tie(*b.file, b.line, b.column);
}

void InputErrors::add(const Place& place, std::string text) {
  errors_.push_back({place, std::move(text)});
}

std::string InputErrors::lines() const {
  std::vector<Error> sorted = errors_;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Error& a, const Error& b) { return is_before(a.place, b.place); });
  std::string lines;
  for (std::size_t i = 0; i < std::min(sorted.size(), kMostShown); ++i) {
    lines += fmt::format("{}: {}\n", to_string(sorted[i].place), sorted[i].text);
  }
  if (sorted.size() > kMostShown) {
    lines += fmt::format("... and {} more errors\n", sorted.size() - kMostShown);
  }
  return lines;
}

std::string printable(std::string_view text) {
  std::string shown;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (i >= kLongestShown && !continues_character(text[i])) {
      return shown + "...";
    }
    if (byte == '\n') {
      shown += "\\n";
    } else if (byte == '\t') {
      shown += "\\t";
    } else if (is_control(byte)) {
      shown += fmt::format("\\x{:02x}", byte);
    } else if (is_high_control(text, i)) {
      shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[++i]));
    } else {
      shown += text[i];
    }
  }
  return shown;
}

std::string nearest_name(std::string_view text, const std::vector<std::string>& names) {
  std::string nearest;
  if (text.size() > kLongestName) {
    return nearest;
  }
  // A third of the characters may be wrong: farther off, the hint would be a guess.
  std::size_t least = std::max<std::size_t>(text.size() / 3, 1) + 1;
  for (const std::string& name : names) {
    if (name.size() >= text.size() + least || text.size() >= name.size() + least) {
      continue;  // the lengths alone put it too far off
    }
    const std::size_t distance = edit_distance(text, name);
    if (distance < least && distance < name.size()) {
      least = distance;
      nearest = name;
    }
  }
  return nearest;
}

}  // namespace vantrel_can_bridge::workbench
