#include "stream/line_parser.h"

#include <cmath>
#include <gtest/gtest.h>

#include "model/frame_ring.h"
#include "model/ranges.h"
#include "platform/fixed_number_rules.h"
#include "stream/number_text.h"

namespace halden {
namespace {

const FixedNumberRules kPoint = FixedNumberRules::Point();
const FixedNumberRules kComma = FixedNumberRules::Comma();
const FixedNumberRules kCommaPoint('.' == ',' ? '.' : ',', '.',
                                   CodePage::kWestern);  // decimal comma, point groups
const FixedNumberRules kNoGroups = FixedNumberRules::C();

constexpr float kUnchanged = 7;

TEST(ParseValue, GetsTheNumberOutOfAField) {
  const struct {
    const char* text;
    const NumberRules& rules;
    bool read;
    float value;
    const char* left;
  } cases[] = {
      {"12,5", kPoint, true, 125, "12,5"},
      {"12,5", kComma, true, 12.5, "12,5"},
      {"12,5", kNoGroups, true, 12.5, "12.5"},
      {"1.5V", kPoint, true, 1.5, "1.5"},
      {"1.5V", kComma, true, 1.5, "1,5"},
      {"1.5", kCommaPoint, true, 15, "1.5"},
      {"abc", kPoint, false, kUnchanged, "abc"},
      {"abc", kComma, false, kUnchanged, "abc"},
      {"-", kPoint, false, kUnchanged, "-"},
      {"+3", kPoint, true, 3, "+3"},
      {"+3", kComma, true, 3, "+3"},
      {"1,234.5", kPoint, true, 1234.5, "1,234.5"},
      {"1,234.5", kComma, true, 1, "1,234,5"},
      {"1e3", kPoint, true, 1000, "1e3"},
      {"1e3", kComma, true, 1000, "1e3"},
      {"T=-4.5C", kPoint, true, -4.5, "-4.5"},
      {"T=-4.5C", kComma, true, -4.5, "-4,5"},
      {"3.3V,", kPoint, true, 3.3f, "3.3V,"},
      {"3.3V,", kComma, true, 3, "3,3V,"},
      {"1.2.3", kPoint, true, 1.2f, "1.2.3"},
      {"1.2.3", kComma, true, 1, "1,2,3"},
      {"12:34", kPoint, true, kUnchanged, "12:34"},
      {"12:34", kComma, true, kUnchanged, "12:34"},
      {"x1-2y", kPoint, true, kUnchanged, "1-2"},
      {"", kPoint, false, kUnchanged, ""},
      {"\n3", kPoint, true, 3, "3"},
      {"\t-0.25 mV\xB5", kPoint, true, -0.25, "-0.25"},
      {"1.5e", kPoint, true, 1.5, "1.5"},
  };
  for (const auto& c : cases) {
    std::string text = c.text;
    float value = kUnchanged;
    EXPECT_EQ(ParseValue(c.rules, text, value), c.read) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(text, c.left) << c.text;
  }
}

TEST(IsNumericText, TakesTheFormsOfTheLocaleAndNoOther) {
  for (const char* text :
       {"1", " 1 ", "-1", "+1", ".5", "5.", "1,2,3", "1,,2", "1,234,.5", "1e5", "1E+5", "1e-05", "-.5e1"})
    EXPECT_TRUE(IsNumericText(kPoint, text)) << text;
  for (const char* text : {"", " ", ".", "-", ",5", "1.2.3", "1e", "1e+", "e5", "1 2", "1.5V", "--1", "1-",
                           "0x10", "1\t", "\n1", "1e5.", "12:34"})
    EXPECT_FALSE(IsNumericText(kPoint, text)) << text;
  EXPECT_FALSE(IsNumericText(kComma, "1,2,3"));
  EXPECT_TRUE(IsNumericText(kComma,
                            "1\xA0"
                            "234,5"));
  EXPECT_FALSE(IsNumericText(kComma, "1.5"));
  EXPECT_FALSE(IsNumericText(kNoGroups, "1,5"));
  EXPECT_FALSE(IsNumericText(kNoGroups, std::string_view("1\0", 2)));
}

TEST(TextToFloat, RoundsOnceHoweverLongTheText) {
  const std::string zeros(2000, '0');
  EXPECT_EQ(TextToFloat(kComma,
                        "1\xA0"
                        "234,5"),
            1234.5f);
  EXPECT_EQ(TextToFloat(kPoint, "16777217"), 16777216.0f);
  EXPECT_EQ(TextToFloat(kPoint, "16777217." + zeros + "1"), 16777218.0f);  // just above the tie
  EXPECT_EQ(TextToFloat(kPoint, "1" + zeros + "e-2000"), 1.0f);
  EXPECT_EQ(TextToFloat(kPoint, "0." + zeros + "1e2001"), 1.0f);
  EXPECT_EQ(TextToFloat(kPoint, "1e39"), INFINITY);
  EXPECT_EQ(TextToFloat(kPoint, "-" + std::string(40, '9')), -INFINITY);
  EXPECT_EQ(TextToFloat(kPoint, "1e-99999999999"), 0.0f);
  EXPECT_EQ(TextToFloat(kPoint, "0e99999999999"), 0.0f);
}

TEST(LeadingNumber, ReadsWhatItCanByFixedRules) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"1.5V", 1.5},
               {"1,5", 1},
               {" 1\t2\n3 ", 123},
               {"- 4 . 5 e 1 x", -45},
               {"1e", 1},
               {"1e+", 1},
               {".5.5", 0.5},
               {"-", 0},
               {"", 0},
               {"e5", 0},
               {"x1", 0},
               {"+7-", 7},
               {"1e999", INFINITY},
               {"1.1", 1.1},
               {"1e5e5", 1e5}};
  for (const auto& c : cases) EXPECT_EQ(LeadingNumber(c.text), c.value) << c.text;
  EXPECT_EQ(ToSingle(1e300), INFINITY);
  EXPECT_EQ(ToSingle(-3.5e38), -INFINITY);
  EXPECT_EQ(ToSingle(3.4028235e38), 3.4028235e38f);
}

struct Lines : testing::Test {
  Lines() {
    InitRanges(store, kPoint);
    SetChannelsCount(store, 3);
    store.ChannelValues.assign(3, 9);
  }

  Store store;
  LineParser parser{store, kPoint, 64};
};

TEST_F(Lines, FormatAndValuesOfWholeLines) {
  const struct {
    const char* line;
    int columns;
    const char* separator;
    int read;
    std::vector<float> values;
  } cases[] = {
      {"1;2;3", 3, ";", 3, {1, 2, 3}},        {"1;;3", 3, ";", 2, {1, 0, 3}},
      {"1;x;3", 3, ";", 2, {1, 0, 3}},        {"1;2", 2, ";", 2, {1, 2, 0}},
      {"1;2;", 2, ";", 2, {1, 2, 9}},         {"1;", 1, ";", 1, {1, 9, 9}},
      {"1;2;3;4", 4, ";", 3, {1, 2, 3}},      {"1;12:34;3", 3, ";", 3, {1, 9, 3}},
      {"1.5  2.5", 2, " ", 2, {1.5, 2.5, 0}}, {"12.5(3.1)", 2, "(", 2, {12.5, 3.1f, 0}},
      {"(12", 2, "(", 1, {0, 12, 0}},         {"\t1\t 2", 3, "\t", 2, {0, 1, 2}},
      {"1; 2 ;3", 3, ";", 3, {1, 2, 3}},      {"1 2;3", 2, ";", 2, {9, 3, 0}},
      {"42", 1, "", 1, {42, 9, 9}},           {"1,2,3", 1, "", 1, {123, 9, 9}},
      {" 12", 1, " ", 1, {12, 9, 9}},         {"12 ", 1, " ", 1, {12, 9, 9}},
      {"abc", 3, "", 0, {0, 9, 9}},           {"-", 1, "", 0, {0, 9, 9}},
      {"   ", 0, " ", 0, {0, 9, 9}},
  };
  for (const auto& c : cases) {
    store.ChannelValues.assign(3, 9);
    std::string line = c.line;
    EXPECT_EQ(parser.DetectColumns(line), c.columns) << c.line;
    EXPECT_EQ(store.Separator, c.separator) << c.line;
    EXPECT_EQ(store.ColumnsCount, c.columns) << c.line;
    EXPECT_EQ(parser.ParseLine(c.line), c.read) << c.line;
    EXPECT_EQ(store.ChannelValues, c.values) << c.line;
  }
}

TEST_F(Lines, AnEmptyLineChangesNothing) {
  std::string line;
  EXPECT_EQ(parser.DetectColumns(line), 0);
  EXPECT_FALSE(store.FormatKnown);
  store.Busy = ResetBuffer(store);
  EXPECT_EQ(parser.ParseLine(line), 0);
  EXPECT_EQ(CountKadrs(store), 0);
  EXPECT_EQ(store.ChannelValues[0], 9);
  line = "   ";
  parser.DetectColumns(line);
  EXPECT_TRUE(store.FormatKnown);
  SetChannelsCount(store, 0);
  EXPECT_EQ(parser.ParseLine("1"), 0);
}

TEST_F(Lines, EveryOtherLineMakesAFrameWhileBusy) {
  ASSERT_TRUE(ResetBuffer(store));
  parser.ParseLine("1");
  store.Busy = true;
  parser.ParseLine("5");
  parser.ParseLine("no number");
  EXPECT_EQ(InputData(store).Codes, (std::vector<std::int16_t>{0, 100, 0}));
}

TEST_F(Lines, CountsOfHostileLinesSaturateInLinearTime) {
  const std::string cases[] = {std::string(65535, 'a'), std::string(65535, ';'),
                               std::string(65535, ' ') + "1", std::string(65535, '1'),
                               std::string(65534, 'a') + "1"};
  const int columns[] = {32767, 32767, 1, 1, 1};
  for (int i = 0; i < 5; ++i) {
    std::string line = cases[i];
    EXPECT_EQ(parser.DetectColumns(line), columns[i]) << i;
    parser.ParseLine(cases[i]);
  }
}

}  // namespace
}  // namespace halden
