#include "workbench/markup.hpp"

#include "workbench/utf8.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";  // U+FFFD

std::string control_picture(unsigned char control) {
  constexpr unsigned char kDelete = 0x7f;
  return {'\xe2', '\x90', static_cast<char>(control == kDelete ? 0xa1 : 0x80 + control)};
}

/// One character that is valid UTF-8.
std::string character_markup(std::string_view character) {
  const auto first = static_cast<unsigned char>(character.front());
  switch (first) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '"':
      return "&quot;";
    case '\n':
    case '\t':
      return std::string(character);
    case 0x7f:
      return control_picture(first);
    default:
      break;
  }
  const bool is_second_control =
      first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;  // U+0080 to U+009F
  const bool is_no_character = character == "\xef\xbf\xbe" || character == "\xef\xbf\xbf";
  if (is_second_control || is_no_character) {
    return std::string(kReplacement);
  }
  return first < 0x20 ? control_picture(first) : std::string(character);
}

}  // namespace

std::string markup_text(std::string_view text) {
  std::string markup;
  markup.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = utf8_length(text);
    markup += length == 0 ? std::string(kReplacement) : character_markup(text.substr(0, length));
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return markup;
}

}  // namespace vantrel_can_bridge::workbench
