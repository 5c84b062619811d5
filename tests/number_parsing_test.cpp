#include "stream/number_parsing.h"

#include <cmath>
#include <gtest/gtest.h>

#include "backends/text/fixed_number_rules.h"
#include "stream/line_parser.h"

namespace halden {
namespace {

const FixedNumberRules kPoint = FixedNumberRules::Point();
const FixedNumberRules kComma = FixedNumberRules::Comma();
const FixedNumberRules kNoGroups = FixedNumberRules::C();

constexpr float kUnchanged = 7;
const std::string kGrouped =
    "1\xA0"
    "234,5";

void ExpectParsed(const NumberRules& rules, std::string text, float value, const std::string& left) {
  SCOPED_TRACE(text);
  const bool holds_digit = text.find_first_of("0123456789") != std::string::npos;
  float parsed = kUnchanged;
  EXPECT_EQ(ParseValue(rules, text, parsed), holds_digit);
  EXPECT_EQ(parsed, value);
  EXPECT_EQ(text, left);
}

TEST(ParseValue, GetsTheNumberOutOfAField) {
  /// What is read of a text, and what is left of it, with a decimal point and with a comma.
  const std::tuple<std::string, float, std::string, float, std::string> cases[] = {
      {"12,5", 125, "12,5", 12.5, "12,5"},
      {"1.5V", 1.5, "1.5", 1.5, "1,5"},
      {"-", kUnchanged, "-", kUnchanged, "-"},
      {"+3", 3, "+3", 3, "+3"},
      {"1,234.5", 1234.5, "1,234.5", 1, "1,234,5"},
      {"1e3", 1000, "1e3", 1000, "1e3"},
      {"T=-4.5C", -4.5, "-4.5", -4.5, "-4,5"},
      {"3.3V,", 3.3f, "3.3V,", 3, "3,3V,"},
      {"1.2.3", 1.2f, "1.2.3", 1, "1,2,3"},
      {"12:34", kUnchanged, "12:34", kUnchanged, "12:34"},
      {"x1-2y", kUnchanged, "1-2", kUnchanged, "1-2"},
      {"", kUnchanged, "", kUnchanged, ""},
      {"\n3", 3, "3", 3, "3"},
      {"\t-0.25 mV\xB5", -0.25, "-0.25", -0.25, "-0,25"},
      {"1.5e", 1.5, "1.5", 1.5, "1,5"}};
  for (const auto& [text, by_point, left_by_point, by_comma, left_by_comma] : cases) {
    ExpectParsed(kPoint, text, by_point, left_by_point);
    ExpectParsed(kComma, text, by_comma, left_by_comma);
  }
  ExpectParsed(kNoGroups, "12,5", 12.5, "12.5");
}

TEST(IsNumericText, AcceptsOnlyTheFormsOfTheLocale) {
  const std::tuple<const NumberRules&, std::vector<std::string>, std::vector<std::string>> cases[] = {
      {kPoint,
       {"1", " 1 ", "-1", "+1", ".5", "5.", "1,2,3", "1,,2", "1,234,.5", "1e5", "1E+5", "1e-05", "-.5e1"},
       {"", " ", ".", "-", ",5", "1.2.3", "1e", "1e+", "e5", "1 2", "1.5V", "--1", "1-", "0x10", "1\t", "\n1",
        "1e5.", "12:34"}},
      {kComma, {kGrouped}, {"1,2,3", "1.5"}},
      {kNoGroups, {}, {"1,5", std::string("1\0", 2)}}};
  for (const auto& [rules, numbers, others] : cases) {
    for (const std::string& text : numbers) EXPECT_TRUE(IsNumericText(rules, text)) << text;
    for (const std::string& text : others) EXPECT_FALSE(IsNumericText(rules, text)) << text;
  }
}

TEST(TextToFloat, RoundsOnceHoweverLongTheText) {
  const std::string zeros(2000, '0');
  const std::tuple<const NumberRules&, std::string, float> cases[] = {
      {kComma, kGrouped, 1234.5f},
      {kPoint, "16777217." + zeros, 16777216.0f},
      {kPoint, "16777217." + zeros + "1", 16777218.0f},  // just above the tie
      {kPoint, "1" + zeros + "e-2000", 1.0f},
      {kPoint, "0." + zeros + "1e2001", 1.0f},
      {kPoint, "1e39", INFINITY},
      {kPoint, "-" + std::string(40, '9'), -INFINITY},
      {kPoint, "1e-99999999999", 0.0f},
      {kPoint, "0e99999999999", 0.0f}};
  for (const auto& [rules, text, value] : cases) EXPECT_EQ(TextToFloat(rules, text), value) << text;
}

TEST(IsNumberChar, AcceptsALeadingDigitOrASingleMark) {
  for (const std::string text : {"9x", "-", ","}) EXPECT_TRUE(IsNumberChar(text)) << text;
  for (const std::string text : {"", "/", "e", "-1"}) EXPECT_FALSE(IsNumberChar(text)) << text;
}

TEST(LeadingNumber, ReadsWhatItCanByFixedRules) {
  const std::pair<const char*, double> cases[] = {
      {"1.5V", 1.5}, {"1,5", 1},          {" 1\t2\n3 ", 123}, {"- 4 . 5 e 1 x", -45},
      {"1e", 1},     {"1e+", 1},          {".5.5", 0.5},      {"-", 0},
      {"", 0},       {"e5", 0},           {"x1", 0},          {"+7-", 7},
      {"1.1", 1.1},  {"1e999", INFINITY}, {"1e5e5", 1e5}};
  for (const auto& [text, value] : cases) EXPECT_EQ(LeadingNumber(text), value) << text;
  EXPECT_EQ(ToSingle(1e300), INFINITY);
  EXPECT_EQ(ToSingle(-3.5e38), -INFINITY);
  EXPECT_EQ(ToSingle(3.4028235e38), 3.4028235e38f);
}

}  // namespace
}  // namespace halden
