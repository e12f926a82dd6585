#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/input_errors.hpp"

/// Reading YAML that means one thing only.
///
/// An input file holds one document in UTF-8 with Unix line ends. What a reader could take
/// in two ways is an error, not a guess: a repeated key, a second document, a tag, an
/// anchor, an alias or a merge key (every value stands where it is used, so nothing can
/// refer to itself or grow when it is expanded), a directive, a byte order mark, tabs as
/// indentation, an unclosed quote. Files of more than 4 MiB and values more than 64 levels
/// deep are refused before they can cost time or memory.
///
/// To read a file into your own type, with all of its errors in one run:
///
///     InputErrors errors;
///     if (const auto root = read_yaml_file("lamp.yaml", errors)) {
///       MappingReader lamp(*root, "a lamp", errors);     // from yaml_values.hpp
///       lamp.required("name", settings.name);
///       lamp.optional("level", settings.level);          // keeps its value where missing
///       if (const YamlNode* colours = lamp.find("colours")) { ...colours->items... }
///       lamp.finish();                                   // unknown and missing keys
///     }
///     if (!errors.empty()) std::cerr << errors.lines();
namespace vantrel_can_bridge::workbench {

/// A value in an input file, with its place.
struct YamlNode {
  enum class Kind {
    Null,      ///< nothing, "~" or "null"
    Scalar,    ///< `text`
    Sequence,  ///< `items`
    Mapping,   ///< `items`, each under the key at the same position of `keys`
    Refused,   ///< stands in for something of which an error was reported already
  };
  struct Key {
    std::string name;
    Place place;
  };

  Kind kind = Kind::Null;
  Place place;
  std::string label;      ///< for messages: its key, or "key[3]"; empty for the root
  std::string text;       ///< of a scalar, quotes and escapes resolved
  bool quoted = false;    ///< a scalar that is a text, whatever it looks like
  std::vector<Key> keys;  ///< of a mapping, in file order, no name twice
  std::vector<YamlNode> items;
};

/// Size of the largest file that is read, in bytes.
inline constexpr std::size_t kLargestYamlFile = 4 * 1024 * 1024;

/// The document in the file at `path`; nothing where errors left no tree to look at. With
/// a tree there may be errors too.
[[nodiscard]] std::optional<YamlNode> read_yaml_file(const std::string& path, InputErrors& errors);

/// The same for `text`, with `name` as the name of its file.
[[nodiscard]] std::optional<YamlNode> read_yaml_text(std::string_view text, const std::string& name,
                                                     InputErrors& errors);

}  // namespace vantrel_can_bridge::workbench
