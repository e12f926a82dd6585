#include "workbench/request_arguments.hpp"

#include <fmt/format.h>

#include <charconv>
#include <set>
#include <string_view>

#include "workbench/input_errors.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

std::optional<std::int64_t> parse_value(const RequestField& field, std::string_view text) {
  if (field.name == "cmd") {
    for (const CommandName& command : command_names()) {
      if (command.name == text) {
        return command.cmd;
      }
    }
  }
  if (const auto colour = parse_colour(text); colour && field.is_colour()) {
    return colour;
  }
  std::int64_t value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool fits = read.ec == std::errc() && read.ptr == text.data() + text.size() &&
                    value >= field.min() && value <= field.max();
  return fits ? std::optional(value) : std::nullopt;
}

std::string wrong_value(const RequestField& field, const std::string& text) {
  const std::string meant = field.is_colour() ? meant_colour(text) : std::string();
  return fmt::format("{}: found \"{}\"; expected {}{}{}", field.name, printable(text),
                     field.expected(), field.name == "cmd" ? ", or a command's name" : "",
                     meant.empty() ? std::string() : fmt::format("; did you mean {}?", meant));
}

std::string unknown_field(const std::string& name) {
  std::vector<std::string> names;
  for (const RequestField& field : request_fields()) {
    names.emplace_back(field.name);
  }
  const std::string nearest = nearest_name(name, names);
  return fmt::format("no field \"{}\"{}", printable(name),
                     nearest.empty() ? std::string() : fmt::format("; did you mean {}?", nearest));
}

}  // namespace

std::optional<Request> parse_request(const std::vector<std::string>& arguments,
                                     std::vector<std::string>& errors) {
  const std::size_t errors_before = errors.size();
  Request request;
  std::set<std::string> seen;
  for (const std::string& argument : arguments) {
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const RequestField* const field = find_request_field(name);
    if (equals == std::string::npos) {
      errors.push_back(fmt::format("found \"{}\"; expected FIELD=VALUE", printable(argument)));
    } else if (field == nullptr) {
      errors.push_back(unknown_field(name));
    } else if (!seen.insert(name).second) {
      errors.push_back(fmt::format("{}: given twice", name));
    } else if (const auto value =
                   parse_value(*field, std::string_view(argument).substr(equals + 1))) {
      field->set(request, *value);
    } else {
      errors.push_back(wrong_value(*field, argument.substr(equals + 1)));
    }
  }
  if (seen.count("cmd") == 0) {
    errors.push_back("cmd is missing; expected cmd=NUMBER or cmd=NAME");
  }
  return errors.size() == errors_before ? std::optional(request) : std::nullopt;
}

}  // namespace vantrel_can_bridge::workbench
