#include "workbench/yaml_document.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace vantrel_can_bridge::workbench {
namespace {

/// The tree in a notation of its own: quotes around texts that were quoted, places left out.
std::string outline(const YamlNode& node) {
  std::string inside;
  for (std::size_t i = 0; i < node.items.size(); ++i) {
    inside += i == 0 ? "" : " ";
    inside += node.kind == YamlNode::Kind::Mapping ? node.keys[i].name + "=" : "";
    inside += outline(node.items[i]);
  }
  switch (node.kind) {
    case YamlNode::Kind::Null:
      return "-";
    case YamlNode::Kind::Scalar:
      return node.quoted ? "'" + node.text + "'" : node.text;
    case YamlNode::Kind::Sequence:
      return "[" + inside + "]";
    case YamlNode::Kind::Mapping:
      return "{" + inside + "}";
    case YamlNode::Kind::Refused:
      return "!";
  }
  return "?";
}

struct Tree {
  const char* name;
  std::string_view text;
  const char* outline;
};
void PrintTo(const Tree& row, std::ostream* out) { *out << row.name; }
class YamlDocumentTree : public testing::TestWithParam<Tree> {};

TEST_P(YamlDocumentTree, HoldsWhatStandsInTheText) {
  InputErrors errors;
  const auto root = read_yaml_text(GetParam().text, "f", errors);
  EXPECT_EQ(errors.lines(), "");
  ASSERT_TRUE(root);
  EXPECT_EQ(outline(*root), GetParam().outline);
}
INSTANTIATE_TEST_SUITE_P(
    Texts, YamlDocumentTree,
    testing::Values(Tree{"BlockMapping", "a: 1\nb: x y\n", "{a=1 b=x y}"},
                    Tree{"FlowMapping", "{a: 1, b: [2, 3]}", "{a=1 b=[2 3]}"},
                    Tree{"NestedLists", "a:\n- 1\n- [2]\n-\n  - 3\n", "{a=[1 [2] [3]]}"},
                    Tree{"NumbersStayTexts", "[010, 0x10, 1_000, yes]", "[010 0x10 1_000 yes]"},
                    Tree{"Quotes", "['1', \"\\u4e2d\\n\", 'it''s', \"\\\"\"]",
                         "['1' '\xe4\xb8\xad\n' 'it's' '\"']"},
                    Tree{"BlockText", "a: |\n  x\n  y\n", "{a='x\ny\n'}"},
                    Tree{"Nothing", "a:\nb: ~\nc: null\nd: []\ne: {}\n", "{a=- b=- c=- d=[] e={}}"},
                    Tree{"NothingInAList", "[1, ~, 2]", "[1 - 2]"},
                    Tree{"QuotedKey", "\"a b\": 1\n'<<': 2\n", "{a b=1 <<=2}"},
                    Tree{"Comments", "# x\na: 1 # y\n\t# tab\n", "{a=1}"},
                    Tree{"DocumentMarks", "---\na: 1\n...\n", "{a=1}"},
                    Tree{"NoLineEnd", "a: 1", "{a=1}"}, Tree{"TabAfterColon", "a:\t1\n", "{a=1}"},
                    Tree{"SameKeyElsewhere", "a: {x: 1}\nb: {x: 2}\n", "{a={x=1} b={x=2}}"},
                    Tree{"ScalarRoot", "just text", "just text"}),
    [](const auto& row) { return row.param.name; });

struct Wrong {
  const char* name;
  std::string text;
  const char* lines;
};
void PrintTo(const Wrong& row, std::ostream* out) { *out << row.name; }
class YamlDocumentError : public testing::TestWithParam<Wrong> {};

TEST_P(YamlDocumentError, TellsPlaceAndExpectation) {
  InputErrors errors;
  (void)read_yaml_text(GetParam().text, "f", errors);
  EXPECT_EQ(errors.lines(), GetParam().lines);
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) {
    result += text;
  }
  return result;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, YamlDocumentError,
    testing::Values(
        Wrong{"RepeatedKey", "a: 1\nb: 2\na: 3\na: 4\n",
              "f:3:1: a is repeated; expected once: it stands in line 1\n"
              "f:4:1: a is repeated; expected once: it stands in line 1\n"},
        Wrong{"RepeatedKeyInQuotes", "a: 1\n'a': 2\n",
              "f:2:1: a is repeated; expected once: it stands in line 1\n"},
        Wrong{"SecondDocument", "a: 1\n---\nb: 2\n",
              "f:2:1: found a second document; expected one alone\n"},
        Wrong{"EmptySecondDocument", "a: 1\n---\n",
              "f:2:1: found a second document; expected one alone\n"},
        Wrong{"SecondDocumentWithoutMark", "{a: 1} {b: 2}",
              "f:1:8: found a second document; expected one alone\n"},
        Wrong{"TextAfterTheEnd", "a: 1\n...\nb\n",
              "f:3:1: found a second document; expected one alone\n"},
        Wrong{"DocumentsWithoutEnd", "[],[],[]",
              "f:1:3: found a second document; expected one alone\n"},
        Wrong{"Tag", "a: !!int 5\nb: ! 5\nc: !x\nd: !y [1]\n",
              "f:1:4: found the tag !!int; expected a value without one\n"
              "f:2:4: found the tag !; expected a value without one\n"
              "f:3:4: found the tag !x; expected a value without one\n"
              "f:4:4: found the tag !y; expected a value without one\n"},
        Wrong{"AnchorAndAlias", "a: &x 1\nb: *x\n",
              "f:1:4: found the anchor &x; expected none: aliases are not read\n"
              "f:2:4: found the alias *x; expected the value itself: aliases are not read\n"},
        Wrong{"CyclicAlias", "a: &x [1, *x]\n",
              "f:1:4: found the anchor &x; expected none: aliases are not read\n"
              "f:1:11: found the alias *x; expected the value itself: aliases are not read\n"},
        Wrong{"CyclicMapping", "&x a: {*x : 1}\n",
              "f:1:1: found the anchor &x; expected none: aliases are not read\n"
              "f:1:8: found the alias *x; expected the value itself: aliases are not read\n"},
        Wrong{"UndefinedAlias", "a: *x\n",
              "f:1:4: found an alias; expected the value itself: aliases are not read\n"},
        Wrong{"MergeKey", "a: {<<: {b: 1}}\n",
              "f:1:5: found a merge key (<<); expected the fields themselves\n"},
        Wrong{"ListAsKey", "? [1]\n: 2\n", "f:1:3: found no name before the \":\"; expected one\n"},
        Wrong{"NoKey", ": 2\n", "f:1:1: found no name before the \":\"; expected one\n"},
        Wrong{"Directive", "%YAML 1.2\n---\na: 1\n",
              "f:1:1: found a directive (%...); expected a document without one\n"},
        Wrong{"TabIndentation", "a:\n\tb: 1\n  \tc: 2\n",
              "f:2:1: found a tab in the indentation; expected spaces\n"
              "f:3:1: found a tab in the indentation; expected spaces\n"},
        Wrong{"WrongIndentation", "a: 1\n b: 2\n",
              "f:2:3: found a \":\" where no value can begin; expected the indentation of the "
              "lines around it, or quotes around a text with a \":\"\n"},
        Wrong{"LessIndentation", "a:\n    b: 1\n  c: 2\n",
              "f:3:3: found what fits no key here; expected the indentation of the other keys\n"},
        Wrong{"TwoColons", "a: b: c\n",
              "f:1:5: found a \":\" where no value can begin; expected the indentation of the "
              "lines around it, or quotes around a text with a \":\"\n"},
        Wrong{"OpenBracket", "a: [1, 2\n", "f:2:1: found no ] for an open [; expected one\n"},
        Wrong{"OpenBrace", "a: {b: 1\n", "f:2:1: found no } for an open {; expected one\n"},
        Wrong{"ExtraBracket", "a: 1]\nb: ]\n",
              "f:2:4: found a closing bracket that closes nothing; expected none\n"},
        Wrong{"OpenSingleQuote", "a: 'it''s\n",
              "f:1:4: found a quote without its end; expected '...'\n"},
        Wrong{"OpenDoubleQuote", "a: \"x\\\"\n",
              "f:1:4: found a quote without its end; expected \"...\"\n"},
        Wrong{"ReservedCharacter", "a: @x\n",
              "f:1:4: found a character that cannot begin a value; expected quotes around the "
              "text\n"},
        Wrong{"UnknownEscape", "a: \"\\q\"\n", "f:1:7: is no YAML: unknown escape character: q\n"},
        Wrong{"CarriageReturns", "a: 1\r\nb: 2\r\n",
              "f:1:5: found a carriage return; expected lines that end with a line feed alone, as "
              "dos2unix leaves them\n"},
        Wrong{"ByteOrderMark",
              "\xef\xbb\xbf"
              "a: 1\n",
              "f:1:1: found a byte order mark; expected UTF-8 without one\n"},
        Wrong{"Utf16",
              std::string("\xff\xfe"
                          "a\0",
                          4),
              "f:1:1: found the byte 0xff, which is no UTF-8; expected a text file\n"},
        Wrong{"NulByte", std::string("a: \0", 4),
              "f:1:4: found the control character 0x00; expected a text file\n"},
        Wrong{"ControlCharacter", "a: \x1b[0m\n",
              "f:1:4: found the control character 0x1b; expected a text file\n"},
        Wrong{"EndOfTransmission", "a: 1\n\x04junk: [\n",
              "f:2:1: found the control character 0x04; expected a text file\n"},
        Wrong{"Latin1",
              "a: gr\xfc"
              "n\n",
              "f:1:6: found the byte 0xfc, which is no UTF-8; expected a text file\n"},
        Wrong{"CutCharacter", "a: \xe4\xb8",
              "f:1:4: found the byte 0xe4, which is no UTF-8; expected a text file\n"},
        Wrong{"OverlongCharacter", "a: \xc0\xaf\n",
              "f:1:4: found the byte 0xc0, which is no UTF-8; expected a text file\n"},
        Wrong{"Surrogate", "a: \xed\xa0\x80\n",
              "f:1:4: found the byte 0xed, which is no UTF-8; expected a text file\n"},
        Wrong{"BeyondUnicode", "a: \xf4\x90\x80\x80\n",
              "f:1:4: found the byte 0xf4, which is no UTF-8; expected a text file\n"},
        Wrong{"ColumnInCharacters", "\xe4\xb8\xad\xe6\x96\x87: [&x 1]\n",
              "f:1:6: found the anchor &x; expected none: aliases are not read\n"},
        Wrong{"Empty", "", "f: is empty; expected a document\n"},
        Wrong{"CommentsAlone", "# a: 1\n", "f: is empty; expected a document\n"},
        Wrong{"NothingButAMark", "---\n", "f: is empty; expected a document\n"},
        Wrong{"NothingButNull", "~\n", "f: is empty; expected a document\n"},
        Wrong{"TooLarge", std::string(4 * 1024 * 1024 + 1, '#'),
              "f: has more than 4194304 bytes; expected at most that\n"},
        Wrong{"TooDeepLists", repeated("[", 65),
              "f:1:33: found more than 64 levels of lists and mappings; expected fewer\n"},
        Wrong{"HundredThousandBrackets", repeated("[", 100000),
              "f:1:33: found more than 64 levels of lists and mappings; expected fewer\n"},
        Wrong{"HundredThousandBraces", repeated("{", 100000),
              "f:1:64: found more than 64 levels of lists and mappings; expected fewer\n"},
        Wrong{"HundredThousandDashes", repeated("- ", 100000),
              "f:1:129: found more than 64 levels of lists and mappings; expected fewer\n"},
        Wrong{"HundredThousandQuestions", repeated("? ", 100000),
              "f:1:129: found more than 64 levels of lists and mappings; expected fewer\n"},
        Wrong{"EscapesInMessages", "\"\\x1b\\x9b\\n\": 1\n\"\\x1b\\x9b\\n\": 2\n",
              "f:2:1: \\x1b\\x9b\\n is repeated; expected once: it stands in line 1\n"}),
    [](const auto& row) { return row.param.name; });

TEST(YamlDocument, ReadsSixtyFourLevels) {
  InputErrors errors;
  EXPECT_TRUE(read_yaml_text(repeated("[", 64) + repeated("]", 64), "f", errors));
  EXPECT_EQ(errors.lines(), "");
}

TEST(YamlDocument, ReadsAsMuchAsTheLimit) {
  InputErrors errors;
  EXPECT_TRUE(read_yaml_text("a: " + std::string(4 * 1024 * 1024 - 3, 'x'), "f", errors));
  EXPECT_EQ(errors.lines(), "");
}

TEST(YamlDocument, KnowsThePlaceAndNameOfEveryValue) {
  InputErrors errors;
  const auto root = read_yaml_text("a:\n  - 1\n  - \xe4\xb8\xad: 2\nb:\n", "dir/f", errors);
  ASSERT_TRUE(root);
  const YamlNode& list = root->items[0];
  EXPECT_EQ(to_string(root->place), "dir/f:1:1");
  EXPECT_EQ(to_string(root->keys[0].place), "dir/f:1:1");
  EXPECT_EQ(to_string(list.items[0].place), "dir/f:2:5");
  EXPECT_EQ(list.items[0].label, "a[0]");
  EXPECT_EQ(to_string(list.items[1].items[0].place), "dir/f:3:8");
  EXPECT_EQ(list.items[1].items[0].label, "\xe4\xb8\xad");
  EXPECT_EQ(to_string(root->items[1].place), "dir/f:4:1") << "of its key, as it has none";
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
