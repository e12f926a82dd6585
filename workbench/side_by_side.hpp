#pragma once

#include <string>
#include <vector>

namespace vantrel_can_bridge::workbench {

/// Two lists of lines beside each other under "expected" and "actual", each line indented
/// by `indent` blanks. Equal lines stand in one row; a row that differs is marked:
///
///     expected                                 actual
///     selfclean_board pump set_duty [03 50 00] selfclean_board pump set_duty [03 50 00]
///     selfclean_board valve set_valves [07 00] ≠ -
///
/// Long lists stand below each other instead when they do not fit beside each other.
[[nodiscard]] std::string side_by_side(const std::vector<std::string>& expected,
                                       const std::vector<std::string>& actual, std::size_t indent);

/// Columns that `text`, UTF-8, takes on a terminal; Chinese characters take two.
[[nodiscard]] std::size_t display_width(const std::string& text);

}  // namespace vantrel_can_bridge::workbench
