#include "workbench/yaml_document.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

#include "workbench/utf8.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::size_t kDeepestNesting = 64;

// --- Bytes of a file ---

class FileDescriptor {
 public:
  explicit FileDescriptor(const std::string& path)
      : number_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~FileDescriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  [[nodiscard]] int number() const { return number_; }

 private:
  const int number_;
};

/// All of `file`, one byte more than the limit at most; nothing where reading fails, with
/// the reason in errno.
std::optional<std::string> read_all(const FileDescriptor& file) {
  std::string bytes(kLargestYamlFile + 1, '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t got = read(file.number(), bytes.data() + size, bytes.size() - size);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return std::nullopt;
    }
    if (got == 0) {
      break;
    }
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return bytes;
}

/// The bytes of the file at `path`, at most the limit; nothing where an error was added.
std::optional<std::string> load(const std::string& path, InputErrors& errors) {
  const Place whole_file{std::make_shared<const std::string>(path)};
  const auto refuse = [&](std::string text) -> std::optional<std::string> {
    errors.add(whole_file, std::move(text));
    return std::nullopt;
  };
  const FileDescriptor file(path);
  struct stat status = {};
  if (file.number() < 0 || fstat(file.number(), &status) != 0) {
    return refuse(fmt::format("cannot be opened: {}", std::strerror(errno)));
  }
  if (S_ISDIR(status.st_mode)) {
    return refuse("is a directory; expected a YAML file");
  }
  if (S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) > kLargestYamlFile) {
    return refuse(
        fmt::format("has {} bytes; expected at most {}", status.st_size, kLargestYamlFile));
  }
  std::optional<std::string> bytes = read_all(file);
  if (!bytes) {
    return refuse(fmt::format("cannot be read: {}", std::strerror(errno)));
  }
  return bytes;
}

// --- Text ---

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

/// The text of a file, and places in it.
class Source {
 public:
  Source(std::string_view text, const std::string& name)
      : text_(text), file_(std::make_shared<const std::string>(name)) {
    characters_before_.reserve(text.size() + 1);
    std::uint32_t characters = 0;
    for (const char byte : text) {
      characters_before_.push_back(characters);
      characters += continues_character(byte) ? 0U : 1U;
    }
    characters_before_.push_back(characters);
  }

  [[nodiscard]] std::string_view text() const { return text_; }
  [[nodiscard]] Place whole_file() const { return {file_}; }

  /// The parser counts columns in bytes, people in characters.
  [[nodiscard]] Place place(const YAML::Mark& mark) const {
    if (mark.is_null()) {
      return whole_file();
    }
    const std::size_t at = offset(mark);
    const std::size_t line_start = at - std::min(at, static_cast<std::size_t>(mark.column));
    return place(static_cast<std::size_t>(mark.line) + 1, line_start, at);
  }
  [[nodiscard]] Place place(std::size_t line, std::size_t line_start, std::size_t at) const {
    return {file_, line, characters_before_[at] - characters_before_[line_start] + 1U};
  }

  /// What stands at `mark` and after it.
  [[nodiscard]] std::string_view at(const YAML::Mark& mark) const {
    return mark.is_null() ? std::string_view() : text_.substr(offset(mark));
  }

 private:
  [[nodiscard]] std::size_t offset(const YAML::Mark& mark) const {
    return std::min(static_cast<std::size_t>(mark.pos), text_.size());
  }

  const std::string_view text_;
  const std::shared_ptr<const std::string> file_;
  std::vector<std::uint32_t> characters_before_;  // each byte of the text, and its end
};

/// Why the character that `rest` begins with, `length` bytes long, cannot stand in an input
/// file; empty where it can.
std::string refused_character(std::string_view rest, std::size_t length) {
  const auto byte = static_cast<unsigned char>(rest[0]);
  if (length == 0) {
    return fmt::format("found the byte 0x{:02x}, which is no UTF-8; expected a text file", byte);
  }
  if (rest.substr(0, length) == "\xef\xbb\xbf") {
    return "found a byte order mark; expected UTF-8 without one";
  }
  if (byte == '\r') {
    return "found a carriage return; expected lines that end with a line feed alone, as "
           "dos2unix leaves them";
  }
  if ((byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7f) {
    return fmt::format("found the control character 0x{:02x}; expected a text file", byte);
  }
  return {};
}

/// Checks what the parser takes for granted or takes in several ways: nothing but
/// characters, no directives, spaces as indentation. Characters are reported up to the
/// first: what follows in a file that is no text says nothing more.
void check_text(const Source& source, InputErrors& errors) {
  const std::string_view text = source.text();
  std::size_t line = 1;
  std::size_t line_start = 0;
  bool only_blanks = true;  // since the start of the line
  bool tab = false;         // among those
  for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
    length = utf8_length(text.substr(at));
    if (std::string reason = refused_character(text.substr(at), length); !reason.empty()) {
      errors.add(source.place(line, line_start, at), std::move(reason));
      return;
    }
    const char first = text[at];
    if (first == '\n') {
      ++line;
      line_start = at + 1;
      only_blanks = true;
      tab = false;
    } else if (only_blanks && (first == ' ' || first == '\t')) {
      tab = tab || first == '\t';
    } else if (only_blanks) {
      only_blanks = false;
      if (tab && first != '#') {
        errors.add(source.place(line, line_start, line_start),
                   "found a tab in the indentation; expected spaces");
      }
      if (at == line_start && first == '%') {
        errors.add(source.place(line, line_start, at),
                   "found a directive (%...); expected a document without one");
      }
    }
  }
}

/// Whether the quote that `rest` begins with is closed: the parser takes the end of the
/// file for the missing quote.
bool is_closed(std::string_view rest) {
  const char quote = rest[0];
  for (std::size_t i = 1; i < rest.size(); ++i) {
    if (quote == '"' && rest[i] == '\\') {
      ++i;
    } else if (rest[i] == quote) {
      if (quote == '\'' && i + 1 < rest.size() && rest[i + 1] == quote) {
        ++i;
      } else {
        return true;
      }
    }
  }
  return false;
}

/// What an anchor, an alias or a tag is called: all up to the next blank or bracket.
std::string_view word(std::string_view rest) {
  return rest.substr(0, rest.find_first_of(" \n,]}"));
}

/// Whether `rest` begins with one of YAML's words for nothing.
bool is_null_word(std::string_view rest) {
  const std::string_view first = word(rest);
  return first == "~" || first == "null" || first == "Null" || first == "NULL";
}

// --- Tree ---

/// Ends the parsing of a document that is nested too deep.
struct TooDeep {};

/// Builds the tree of one document and reports what YAML allows but we do not.
class TreeBuilder final : public YAML::EventHandler {
 public:
  TreeBuilder(const Source& source, InputErrors& errors) : source_(source), errors_(errors) {}

  [[nodiscard]] YamlNode take_root() { return std::move(root_); }

  void OnDocumentStart(const YAML::Mark&) override {}
  void OnDocumentEnd() override {}

  void OnNull(const YAML::Mark& mark, YAML::anchor_t) override {
    YamlNode node = make_node(YamlNode::Kind::Null, mark);
    // The place of an omitted value is that of whatever comes next, perhaps lines below.
    if (!open_.empty() && open_.back().has_key && !is_null_word(source_.at(mark))) {
      node.place = open_.back().key.place;
    }
    add(std::move(node));
  }

  void OnAlias(const YAML::Mark& mark, YAML::anchor_t) override {
    errors_.add(source_.place(mark),
                fmt::format("found the alias {}; expected the value itself: aliases are not read",
                            printable(word(source_.at(mark)))));
    add(make_node(YamlNode::Kind::Refused, mark));
  }

  void OnAnchor(const YAML::Mark& mark, const std::string& name) override {
    errors_.add(
        source_.place(mark),
        fmt::format("found the anchor &{}; expected none: aliases are not read", printable(name)));
  }

  void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t,
                const std::string& value) override {
    const std::string_view written = source_.at(mark);
    const char first = written.empty() ? '\0' : written[0];
    if (check_tag(mark, tag)) {
      add(make_node(YamlNode::Kind::Refused, mark));
      return;
    }
    if ((first == '"' || first == '\'') && !is_closed(written)) {
      errors_.add(source_.place(mark),
                  fmt::format("found a quote without its end; expected {0}...{0}", first));
    }
    YamlNode node = make_node(YamlNode::Kind::Scalar, mark);
    node.text = value;
    node.quoted = tag == "!";
    add(std::move(node));
  }

  void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t,
                       YAML::EmitterStyle::value) override {
    start(YamlNode::Kind::Sequence, mark, tag);
  }
  void OnSequenceEnd() override { end(); }
  void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t,
                  YAML::EmitterStyle::value) override {
    start(YamlNode::Kind::Mapping, mark, tag);
  }
  void OnMapEnd() override { end(); }

 private:
  /// A sequence or mapping that has not ended yet.
  struct Open {
    YamlNode node;
    bool has_key = false;               // of a mapping: what comes next is a value
    bool drops_value = false;           // its key was refused
    YamlNode::Key key;                  // of the value that comes next
    std::map<std::string, Place> seen;  // keys, refused ones included
  };

  [[nodiscard]] YamlNode make_node(YamlNode::Kind kind, const YAML::Mark& mark) const {
    YamlNode node;
    node.kind = kind;
    node.place = source_.place(mark);
    node.label = next_label();
    return node;
  }

  [[nodiscard]] std::string next_label() const {
    if (open_.empty()) {
      return {};
    }
    const Open& parent = open_.back();
    return parent.node.kind == YamlNode::Kind::Sequence
               ? fmt::format("{}[{}]", parent.node.label, parent.node.items.size())
               : printable(parent.key.name);
  }

  bool check_tag(const YAML::Mark& mark, const std::string& tag) {
    const std::string_view written = source_.at(mark);
    const bool tagged =
        (!written.empty() && written[0] == '!') || (!tag.empty() && tag != "?" && tag != "!");
    if (tagged) {
      errors_.add(source_.place(mark),
                  fmt::format("found the tag {}; expected a value without one",
                              printable(written[0] == '!' ? word(written) : tag)));
    }
    return tagged;
  }

  void start(YamlNode::Kind kind, const YAML::Mark& mark, const std::string& tag) {
    if (open_.size() == kDeepestNesting) {
      errors_.add(source_.place(mark),
                  fmt::format("found more than {} levels of lists and mappings; expected fewer",
                              kDeepestNesting));
      throw TooDeep();
    }
    check_tag(mark, tag);
    Open open;
    open.node = make_node(kind, mark);
    open_.push_back(std::move(open));
  }

  void end() {
    YamlNode node = std::move(open_.back().node);
    open_.pop_back();
    add(std::move(node));
  }

  /// Puts a finished node where it belongs: the root, the next item, key or value.
  void add(YamlNode node) {
    if (open_.empty()) {
      root_ = std::move(node);
      return;
    }
    Open& parent = open_.back();
    if (parent.node.kind == YamlNode::Kind::Sequence) {
      parent.node.items.push_back(std::move(node));
    } else if (!parent.has_key) {
      parent.has_key = true;
      parent.drops_value = !accept_key(parent, node);
      parent.key = {node.text, node.place};
    } else {
      if (!parent.drops_value) {
        parent.node.keys.push_back(parent.key);
        parent.node.items.push_back(std::move(node));
      }
      parent.has_key = false;
      parent.key = {};
    }
  }

  bool accept_key(Open& parent, const YamlNode& key) {
    if (key.kind == YamlNode::Kind::Refused) {
      return false;
    }
    if (key.kind != YamlNode::Kind::Scalar) {
      errors_.add(key.place, "found no name before the \":\"; expected one");
      return false;
    }
    if (key.text == "<<" && !key.quoted) {
      errors_.add(key.place, "found a merge key (<<); expected the fields themselves");
      return false;
    }
    const auto [first, is_new] = parent.seen.emplace(key.text, key.place);
    if (!is_new) {
      errors_.add(key.place, fmt::format("{} is repeated; expected once: it stands in line {}",
                                         printable(key.text), first->second.line));
    }
    return is_new;
  }

  const Source& source_;
  InputErrors& errors_;
  YamlNode root_;
  std::vector<Open> open_;  // outermost first
};

/// Looks whether anything follows the first document.
class SecondDocument final : public YAML::EventHandler {
 public:
  [[nodiscard]] const YAML::Mark& start() const { return start_; }

  void OnDocumentStart(const YAML::Mark& mark) override { start_ = mark; }
  void OnDocumentEnd() override {}
  void OnNull(const YAML::Mark&, YAML::anchor_t) override {}
  void OnAlias(const YAML::Mark&, YAML::anchor_t) override {}
  void OnScalar(const YAML::Mark&, const std::string&, YAML::anchor_t,
                const std::string&) override {}
  void OnSequenceStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                       YAML::EmitterStyle::value) override {}
  void OnSequenceEnd() override {}
  void OnMapStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                  YAML::EmitterStyle::value) override {}
  void OnMapEnd() override {}

 private:
  YAML::Mark start_ = YAML::Mark::null_mark();
};

/// What the parser's more puzzling messages mean.
std::string explain(const std::string& message) {
  static const std::map<std::string, std::string> kMeanings = {
      {YAML::ErrorMsg::MAP_VALUE,
       "found a \":\" where no value can begin; expected the indentation of the lines around "
       "it, or quotes around a text with a \":\""},
      {YAML::ErrorMsg::END_OF_MAP,
       "found what fits no key here; expected the indentation of the other keys"},
      {YAML::ErrorMsg::END_OF_SEQ,
       "found what fits no list entry here; expected the indentation of the other entries"},
      {YAML::ErrorMsg::END_OF_MAP_FLOW, "found no } for an open {; expected one"},
      {YAML::ErrorMsg::END_OF_SEQ_FLOW, "found no ] for an open [; expected one"},
      {YAML::ErrorMsg::FLOW_END, "found a closing bracket that closes nothing; expected none"},
      {YAML::ErrorMsg::UNKNOWN_TOKEN,
       "found a character that cannot begin a value; expected quotes around the text"},
      {YAML::ErrorMsg::UNKNOWN_ANCHOR,
       "found an alias; expected the value itself: aliases are not read"},
      {YAML::ErrorMsg::EOF_IN_SCALAR, "found a quote without its end; expected one"},
      {YAML::ErrorMsg::DOC_IN_SCALAR, "found a quote without its end; expected one"},
  };
  const auto meaning = kMeanings.find(message);
  return meaning != kMeanings.end() ? meaning->second
                                    : fmt::format("is no YAML: {}", printable(message));
}

/// The tree of the first document, and an error for a second. At most two documents are
/// asked for: on some inputs the parser finds them without end.
std::optional<YamlNode> parse(const Source& source, InputErrors& errors) {
  std::istringstream stream{std::string(source.text())};
  try {
    YAML::Parser parser(stream);
    TreeBuilder first(source, errors);
    if (!parser.HandleNextDocument(first)) {
      return std::nullopt;
    }
    std::optional<YamlNode> root = first.take_root();
    SecondDocument second;
    if (parser.HandleNextDocument(second)) {
      errors.add(source.place(second.start()), "found a second document; expected one alone");
    }
    return root;
  } catch (const TooDeep&) {
    return std::nullopt;
  } catch (const YAML::Exception& error) {
    errors.add(source.place(error.mark), explain(error.msg));
    return std::nullopt;
  }
}

}  // namespace

std::optional<YamlNode> read_yaml_file(const std::string& path, InputErrors& errors) {
  const std::optional<std::string> bytes = load(path, errors);
  return bytes ? read_yaml_text(*bytes, path, errors) : std::nullopt;
}

std::optional<YamlNode> read_yaml_text(std::string_view text, const std::string& name,
                                       InputErrors& errors) {
  const std::size_t errors_before = errors.count();
  const Source source(text.substr(0, kLargestYamlFile), name);
  if (text.size() > kLargestYamlFile) {
    errors.add(source.whole_file(),
               fmt::format("has more than {} bytes; expected at most that", kLargestYamlFile));
    return std::nullopt;
  }
  check_text(source, errors);
  if (errors.count() > errors_before) {
    return std::nullopt;
  }
  std::optional<YamlNode> root = parse(source, errors);
  const bool is_empty = !root || root->kind == YamlNode::Kind::Null;
  if (is_empty && errors.count() == errors_before) {
    errors.add(source.whole_file(), "is empty; expected a document");
  }
  return is_empty ? std::nullopt : root;
}

}  // namespace vantrel_can_bridge::workbench
