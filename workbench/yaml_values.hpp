#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "workbench/yaml_document.hpp"

/// Typed access to the values of an input file: what does not fit is reported with its
/// place, and reading goes on.
namespace vantrel_can_bridge::workbench {

/// Both ends included.
struct IntegerRange {
  std::int64_t min = std::numeric_limits<std::int64_t>::min();
  std::int64_t max = std::numeric_limits<std::int64_t>::max();
};

/// "an integer", with the range where it is narrower than 64 bits.
[[nodiscard]] std::string expected_integer(IntegerRange range);

/// What `node` is, for a message: `found ...`.
[[nodiscard]] std::string found(const YamlNode& node);

/// Reports that `node` is not what is expected; `hint` is what was probably meant.
void report_wrong_value(const YamlNode& node, const std::string& expected, const std::string& hint,
                        InputErrors& errors);

/// Decimal digits with an optional minus sign, unquoted, nothing before the first digit.
[[nodiscard]] std::optional<std::int64_t> read_integer(const YamlNode& node, IntegerRange range,
                                                       InputErrors& errors);

/// "true" or "false", unquoted.
[[nodiscard]] std::optional<bool> read_bool(const YamlNode& node, InputErrors& errors);

/// Any text; one that reads as a number, a truth value or nothing must be quoted.
[[nodiscard]] std::optional<std::string> read_string(const YamlNode& node, InputErrors& errors);

/// Whether `node` is a sequence or a mapping; reports it where it is not. `what` is what
/// is expected, with its article: "a list of steps".
[[nodiscard]] bool is_sequence(const YamlNode& node, const std::string& what, InputErrors& errors);
[[nodiscard]] bool is_mapping(const YamlNode& node, const std::string& what, InputErrors& errors);

/// How values of type `T` are read: integers of up to 64 bits (unsigned ones up to the
/// largest signed one), bool, std::string, and vectors of these.
template <class T>
struct YamlValue {
  static_assert(std::is_integral_v<T>);
  static constexpr IntegerRange kRange{
      std::is_signed_v<T> ? std::int64_t{std::numeric_limits<T>::min()} : 0,
      sizeof(T) < sizeof(std::int64_t) ? static_cast<std::int64_t>(std::numeric_limits<T>::max())
                                       : std::numeric_limits<std::int64_t>::max()};

  static std::string expected() { return expected_integer(kRange); }
  static std::optional<T> read(const YamlNode& node, InputErrors& errors) {
    const std::optional<std::int64_t> value = read_integer(node, kRange, errors);
    return value ? std::optional<T>(static_cast<T>(*value)) : std::nullopt;
  }
};

template <>
struct YamlValue<bool> {
  static std::string expected() { return "true or false"; }
  static std::optional<bool> read(const YamlNode& node, InputErrors& errors) {
    return read_bool(node, errors);
  }
};

template <>
struct YamlValue<std::string> {
  static std::string expected() { return "a text"; }
  static std::optional<std::string> read(const YamlNode& node, InputErrors& errors) {
    return read_string(node, errors);
  }
};

template <class T>
struct YamlValue<std::vector<T>> {
  static std::string expected() { return "a list, each " + YamlValue<T>::expected(); }
  static std::optional<std::vector<T>> read(const YamlNode& node, InputErrors& errors) {
    if (!is_sequence(node, expected(), errors)) {
      return std::nullopt;
    }
    std::optional<std::vector<T>> values(std::in_place);
    for (const YamlNode& item : node.items) {
      const std::optional<T> value = YamlValue<T>::read(item, errors);
      if (!value) {
        values.reset();
      } else if (values) {
        values->push_back(*value);
      }
    }
    return values;
  }
};

/// Reads a mapping key by key; the keys that were asked for are the ones it knows.
class MappingReader {
 public:
  /// `what` with its article, for messages: "a robot". Reports a `node` that is no
  /// mapping, and is then silent about its keys. `node` and `errors` must outlive it.
  MappingReader(const YamlNode& node, const std::string& what, InputErrors& errors);

  /// Each returns whether there was a value of the right type; `value` keeps what it was
  /// where there was not.
  template <class T>
  bool required(const std::string& name, T& value) {
    const YamlNode* node = need(name, YamlValue<T>::expected());
    return node != nullptr && assign(YamlValue<T>::read(*node, errors_), value);
  }
  template <class T>
  bool optional(const std::string& name, T& value) {
    const YamlNode* node = find(name);
    return node != nullptr && assign(YamlValue<T>::read(*node, errors_), value);
  }

  /// The value of a key in the file, for what has no type above; null where it is missing.
  const YamlNode* find(const std::string& name);
  /// The same for a key that must be there: `expected` is told where it is missing.
  const YamlNode* need(const std::string& name, const std::string& expected);

  /// Reports the keys that nothing asked for, each with the name that was probably meant,
  /// and those that are missing. Call it last.
  void finish();

 private:
  struct Missing {
    std::string name;
    std::string expected;
  };

  template <class T>
  static bool assign(std::optional<T> read, T& value) {
    if (read) {
      value = *std::move(read);
    }
    return read.has_value();
  }

  /// Of all that were asked for; a few words where they are too many to read.
  [[nodiscard]] std::string known_names() const;
  /// Of the names asked for; empty where none is like `name`.
  [[nodiscard]] std::string nearest_known(const std::string& name) const;
  /// For messages about `beside`: the line of the key `name`, empty where it is not in that file.
  [[nodiscard]] std::string where_it_stands(const std::string& name,
                                            const YamlNode::Key& beside) const;

  const YamlNode& node_;
  const std::string what_;
  InputErrors& errors_;
  const bool is_mapping_;
  std::vector<std::string> asked_;   // names of the keys asked for
  std::vector<std::string> absent_;  // those of them that the mapping lacks
  std::vector<Missing> missing_;     // those of them that it must not lack
};

}  // namespace vantrel_can_bridge::workbench
