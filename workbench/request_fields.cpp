#include "workbench/request_fields.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace vantrel_can_bridge::workbench {
namespace {

bool is_hexadecimal(std::string_view text) {
  return text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

}  // namespace

std::int64_t RequestField::get(const Request& request) const {
  return std::visit([&](auto field) { return static_cast<std::int64_t>(request.*field); }, member);
}

void RequestField::set(Request& request, std::int64_t value) const {
  std::visit(
      [&](auto field) {
        using Number = std::remove_reference_t<decltype(request.*field)>;
        request.*field = static_cast<Number>(value);
      },
      member);
}

std::int64_t RequestField::min() const {
  return std::holds_alternative<std::int32_t Request::*>(member)
             ? std::numeric_limits<std::int32_t>::min()
             : 0;
}

std::int64_t RequestField::max() const {
  return std::holds_alternative<std::int32_t Request::*>(member)
             ? std::int64_t{std::numeric_limits<std::int32_t>::max()}
             : std::int64_t{std::numeric_limits<std::uint32_t>::max()};
}

bool RequestField::is_colour() const {
  constexpr std::string_view kColour = "rgb";
  return name.size() >= kColour.size() && name.substr(name.size() - kColour.size()) == kColour;
}

std::string RequestField::expected() const {
  return fmt::format("an integer from {} to {}{}", min(), max(),
                     is_colour() ? ", or 0x and 1 to 8 hexadecimal digits" : "");
}

std::optional<std::int64_t> parse_colour(std::string_view text) {
  constexpr std::size_t kMostDigits = 8;
  const std::string_view digits = text.substr(std::min<std::size_t>(text.size(), 2));
  if (text.substr(0, 2) != "0x" || digits.empty() || digits.size() > kMostDigits ||
      !is_hexadecimal(digits)) {
    return std::nullopt;
  }
  std::int64_t colour = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), colour, 16);
  return colour;
}

std::string meant_colour(std::string_view text) {
  constexpr std::size_t kDigits = 6;
  if (text.substr(0, 1) == "#") {
    text.remove_prefix(1);
  }
  return text.size() == kDigits && is_hexadecimal(text) ? fmt::format("0x{}", text) : std::string();
}

const std::vector<RequestField>& request_fields() {
  static const std::vector<RequestField> kFields = {
      {"cmd", &Request::cmd},
      {"tools_cmd", &Request::tools_cmd},
      {"tools_duty", &Request::tools_duty},
      {"tools_select", &Request::tools_select},
      {"tools_claw_cmd", &Request::tools_claw_cmd},
      {"tools_claw_duty", &Request::tools_claw_duty},
      {"tools_claw_select", &Request::tools_claw_select},
      {"pump_cmd", &Request::pump_cmd},
      {"pump_duty", &Request::pump_duty},
      {"clean_cmd", &Request::clean_cmd},
      {"clean_duty", &Request::clean_duty},
      {"clean_select", &Request::clean_select},
      {"dirty_cmd", &Request::dirty_cmd},
      {"dirty_duty", &Request::dirty_duty},
      {"dirty_select", &Request::dirty_select},
      {"bottom_rgb", &Request::bottom_rgb},
      {"bottom_level", &Request::bottom_level},
      {"bottom_mode", &Request::bottom_mode},
      {"left_rgb", &Request::left_rgb},
      {"left_level", &Request::left_level},
      {"left_mode", &Request::left_mode},
      {"right_rgb", &Request::right_rgb},
      {"right_level", &Request::right_level},
      {"right_mode", &Request::right_mode},
      {"rgb", &Request::rgb},
      {"front_rgb", &Request::front_rgb},
      {"rear_rgb", &Request::rear_rgb},
      {"wheel_cmd", &Request::wheel_cmd},
  };
  return kFields;
}

const RequestField* find_request_field(std::string_view name) {
  const auto& fields = request_fields();
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const RequestField& field) { return field.name == name; });
  return found == fields.end() ? nullptr : &*found;
}

const std::vector<CommandName>& command_names() {
  static const std::vector<CommandName> kNames = {
      {0, "procter"},    {2, "operate_light"}, {7, "unlock_bump"},  {8, "wheel_control"},
      {9, "fill_light"}, {11, "fill_light"},   {13, "handle_pump"}, {14, "projection_light"}};
  return kNames;
}

std::string_view command_name(std::int32_t cmd) {
  for (const CommandName& command : command_names()) {
    if (command.cmd == cmd) {
      return command.name;
    }
  }
  return {};
}

Request make_request(std::int32_t cmd,
                     const std::vector<std::pair<std::string, std::int64_t>>& fields) {
  Request request;
  request.cmd = cmd;
  for (const auto& [name, value] : fields) {
    if (const RequestField* const field = find_request_field(name)) {
      field->set(request, value);
    }
  }
  return request;
}

std::string request_arguments(const Request& request) {
  std::string text = fmt::format("cmd={}", request.cmd);
  for (const RequestField& field : request_fields()) {
    const std::int64_t value = field.get(request);
    if (value != 0 && field.name != "cmd") {
      text += fmt::format(" {}={}", field.name, value);
    }
  }
  return text;
}

}  // namespace vantrel_can_bridge::workbench
