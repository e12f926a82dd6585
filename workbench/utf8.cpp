#include "workbench/utf8.hpp"

namespace vantrel_can_bridge::workbench {

std::size_t utf8_length(std::string_view rest) {
  const auto byte = [&](std::size_t i) {
    return i < rest.size() ? static_cast<unsigned char>(rest[i]) : 0U;
  };
  const auto continues = [&](std::size_t i) { return (byte(i) & 0xc0U) == 0x80U; };
  const unsigned first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  if (first >= 0xc2 && first <= 0xdf) {
    return continues(1) ? 2 : 0;
  }
  if (first >= 0xe0 && first <= 0xef) {
    const bool overlong = first == 0xe0 && byte(1) < 0xa0;
    const bool surrogate = first == 0xed && byte(1) >= 0xa0;
    return continues(1) && continues(2) && !overlong && !surrogate ? 3 : 0;
  }
  if (first >= 0xf0 && first <= 0xf4) {
    const bool overlong = first == 0xf0 && byte(1) < 0x90;
    const bool beyond = first == 0xf4 && byte(1) >= 0x90;
    return continues(1) && continues(2) && continues(3) && !overlong && !beyond ? 4 : 0;
  }
  return 0;
}

}  // namespace vantrel_can_bridge::workbench
