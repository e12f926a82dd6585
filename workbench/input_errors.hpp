#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel_can_bridge::workbench {

/// Where something stands in an input file.
struct Place {
  std::shared_ptr<const std::string> file;
  std::size_t line = 0;    ///< from 1; 0 for the file as a whole
  std::size_t column = 0;  ///< from 1, in characters
};

/// "FILE:LINE:COLUMN", or "FILE" for the file as a whole.
[[nodiscard]] std::string to_string(const Place& place);

/// Whether `a` comes before `b`: by file name, then by line and column.
[[nodiscard]] bool is_before(const Place& a, const Place& b);

/// What is wrong with input files, gathered so that one run shows all of it.
class InputErrors {
 public:
  /// `text` says what was found and what is expected: "found 010; expected an integer".
  void add(const Place& place, std::string text);

  [[nodiscard]] bool empty() const { return errors_.empty(); }
  [[nodiscard]] std::size_t count() const { return errors_.size(); }

  /// A line "PLACE: TEXT" for each error, in the order of their places, and a last line
  /// with their number where there are too many to show.
  [[nodiscard]] std::string lines() const;

 private:
  struct Error {
    Place place;
    std::string text;
  };
  std::vector<Error> errors_;
};

/// `text` for an error message: what would disturb a terminal is escaped, and of a long
/// text only the beginning stands.
[[nodiscard]] std::string printable(std::string_view text);

/// The name that was probably meant by `text`; empty where none is near.
[[nodiscard]] std::string nearest_name(std::string_view text,
                                       const std::vector<std::string>& names);

}  // namespace vantrel_can_bridge::workbench
