#include "workbench/yaml_values.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace vantrel_can_bridge::workbench {
namespace {

YamlNode node_of(const std::string& text) {
  InputErrors errors;
  return read_yaml_text(text, "f", errors).value_or(YamlNode{});
}

/// What `T` makes of a value: nothing, and the errors in `lines`.
template <class T>
std::optional<T> value_of(const std::string& text, std::string& lines) {
  InputErrors errors;
  const auto value = YamlValue<T>::read(node_of(text), errors);
  lines = errors.lines();
  return value;
}

template <class T>
void expect_value(const std::string& text, const T& expected) {
  std::string lines;
  EXPECT_EQ(value_of<T>(text, lines), expected) << text;
  EXPECT_EQ(lines, "") << text;
}

template <class T>
void expect_error(const std::string& text, const std::string& line) {
  std::string lines;
  EXPECT_EQ(value_of<T>(text, lines), std::nullopt) << text;
  EXPECT_EQ(lines, "f:1:1: " + line + "\n") << text;
}

TEST(YamlInteger, TakesDecimalDigits) {
  expect_value<std::int64_t>("0", 0);
  expect_value<std::int64_t>("-7", -7);
  expect_value<std::int64_t>("10", 10);
  expect_value("9223372036854775807", std::numeric_limits<std::int64_t>::max());
  expect_value("-9223372036854775808", std::numeric_limits<std::int64_t>::min());
}

TEST(YamlInteger, TakesNoOtherNotationAndTellsWhatWasMeant) {
  expect_error<std::int64_t>("010", "found 010; expected an integer; did you mean 10?");
  expect_error<std::int64_t>("00", "found 00; expected an integer; did you mean 0?");
  expect_error<std::int64_t>("-010", "found -010; expected an integer; did you mean -10?");
  expect_error<std::int64_t>("0x1F", "found 0x1F; expected an integer; did you mean 31?");
  expect_error<std::int64_t>("0o17", "found 0o17; expected an integer; did you mean 15?");
  expect_error<std::int64_t>("0b101", "found 0b101; expected an integer; did you mean 5?");
  expect_error<std::int64_t>("1_000", "found 1_000; expected an integer; did you mean 1000?");
  expect_error<std::int64_t>("1.0", "found 1.0; expected an integer; did you mean 1?");
  expect_error<std::int64_t>("1.", "found 1.; expected an integer; did you mean 1?");
  expect_error<std::int64_t>("1.5", "found 1.5; expected an integer");
  expect_error<std::int64_t>("+1", "found +1; expected an integer; did you mean 1?");
  expect_error<std::int64_t>("1e3", "found 1e3; expected an integer");
  expect_error<std::int64_t>("'1'", "found \"1\"; expected an integer; did you mean 1?");
  expect_error<std::int64_t>("1-", "found 1-; expected an integer");
  expect_error<std::int64_t>("--1", "found --1; expected an integer");
  expect_error<std::int64_t>("five", "found five; expected an integer");
  expect_error<std::int64_t>("true", "found true; expected an integer");
}

TEST(YamlInteger, KeepsToTheRangeOfItsType) {
  expect_value<std::uint8_t>("0", 0);
  expect_value<std::uint8_t>("255", 255);
  expect_error<std::uint8_t>("256", "found 256; expected an integer from 0 to 255");
  expect_error<std::uint8_t>("-1", "found -1; expected an integer from 0 to 255");
  expect_error<std::uint8_t>("0x100", "found 0x100; expected an integer from 0 to 255");
  expect_value<std::int32_t>("-2147483648", std::numeric_limits<std::int32_t>::min());
  expect_error<std::int32_t>("2147483648",
                             "found 2147483648; expected an integer from -2147483648 to "
                             "2147483647");
  expect_error<std::uint64_t>("-1", "found -1; expected an integer of 0 or more");
  expect_error<std::int64_t>("9223372036854775808",
                             "found 9223372036854775808; expected an integer from "
                             "-9223372036854775808 to 9223372036854775807");
}

TEST(YamlBool, TakesTrueAndFalseAlone) {
  expect_value("true", true);
  expect_value("false", false);
  for (const char* const word : {"yes", "Y", "ON", "1", "True", "tru", "treu"}) {
    expect_error<bool>(
        word, std::string("found ") + word + "; expected true or false; did you mean true?");
  }
  for (const char* const word : {"no", "n", "Off", "0", "FALSE", "flase"}) {
    expect_error<bool>(
        word, std::string("found ") + word + "; expected true or false; did you mean false?");
  }
  expect_error<bool>("'true'", "found \"true\"; expected true or false; did you mean true?");
  expect_error<bool>("maybe", "found maybe; expected true or false");
  expect_error<bool>("[true]", "found a list; expected true or false");
  expect_error<bool>("{a: true}", "found a mapping; expected true or false");
}

TEST(YamlString, TakesWhatNobodyTakesForSomethingElse) {
  expect_value<std::string>("body board", "body board");
  expect_value<std::string>("''", "");
  expect_value<std::string>("'12'", "12");
  expect_value<std::string>("\"true\"", "true");
  for (const char* const text :
       {"10.0.0.1", "1-2", "0xg", "0o8", "-x", "e5", "1e", ".", "+", "on", "12a", "..5", "0x"}) {
    expect_value<std::string>(text, text);
  }
}

TEST(YamlString, WantsQuotesAroundNumbersAndTruthValues) {
  for (const char* const text : {"12", "-1", "+1", "1.5", ".5", "1.", "1e3", "1.5E-3", "0x1f",
                                 "0o17", ".inf", "-.inf", ".nan", "true", "False", "TRUE"}) {
    expect_error<std::string>(
        text, std::string("found ") + text + "; expected a text; did you mean \"" + text + "\"?");
  }
  expect_error<std::string>("[a]", "found a list; expected a text");
}

TEST(YamlList, ReportsEveryEntryThatDoesNotFit) {
  using List = std::vector<std::int64_t>;
  expect_value<List>("[]", {});
  expect_value<List>("[1, -2]", {1, -2});
  expect_error<List>("1", "found 1; expected a list, each an integer");
  std::string lines;
  EXPECT_EQ(value_of<List>("[1, x, 2, 03]", lines), std::nullopt);
  EXPECT_EQ(lines,
            "f:1:5: [1]: found x; expected an integer\n"
            "f:1:11: [3]: found 03; expected an integer; did you mean 3?\n");
}

// --- MappingReader ---

struct Lamp {
  std::string name = "none";
  std::int64_t level = 7;
  bool on = false;
};

std::string read_lamp(const std::string& text, Lamp& lamp) {
  InputErrors errors;
  const YamlNode node = node_of(text);
  MappingReader reader(node, "a lamp", errors);
  reader.required("name", lamp.name);
  reader.optional("level", lamp.level);
  reader.required("on", lamp.on);
  reader.finish();
  return errors.lines();
}

TEST(MappingReader, ReadsKeysInAnyOrder) {
  Lamp lamp;
  EXPECT_EQ(read_lamp("on: true\nlevel: 3\nname: left\n", lamp), "");
  EXPECT_EQ(lamp.name, "left");
  EXPECT_EQ(lamp.level, 3);
  EXPECT_TRUE(lamp.on);
}

TEST(MappingReader, KeepsWhatIsNotThere) {
  Lamp lamp;
  EXPECT_EQ(read_lamp("on: true\nname: left\n", lamp), "");
  EXPECT_EQ(lamp.level, 7);
}

TEST(MappingReader, ReportsUnknownAndMissingKeysTogether) {
  Lamp lamp;
  EXPECT_EQ(read_lamp("level: x\ncolour: red\n", lamp),
            "f:1:1: name is missing in a lamp; expected a text\n"
            "f:1:1: on is missing in a lamp; expected true or false\n"
            "f:1:8: level: found x; expected an integer\n"
            "f:2:1: found colour, which is unknown in a lamp; expected one of name, level, on\n");
}

TEST(MappingReader, TakesAMisspeltKeyForOneErrorAlone) {
  Lamp lamp;
  EXPECT_EQ(read_lamp("on: true\nnmae: left\n", lamp),
            "f:2:1: found nmae, which is unknown in a lamp; did you mean name?\n");
}

TEST(MappingReader, SaysWhereTheNearestKeyStandsIfItIsThereAlready) {
  Lamp lamp;
  EXPECT_EQ(read_lamp("on: true\nname: left\nnam: right\n", lamp),
            "f:3:1: found nam, which is unknown in a lamp; did you mean name, which stands in "
            "line 2?\n");
}

TEST(MappingReader, IsSilentAboutTheKeysOfWhatIsNoMapping) {
  Lamp lamp;
  EXPECT_EQ(read_lamp("[1]", lamp),
            "f:1:1: found a list; expected a mapping with the fields of a lamp\n");
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
