#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "vantrel_protocol/srv/bottom_interact_srv.hpp"

/// The request record by names, for those who write requests down.
namespace vantrel_can_bridge::workbench {

using Request = vantrel_protocol::srv::BottomInteractSrv_Request;

/// One field of the record.
struct RequestField {
  std::string_view name;
  std::variant<std::int32_t Request::*, std::uint32_t Request::*> member;

  [[nodiscard]] std::int64_t get(const Request& request) const;
  /// `value` lies from `min` to `max`.
  void set(Request& request, std::int64_t value) const;
  [[nodiscard]] std::int64_t min() const;
  [[nodiscard]] std::int64_t max() const;

  /// Whether it is a colour, which may also be written as "0x" and 1 to 8 hexadecimal digits.
  [[nodiscard]] bool is_colour() const;
  /// What may be written for a value of it, for messages.
  [[nodiscard]] std::string expected() const;
};

/// "0xff8000"; nothing where `text` is anything else.
[[nodiscard]] std::optional<std::int64_t> parse_colour(std::string_view text);

/// The colour that was probably meant by "ff8000" or "#FF8000", as it should be written;
/// empty where there is none.
[[nodiscard]] std::string meant_colour(std::string_view text);

/// All of them, in the record's order: "cmd" comes first.
[[nodiscard]] const std::vector<RequestField>& request_fields();

/// Null where there is no such field.
[[nodiscard]] const RequestField* find_request_field(std::string_view name);

/// The commands that have a name, by code; the names are those of the orchestrator's log
/// lines: "procter" for CMD_PROCTER. Code 11 does the same as 9 and shares its name.
struct CommandName {
  std::int32_t cmd;
  std::string_view name;
};
[[nodiscard]] const std::vector<CommandName>& command_names();

/// Empty where the command has none.
[[nodiscard]] std::string_view command_name(std::int32_t cmd);

/// The request with these fields and no others; names that there are not are left out.
[[nodiscard]] Request make_request(std::int32_t cmd,
                                   const std::vector<std::pair<std::string, std::int64_t>>& fields);

/// "cmd=13 pump_cmd=1 pump_duty=80": every field that is not 0, and cmd.
[[nodiscard]] std::string request_arguments(const Request& request);

}  // namespace vantrel_can_bridge::workbench
