#include "stream/line_parser.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

#include "model/frame_ring.h"
#include "model/ranges.h"
#include "platform/fixed_number_rules.h"
#include "stream/number_text.h"

namespace halden {
namespace {

const FixedNumberRules kPoint = FixedNumberRules::Point();
const FixedNumberRules kComma = FixedNumberRules::Comma();
const FixedNumberRules kCommaPoint(',', '.', CodePage::kWestern);
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
  const struct {
    const char* text;
    float by_point;
    const char* left_by_point;
    float by_comma;
    const char* left_by_comma;
  } cases[] = {
      {"12,5", 125, "12,5", 12.5, "12,5"},
      {"1.5V", 1.5, "1.5", 1.5, "1,5"},
      {"abc", kUnchanged, "abc", kUnchanged, "abc"},
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
      {"1.5e", 1.5, "1.5", 1.5, "1,5"},
  };
  for (const auto& c : cases) {
    ExpectParsed(kPoint, c.text, c.by_point, c.left_by_point);
    ExpectParsed(kComma, c.text, c.by_comma, c.left_by_comma);
  }
  ExpectParsed(kNoGroups, "12,5", 12.5, "12.5");
  ExpectParsed(kCommaPoint, "1.5", 15, "1.5");
}

TEST(IsNumericText, TakesTheFormsOfTheLocaleAndNoOther) {
  const struct {
    const NumberRules& rules;
    std::vector<std::string> numbers, others;
  } cases[] = {
      {kPoint,
       {"1", " 1 ", "-1", "+1", ".5", "5.", "1,2,3", "1,,2", "1,234,.5", "1e5", "1E+5", "1e-05", "-.5e1"},
       {"", " ", ".", "-", ",5", "1.2.3", "1e", "1e+", "e5", "1 2", "1.5V", "--1", "1-", "0x10", "1\t", "\n1",
        "1e5.", "12:34"}},
      {kComma, {kGrouped}, {"1,2,3", "1.5"}},
      {kNoGroups, {}, {"1,5", std::string("1\0", 2)}},
  };
  for (const auto& c : cases) {
    for (const std::string& text : c.numbers) EXPECT_TRUE(IsNumericText(c.rules, text)) << text;
    for (const std::string& text : c.others) EXPECT_FALSE(IsNumericText(c.rules, text)) << text;
  }
}

TEST(TextToFloat, RoundsOnceHoweverLongTheText) {
  const std::string zeros(2000, '0');
  const struct {
    const NumberRules& rules;
    std::string text;
    float value;
  } cases[] = {
      {kComma, kGrouped, 1234.5f},
      {kPoint, "16777217." + zeros, 16777216.0f},
      {kPoint, "16777217." + zeros + "1", 16777218.0f},  // just above the tie
      {kPoint, "1" + zeros + "e-2000", 1.0f},
      {kPoint, "0." + zeros + "1e2001", 1.0f},
      {kPoint, "1e39", INFINITY},
      {kPoint, "-" + std::string(40, '9'), -INFINITY},
      {kPoint, "1e-99999999999", 0.0f},
      {kPoint, "0e99999999999", 0.0f},
  };
  for (const auto& c : cases) EXPECT_EQ(TextToFloat(c.rules, c.text), c.value) << c.text;
}

TEST(IsNumberChar, IsADigitInFrontOrExactlyAMark) {
  for (const std::string text : {"0", "9x", "-", "+", ".", ","}) EXPECT_TRUE(IsNumberChar(text)) << text;
  for (const std::string text : {"", "/", ":", "e", "-1", "..", " "})
    EXPECT_FALSE(IsNumberChar(text)) << text;
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

TEST_F(Lines, EveryLineButAnEmptyOneMakesAFrameWhileBusy) {
  std::string line;
  EXPECT_EQ(parser.DetectColumns(line), 0);
  EXPECT_FALSE(store.FormatKnown);
  ASSERT_TRUE(ResetBuffer(store));
  parser.ParseLine("1");
  store.Busy = true;
  for (const char* text : {"5", "", "no number"}) parser.ParseLine(text);
  EXPECT_EQ(InputData(store).Codes, (std::vector<std::int16_t>{0, 100, 0}));
  line = "   ";
  parser.DetectColumns(line);
  EXPECT_TRUE(store.FormatKnown);
  SetChannelsCount(store, 0);
  EXPECT_EQ(parser.ParseLine("1"), 0);
  EXPECT_EQ(CountKadrs(store), 0);
}

TEST_F(Lines, CountsOfHostileLinesSaturateInLinearTime) {
  const std::pair<std::string, int> cases[] = {{std::string(65535, 'a'), 32767},
                                               {std::string(65535, ';'), 32767},
                                               {std::string(65535, ' ') + "1", 1},
                                               {std::string(65535, '1'), 1},
                                               {std::string(65534, 'a') + "1", 1}};
  for (auto [line, columns] : cases) {
    EXPECT_EQ(parser.DetectColumns(line), columns);
    parser.ParseLine(line);
  }
}

/// Valid, nearly valid and hostile fields and lines.
class RandomText {
 public:
  /// A line with its CR.
  std::string Line(char separator) {
    std::string text = Chance(95) ? "" : Piece();
    for (int fields = 1 + Below(5); fields > 0; --fields) {
      text += Chance(94) ? Number() : Piece() + Piece() + Piece();
      if (fields > 1 || Chance(10)) text += Chance(97) ? std::string(1, separator) : Piece();
    }
    return text + "\r";
  }
  bool Chance(int percent) { return Below(100) < percent; }
  int Below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

 private:
  std::string Number() {
    std::string text = std::to_string(static_cast<std::int32_t>(random_()) >> Below(31));
    if (Chance(3))
      text = std::to_string(16777217 + 2 * Below(1000)) + ".0";  // in the middle between two floats
    if (Chance(60)) text.insert(1 + Below(static_cast<int>(text.size())), Chance(70) ? "." : ",");
    if (Chance(3)) text += std::to_string(random_());
    return (Chance(90) ? "" : Piece()) + text + (Chance(90) ? "" : Piece());
  }
  std::string Piece() {
    const std::string pieces[] = {
        "",  "T=", " mV", "\xB5\xA0", "%",  "e5", "-",  "+",  ".",   ",", "7",
        " ", ";",  "\t",  "(",        "\n", "0",  "e-", "-.", "1,2", ":", std::string(1, '\0')};
    return pieces[Below(static_cast<int>(std::size(pieces)))];
  }

  std::mt19937 random_{20011};
};

/// The same driver state twice: one is fed as the receive buffer does it, the other line by line by the full
/// rules.
struct Twin {
  Twin(const NumberRules& rules, char separator, std::int16_t channels) {
    for (Store* store : {&fast, &plain}) {
      InitRanges(*store, rules);
      SetChannelsCount(*store, channels);
      if (separator != '\0') store->Separator = separator;
      store->ColumnsCount = 2;
      store->InputState.InputChannels = {0, 2, 9, 1};
      store->InputState.InputCountChannels = 4;
      store->Busy = ResetBuffer(*store);
    }
  }
  Store fast;
  Store plain;
};

TEST(LineScanner, LeavesWhatTheFullRulesLeave) {
  const char* asked = std::getenv("HALDEN_RANDOM_LINES");  // a longer run than each test can afford
  const int lines = asked ? std::atoi(asked) : 2500;
  RandomText random;
  const FixedNumberRules locales[] = {FixedNumberRules::Point(),
                                      FixedNumberRules::Comma(),
                                      FixedNumberRules::C(),
                                      FixedNumberRules(',', '.', CodePage::kWestern),
                                      FixedNumberRules('.', '\'', CodePage::kWestern),
                                      FixedNumberRules('\'', ',', CodePage::kWestern)};
  int ordinary = 0;
  for (const FixedNumberRules& rules : locales) {
    for (char separator : {';', ' ', '\t', '(', '\0'}) {
      Twin twin(rules, separator, static_cast<std::int16_t>(1 + random.Below(6)));
      LineParser fast(twin.fast, rules, 256);
      LineParser plain(twin.plain, rules, 256);
      LineScanner scanner;
      scanner.Prepare(rules.DecimalSeparator(), rules.GroupSeparator(), separator);
      for (int i = 0; i < lines; ++i) {
        const std::string line = random.Line(separator == '\0' ? ':' : separator);
        const char* const cr = &line[line.find('\r')];
        std::vector<float> unused(8);
        if (line[0] != ' ' && line[0] != '\r')
          ordinary += scanner.Scan(line.data(), cr, unused.data(), 6).end != nullptr;
        fast.BeginPass();
        const LineScanner::Result taken = fast.TakeLine(line.data(), cr);
        fast.EndPass();
        ASSERT_EQ(taken.end, cr) << line;
        const std::string_view text(line.data(), cr - line.data());
        ASSERT_EQ(taken.read, plain.ParseLine(Trim(text))) << line;
        ASSERT_EQ(std::memcmp(twin.fast.ChannelValues.data(), twin.plain.ChannelValues.data(),
                              twin.plain.ChannelValues.size() * sizeof(float)),
                  0)
            << line;
        ASSERT_EQ(InputData(twin.fast).Codes, InputData(twin.plain).Codes) << line;
      }
    }
  }
  EXPECT_GT(ordinary, lines * 25 / 5) << "the fast way was hardly ever taken";
}

}  // namespace
}  // namespace halden
