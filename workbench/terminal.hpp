#pragma once

#include <string>
#include <string_view>

namespace vantrel_can_bridge::workbench {

enum class Style { Plain, Dim, Bold, Good, Bad, Notice, Caution, Alarm };

/// `text` in the style's colour, or as it stands where `coloured` is false.
[[nodiscard]] std::string styled(Style style, std::string_view text, bool coloured);

/// Whether `file_descriptor` is a terminal on which more can be done than to write line
/// below line: somebody is watching.
[[nodiscard]] bool is_live_terminal(int file_descriptor);

/// Whether output to `file_descriptor` is to be coloured: it is such a terminal, and
/// NO_COLOR is unset or empty.
[[nodiscard]] bool wants_colour(int file_descriptor);

}  // namespace vantrel_can_bridge::workbench
