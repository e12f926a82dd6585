#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "workbench/input_errors.hpp"
#include "workbench/operation.hpp"
#include "workbench/yaml_document.hpp"

/// Values that scenario files write in their own way. Each function reports what does not
/// fit and then returns nothing.
namespace vantrel_can_bridge::workbench {

/// "500 ms", "1.5 s", "2 min".
[[nodiscard]] std::optional<std::chrono::nanoseconds> read_duration(const YamlNode& node,
                                                                    InputErrors& errors);

/// Bytes in hexadecimal, two digits each, separated by blanks: "03 50 00"; "" for none.
[[nodiscard]] std::optional<Bytes> read_bytes(const YamlNode& node, InputErrors& errors);

/// From 0 % to 100 %, with one decimal at most, as permille: "45 %".
[[nodiscard]] std::optional<std::int64_t> read_permille(const YamlNode& node, InputErrors& errors);

/// Above 0 and up to 1: "0.25".
[[nodiscard]] std::optional<double> read_probability(const YamlNode& node, InputErrors& errors);

/// One of the words; its position among them.
[[nodiscard]] std::optional<std::size_t> read_word(const YamlNode& node,
                                                   const std::vector<std::string>& words,
                                                   InputErrors& errors);

/// The text of a scalar whatever it looks like, numbers included; `expected` says what it
/// should be where it is no scalar.
[[nodiscard]] std::optional<std::string> read_any_text(const YamlNode& node,
                                                       const std::string& expected,
                                                       InputErrors& errors);

/// "a, b or c".
[[nodiscard]] std::string one_of(const std::vector<std::string>& words);

}  // namespace vantrel_can_bridge::workbench
