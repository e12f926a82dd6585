#include "workbench/terminal.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>

namespace vantrel_can_bridge::workbench {
namespace {

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

/// Parameters of the terminal's "select graphic rendition".
std::string_view rendition(Style style) {
  switch (style) {
    case Style::Plain:
      return "";
    case Style::Dim:
      return "2";
    case Style::Bold:
      return "1";
    case Style::Good:
      return "32";
    case Style::Bad:
      return "31";
    case Style::Notice:
      return "36";
    case Style::Caution:
      return "33";
    case Style::Alarm:
      return "1;31";
  }
  return "";
}

}  // namespace

std::string styled(Style style, std::string_view text, bool coloured) {
  return coloured && style != Style::Plain
             ? fmt::format("\x1b[{}m{}\x1b[0m", rendition(style), text)
             : std::string(text);
}

bool is_live_terminal(int file_descriptor) {
  return isatty(file_descriptor) == 1 && !variable("TERM").empty() && variable("TERM") != "dumb";
}

bool wants_colour(int file_descriptor) {
  return is_live_terminal(file_descriptor) && variable("NO_COLOR").empty();
}

}  // namespace vantrel_can_bridge::workbench
