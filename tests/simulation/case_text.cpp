#include "tests/simulation/case_text.hpp"

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace vantrel_can_bridge::test::simulation {
namespace {

constexpr std::array<const char*, 5> kHappenings = {"stop", "clear", "exception", "interrupt",
                                                    "failure"};
constexpr std::array<const char*, 3> kPlaces = {"call", "wait", "line"};

// The visits as objects, which can be handed on.
constexpr auto kChannels = [](auto& record, auto visitor) { visit_channels(record, visitor); };
constexpr auto kConfig = [](auto& record, auto visitor) { visit_config(record, visitor); };
constexpr auto kRequest = [](auto& record, auto visitor) { visit_request(record, visitor); };
constexpr auto kArguments = [](auto& record, auto visitor) { visit_arguments(record, visitor); };
constexpr auto kAnswer = [](auto& record, auto visitor) { visit_answer(record, visitor); };

// --- Writing ---

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == '"' || byte == '\\') {
      const std::string digits = "0123456789abcdef";
      out += "\\x";
      out += digits[byte / 16];
      out += digits[byte % 16];
    } else {
      out += c;
    }
  }
  return out + "\"";
}

template <class Value>
std::string written(const Value& value) {
  if constexpr (std::is_arithmetic_v<Value>) {
    return std::to_string(value);
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return quoted(value);
  } else {
    std::string out = "[";
    for (const auto item : value) {
      out += (out.size() > 1 ? " " : "") + std::to_string(item);
    }
    return out + "]";
  }
}

/// " name=value" for every field that has not its default value.
template <class Record, class Visit>
std::string fields(const Record& record, Visit visit) {
  std::vector<std::string> defaults;
  const Record initial{};
  visit(initial, [&](const char*, const auto& value) { defaults.push_back(written(value)); });
  std::string out;
  std::size_t i = 0;
  visit(record, [&](const char* name, const auto& value) {
    const std::string now = written(value);
    if (now != defaults[i++]) {
      out += std::string(" ") + name + "=" + now;
    }
  });
  return out;
}

std::string line(const std::string& keyword, const std::string& rest) {
  return rest.empty() ? "" : keyword + rest + "\n";
}

// --- Reading ---

std::uint8_t hex_byte(const std::string& digits) {
  return static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16));
}

std::string unquoted(const std::string& text) {
  std::string out;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] == '\\') {
      out += static_cast<char>(hex_byte(text.substr(i + 2, 2)));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

template <class Value>
void read_value(const std::string& text, Value& value) {
  if constexpr (std::is_arithmetic_v<Value>) {
    value = static_cast<Value>(std::stoll(text));
  } else if constexpr (std::is_same_v<Value, std::string>) {
    value = unquoted(text);
  } else {
    std::istringstream items(text.substr(1, text.size() - 2));
    value.clear();
    for (std::int64_t item = 0; items >> item;) {
      value.push_back(static_cast<typename Value::value_type>(item));
    }
  }
}

/// The next "name=value" of `text` from `at` on; an empty name at the end.
std::pair<std::string, std::string> next_field(const std::string& text, std::size_t& at) {
  at = text.find_first_not_of(' ', at);
  if (at == std::string::npos) {
    return {};
  }
  const std::size_t equals = text.find('=', at);
  if (equals == std::string::npos) {
    throw std::runtime_error("expected name=value");
  }
  const std::string name = text.substr(at, equals - at);
  const char first = equals + 1 < text.size() ? text[equals + 1] : ' ';
  const char last = first == '"' ? '"' : first == '[' ? ']' : ' ';
  std::size_t end = text.find(last, equals + 2);
  if (end == std::string::npos && last != ' ') {
    throw std::runtime_error("no end of the value of " + name);
  }
  end = last == ' ' ? std::min(end, text.size()) : end + 1;
  at = end;
  return {name, text.substr(equals + 1, end - equals - 1)};
}

template <class Record, class Visit>
void read_fields(const std::string& text, Record& record, Visit visit) {
  std::size_t at = 0;
  for (auto field = next_field(text, at); !field.first.empty(); field = next_field(text, at)) {
    bool known = false;
    visit(record, [&](const std::string& name, auto& value) {
      if (name == field.first) {
        read_value(field.second, value);
        known = true;
      }
    });
    if (!known) {
      throw std::runtime_error("no field " + field.first);
    }
  }
}

template <class Enum, std::size_t Size>
Enum named(const std::array<const char*, Size>& names, const std::string& name) {
  for (std::size_t i = 0; i < Size; ++i) {
    if (names[i] == name) {
      return static_cast<Enum>(i);
    }
  }
  throw std::runtime_error("unknown word " + name);
}

Incident read_incident(const std::string& text) {
  std::istringstream words(text);
  std::string what;
  std::string where;
  Incident incident;
  if (!(words >> what >> where >> incident.number)) {
    throw std::runtime_error("expected: incident WHAT WHERE NUMBER");
  }
  incident.what = named<Happening>(kHappenings, what);
  incident.where = named<Place>(kPlaces, where);
  return incident;
}

void read_line(const std::string& keyword, const std::string& rest, Case& script) {
  if (keyword == "channels") {
    return read_fields(rest, script.channels, kChannels);
  }
  if (keyword == "config") {
    return read_fields(rest, script.config, kConfig);
  }
  if (keyword == "step") {
    script.steps.emplace_back();
    script.steps.back().operation = rest.substr(std::min<std::size_t>(1, rest.size()));
    return;
  }
  if (script.steps.empty()) {
    throw std::runtime_error("expected a step before " + keyword);
  }
  Step& step = script.steps.back();
  if (keyword == "request") {
    read_fields(rest, step.request, kRequest);
  } else if (keyword == "arguments") {
    read_fields(rest, step.arguments, kArguments);
  } else if (keyword == "answer") {
    read_fields(rest, step.answers.emplace_back(), kAnswer);
  } else if (keyword == "repeat") {
    step.repeats = true;
  } else if (keyword == "incident") {
    step.incidents.push_back(read_incident(rest));
  } else {
    throw std::runtime_error("unknown word " + keyword);
  }
}

}  // namespace

std::string to_text(const Case& script) {
  std::string out = line("channels", fields(script.channels, kChannels));
  out += line("config", fields(script.config, kConfig));
  for (const Step& step : script.steps) {
    out += "step " + step.operation + "\n";
    out += line("  request", fields(step.request, kRequest));
    out += line("  arguments", fields(step.arguments, kArguments));
    for (const Answer& answer : step.answers) {
      out += "  answer" + fields(answer, kAnswer) + "\n";
    }
    out += step.repeats ? "  repeat\n" : "";
    for (const Incident& incident : step.incidents) {
      out += std::string("  incident ") + kHappenings.at(static_cast<std::size_t>(incident.what)) +
             " " + kPlaces.at(static_cast<std::size_t>(incident.where)) + " " +
             std::to_string(incident.number) + "\n";
    }
  }
  return out;
}

Case from_text(const std::string& text) {
  Case script;
  std::istringstream lines(text);
  std::size_t number = 0;
  for (std::string current; std::getline(lines, current);) {
    ++number;
    const std::size_t start = current.find_first_not_of(' ');
    if (start == std::string::npos) {
      continue;
    }
    const std::size_t end = std::min(current.find(' ', start), current.size());
    try {
      read_line(current.substr(start, end - start), current.substr(end), script);
    } catch (const std::exception& error) {
      throw std::runtime_error("line " + std::to_string(number) + ": " + error.what());
    }
  }
  return script;
}

}  // namespace vantrel_can_bridge::test::simulation
