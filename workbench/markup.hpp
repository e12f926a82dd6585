#pragma once

#include <string>
#include <string_view>

namespace vantrel_can_bridge::workbench {

/// `text` as it can stand anywhere in HTML, SVG or XML, attribute values in double quotes
/// included. What these cannot hold is replaced: a control character by its picture (U+2400
/// onwards), a byte that is no part of valid UTF-8 by U+FFFD. A line end stays one.
[[nodiscard]] std::string markup_text(std::string_view text);

}  // namespace vantrel_can_bridge::workbench
