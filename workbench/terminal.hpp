#pragma once

#include <string>
#include <string_view>

namespace vantrel_can_bridge::workbench {

enum class Style { Plain, Dim, Bold, Good, Bad, Notice, Caution, Alarm };

/// `text` in the style's colour, or as it stands where `coloured` is false.
[[nodiscard]] std::string styled(Style style, std::string_view text, bool coloured);

/// Whether output to `file_descriptor` is to be coloured: it is a terminal that can, and
/// NO_COLOR is unset or empty.
[[nodiscard]] bool wants_colour(int file_descriptor);

}  // namespace vantrel_can_bridge::workbench
