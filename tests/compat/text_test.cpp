#include "compat/text.hpp"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel_can_bridge::business_layer::bottom_compat {
namespace {

TEST(Text, JoinsPiecesOfEveryKindWithoutAnythingBetween) {
  const char* pointer = "pointer ";
  const std::string string = "string ";
  const std::string_view view = "view ";
  const std::vector<std::uint8_t> bytes = {0x01, 0xAB};

  EXPECT_EQ(text("literal ", pointer, string, view, 42, true, HexBytes{bytes}),
            "literal pointer string view 42true[0x01 0xab]");
}

TEST(Text, KeepsEveryByteOfAString) {
  const std::string all = {'\0', '\n', '%', 's', '\xe5', '\xb7', '\xa5', '\xff'};

  EXPECT_EQ(text(all, all), all + all);
}

TEST(Text, OfEmptyPiecesIsEmpty) {
  EXPECT_EQ(text("", std::string(), std::string_view()), "");
  EXPECT_EQ(text("a", "", "b"), "ab");
}

TEST(Text, GrowsBeyondTheSmallStringBuffer) {
  const std::string longer(1000, 'x');

  EXPECT_EQ(text(longer, 1, longer), longer + "1" + longer);
}

TEST(Text, IsRewrittenShorterAndLongerThanItWas) {
  std::string line = text("one ", 2);

  rewrite(line, 3);
  EXPECT_EQ(line, "3");
  rewrite(line, "four, five and six ", true, "");
  EXPECT_EQ(line, "four, five and six true");
  rewrite(line, "");
  EXPECT_EQ(line, "");
}

TEST(Text, IsRewrittenWhereItIsIfItFits) {
  std::string line = text("a line beyond the small-string buffer, of ", 49, " chars");
  const void* const where = line.data();

  rewrite(line, "another one beyond that buffer, ", 4, " shorter");
  EXPECT_EQ(line.data(), where);
}

TEST(Text, WritesBoolsAsWords) {
  EXPECT_EQ(text(true), "true");
  EXPECT_EQ(text(false), "false");
}

TEST(Text, WritesTheExtremesOfEveryIntegerInDecimal) {
  EXPECT_EQ(text(std::numeric_limits<std::int8_t>::min()), "-128");
  EXPECT_EQ(text(std::numeric_limits<std::int8_t>::max()), "127");
  EXPECT_EQ(text(std::numeric_limits<std::uint8_t>::max()), "255");
  EXPECT_EQ(text(std::numeric_limits<std::int16_t>::min()), "-32768");
  EXPECT_EQ(text(std::numeric_limits<std::uint16_t>::max()), "65535");
  EXPECT_EQ(text(std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(text(std::numeric_limits<std::int32_t>::max()), "2147483647");
  EXPECT_EQ(text(std::numeric_limits<std::uint32_t>::max()), "4294967295");
  EXPECT_EQ(text(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(text(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(text(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(Text, WritesSmallNumbersWithoutPaddingOrPlus) {
  EXPECT_EQ(text(0), "0");
  EXPECT_EQ(text(-1), "-1");
  EXPECT_EQ(text(7), "7");
  EXPECT_EQ(text(std::uint8_t{65}), "65");  // a number, not the letter A
  EXPECT_EQ(text(std::int64_t{-10}), "-10");
}

TEST(Text, WritesNoBytesAsEmptyBrackets) { EXPECT_EQ(text(HexBytes{{}}), "[]"); }

TEST(Text, WritesEveryByteAsTwoLowerCaseDigits) {
  std::vector<std::uint8_t> bytes;
  std::string expected;
  for (const char high : std::string("0123456789abcdef")) {
    for (const char low : std::string("0123456789abcdef")) {
      expected += expected.empty() ? "[0x" : " 0x";
      expected += {high, low};
      bytes.push_back(static_cast<std::uint8_t>(bytes.size()));
    }
  }

  EXPECT_EQ(bytes.size(), 256U);
  EXPECT_EQ(text(HexBytes{bytes}), expected + "]");
}

// The text is sized by what its pieces announce.
template <typename Value>
void expect_announced_size(const Value& value) {
  const auto piece = text_piece::of(value);
  std::array<char, 32> written{};
  const char* const end = piece.write_to(written.data());
  EXPECT_EQ(end - written.data(), static_cast<std::ptrdiff_t>(piece.size())) << written.data();
}

TEST(Text, PiecesAnnounceTheSizeThatTheyWrite) {
  expect_announced_size("literal");
  expect_announced_size("");
  expect_announced_size(true);
  expect_announced_size(false);
  expect_announced_size(0);
  expect_announced_size(std::numeric_limits<std::int64_t>::min());
  expect_announced_size(std::numeric_limits<std::uint64_t>::max());
  for (std::size_t count = 0; count < 4; ++count) {
    const std::vector<std::uint8_t> bytes(count);
    expect_announced_size(HexBytes{bytes});
  }
}

struct DotGrouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
  std::string do_truename() const override { return "wahr"; }
  std::string do_falsename() const override { return "falsch"; }
};

/// While one exists, the process groups digits by threes: streams always, the C library
/// where the machine has such a locale.
class GroupingLocale {
 public:
  GroupingLocale()
      : c_before_(std::setlocale(LC_ALL, nullptr)),
        before_(std::locale::global(std::locale(std::locale(), new DotGrouping))) {
    for (const char* name : {"de_DE.UTF-8", "en_US.UTF-8", "en_IN.UTF-8"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) {
        break;
      }
    }
  }
  GroupingLocale(const GroupingLocale&) = delete;
  GroupingLocale& operator=(const GroupingLocale&) = delete;
  ~GroupingLocale() {
    std::locale::global(before_);
    std::setlocale(LC_ALL, c_before_.c_str());
  }

 private:
  std::string c_before_;
  std::locale before_;
};

TEST(Text, DoesNotFollowTheLocale) {
  const GroupingLocale grouping;
  const std::vector<std::uint8_t> bytes(1, 255);
  std::ostringstream stream;
  stream << 1234567 << std::boolalpha << true;
  ASSERT_EQ(stream.str(), "1.234.567wahr") << "the locale is not in force";

  EXPECT_EQ(text(1234567, true, false, HexBytes{bytes}, -1234567890123LL),
            "1234567truefalse[0xff]-1234567890123");
}

}  // namespace
}  // namespace vantrel_can_bridge::business_layer::bottom_compat
