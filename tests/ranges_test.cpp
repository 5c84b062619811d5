#include "model/ranges.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "platform/fixed_number_rules.h"

namespace halden {
namespace {

#define PM "\xB1"  // the plus-minus sign of the ANSI code page

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Ranges : testing::Test {
  Ranges() {
    InitRanges(store, FixedNumberRules::Point());
    SetChannelsCount(store, 1);
  }

  std::int16_t CodeOn(std::int16_t row, float value) {
    SetChannelRange(store, 0, row);
    store.ChannelValues[0] = value;
    EXPECT_EQ(GetKadr(store).at(0), GetChannel(store, 0));
    return GetChannel(store, 0);
  }

  Store store;
};

TEST_F(Ranges, TableHoldsTextScaleAndOffsetOfEveryRow) {
  const tADCState& state = store.ADCState;
  const std::vector<std::string> texts = {PM "1000",     PM "100",      PM "10",      PM "1",
                                          PM "0.1",      "Int 8-bit",   "Int 10-bit", "Int 12-bit",
                                          "Int 14-bit",  "Int 16-bit",  "UInt 8-bit", "UInt 10-bit",
                                          "UInt 12-bit", "UInt 14-bit", "UInt 16-bit"};
  EXPECT_EQ(state.Ranges, texts);
  EXPECT_EQ(state.UnitScale, (std::vector<float>{20, 200, 2000, 20000, 200000, 128, 512, 2048, 8192, 32768,
                                                 255, 1023, 4095, 16383, 65535}));
  EXPECT_EQ(state.UnitOffset[9], 0);
  EXPECT_EQ(state.UnitOffset[10], 128.0f / 255);
  EXPECT_EQ(state.UnitOffset[14], 32768.0f / 65535);
  EXPECT_EQ(state.RangesCount, 15);
  EXPECT_EQ(state.Resolution, 16);
  InitRanges(store, FixedNumberRules::Comma());
  EXPECT_EQ(state.Ranges.size(), 15u);
  EXPECT_EQ(state.Ranges[4], PM "0,1");
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
  };
  for (const auto& c : cases) EXPECT_EQ(CodeOn(c.row, c.value), c.code) << c.value << " on row " << c.row;
}

TEST(ScaleToCode, JudgesTheProductBeforeItBecomesAFloat) {
  // 32767.0005 is above the span although it is 32767 as a float; both ways give 32767, so look below it.
  EXPECT_EQ(ScaleToCode(1.0f, 32766.5f, 0), 32766);     // exact tie in a float: to even
  EXPECT_EQ(ScaleToCode(16383.75f, 2, 0), 32767);       // 32767.5: above the span, not rounded to 32768
  EXPECT_EQ(ScaleToCode(0.3f, 5, 0.1f), 1);             // (0.3f - 0.1f) * 5 just above 1 in double
  EXPECT_EQ(ScaleToCode(16777216, 1, 16777213.5f), 2);  // no rounding between the two steps
}

TEST_F(Ranges, ChoiceOfRowIsClampedAndOnlyForChannelsThatExist) {
  SetChannelsCount(store, 2);
  for (auto [given, kept] : {std::pair<int, int>{-1, 0}, {15, 14}, {32767, 14}, {7, 7}, {-32768, 0}}) {
    SetChannelRange(store, 1, static_cast<std::int16_t>(given));
    EXPECT_EQ(RowOfChannel(store, 1), kept);
  }
  SetChannelRange(store, 2, 3);
  SetChannelRange(store, -1, 3);
  EXPECT_EQ(store.ADCState.ChannelRange, (std::vector<std::int16_t>{0, 0}));
  EXPECT_EQ(RowOfChannel(store, 2), -1);
}

TEST_F(Ranges, ANewCountPutsEveryChannelBackAndNoneAnswersWithoutChannels) {
  SetChannelRange(store, 0, 9);
  store.ChannelValues[0] = 5;
  SetChannelsCount(store, 0);
  EXPECT_EQ(store.ChannelValues.size(), 1u);
  EXPECT_EQ(GetChannel(store, 0), 0);
  EXPECT_EQ(GetKadr(store), std::vector<std::int16_t>{0});
  SetChannelsCount(store, 1);
  EXPECT_EQ(RowOfChannel(store, 0), 0);
  EXPECT_EQ(store.ChannelValues[0], 0);
}

}  // namespace
}  // namespace halden
