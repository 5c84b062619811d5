#include "model/ranges.h"

#include <gtest/gtest.h>
#include <limits>

#include "platform/fixed_number_rules.h"

namespace halden {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Ranges : testing::Test {
  Ranges() {
    InitRanges(store, FixedNumberRules::Comma());
    SetChannelsCount(store, 2);
  }
  Store store;
};

TEST_F(Ranges, TableHoldsTextScaleAndOffsetOfEveryRow) {
  const tADCState& state = store.ADCState;
  // An octal 261 is the plus-minus sign of the ANSI code page.
  const std::vector<std::string> texts = {"\2611000",    "\261100",     "\26110",     "\2611",
                                          "\2610,1",     "Int 8-bit",   "Int 10-bit", "Int 12-bit",
                                          "Int 14-bit",  "Int 16-bit",  "UInt 8-bit", "UInt 10-bit",
                                          "UInt 12-bit", "UInt 14-bit", "UInt 16-bit"};
  EXPECT_EQ(state.Ranges, texts);
  EXPECT_EQ(state.UnitScale, (std::vector<float>{20, 200, 2000, 20000, 200000, 128, 512, 2048, 8192, 32768,
                                                 255, 1023, 4095, 16383, 65535}));
  EXPECT_EQ(state.UnitOffset, (std::vector<float>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 128.0f / 255, 512.0f / 1023,
                                                  2048.0f / 4095, 8192.0f / 16383, 32768.0f / 65535}));
}

TEST_F(Ranges, ConvertEveryValueToTheRightCode) {
  const struct {
    std::int16_t row;
    float value;
    std::int16_t code;
  } cases[] = {
      {0, 1000, 20000},      {0, 1638.35f, 32767},    {0, 1700, 32767},     {0, -1700, -32768},
      {0, -1638.4f, -32768}, {0, 0.025f, 0},          {0, 0.075f, 2},       {0, kNaN, -32768},
      {0, kInfinity, 32767}, {0, -kInfinity, -32768}, {0, -3e38f, -32768},  {4, 0.1f, 20000},
      {4, 0.16f, 32000},     {4, 0.2f, 32767},        {5, 0.5f, 0},         {5, 1.5f, 2},
      {5, 2.5f, 2},          {5, -0.5f, 0},           {5, -1.5f, -2},       {5, 1000, 1000},
      {9, 40000, 32767},     {9, -40000, -32768},     {9, 32767.5f, 32767}, {9, -32768.5f, -32768},
      {10, 0, -128},         {10, 255, 127},          {11, 0, -512},        {13, 16383, 8191},
      {14, 0, -32768},       {14, 32768, 0},          {14, 65535, 32767},   {14, 70000, 32767},
      {-1, 1000, 20000},     {15, 0, -32768},
  };
  for (const auto& c : cases) {
    SetChannelRange(store, 1, c.row);
    store.ChannelValues[1] = c.value;
    EXPECT_EQ(GetChannel(store, 1), c.code) << c.value << " on row " << c.row;
  }
}

TEST_F(Ranges, TheProductIsJudgedBeforeItBecomesAFloat) {
  EXPECT_EQ(ScaleToCode(1.0f, 32766.5f, 0), 32766);     // exact tie in a float: to even
  EXPECT_EQ(ScaleToCode(16383.75f, 2, 0), 32767);       // 32767.5: above the span, not rounded to 32768
  EXPECT_EQ(ScaleToCode(0.3f, 5, 0.1f), 1);             // (0.3f - 0.1f) * 5 just above 1 in double
  EXPECT_EQ(ScaleToCode(16777216, 1, 16777213.5f), 2);  // no rounding between the two steps
}

TEST_F(Ranges, ANewCountPutsEveryChannelBackAndNoneAnswersWithoutChannels) {
  SetChannelRange(store, 0, 9);
  store.ChannelValues[0] = 5;
  SetChannelsCount(store, 0);
  EXPECT_EQ(store.ChannelValues[0], 5);
  EXPECT_EQ(GetKadr(store), std::vector<std::int16_t>{0});
  SetChannelsCount(store, 1);
  EXPECT_EQ(RowOfChannel(store, 0), 0);
  EXPECT_EQ(store.ChannelValues, std::vector<float>{0});
}

}  // namespace
}  // namespace halden
