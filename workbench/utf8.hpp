#pragma once

#include <cstddef>
#include <string_view>

namespace vantrel_can_bridge::workbench {

/// Bytes of the UTF-8 character that `rest` begins with, 0 where it begins with none.
/// Overlong forms, surrogates and numbers beyond Unicode are none.
[[nodiscard]] std::size_t utf8_length(std::string_view rest);

}  // namespace vantrel_can_bridge::workbench
