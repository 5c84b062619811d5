#include <gtest/gtest.h>
#include <limits>

#include "model/frame_ring.h"
#include "model/ranges.h"
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

struct FrameRing : testing::Test {
  FrameRing() {
    InitRanges(store, FixedNumberRules::Point());
    SetChannelsCount(store, 2);
    for (std::int16_t channel = 0; channel < 2; ++channel) SetChannelRange(store, channel, 9);
    store.InputState.RequestedSize = 1024;
    SetInputChannels(store, {0, 1});
    EXPECT_TRUE(ResetBuffer(store));
  }

  /// Frames whose channel c holds 10 * n + c.
  void Add(int frames) {
    for (int i = 0; i < frames; ++i, ++next) {
      for (int channel = 0; channel < 2; ++channel)
        store.ChannelValues[channel] = static_cast<float>(next % 3000 * 10 + channel);
      writer.Begin();
      writer.AddBufferKadr();
      writer.End();
    }
  }

  std::int32_t Get(std::int32_t room) {
    data.assign(room, -1);
    return GetData(store, data.data(), room, left);
  }

  void ExpectState(std::int32_t read, std::int32_t write, std::int32_t count, bool empty) {
    EXPECT_EQ(state.ReadIndex, read);
    EXPECT_EQ(state.WriteIndex, write);
    EXPECT_EQ(CountKadrs(store), count);
    EXPECT_EQ(state.BufferEmpty, empty);
  }

  Store store;
  KadrWriter writer{store};
  tInputState& state = store.InputState;
  int next = 0;
  std::vector<std::int16_t> data;
  std::int32_t left = 0;
};

TEST_F(FrameRing, WrapsAndKeepsTheOldestWhenFull) {
  Add(1025);
  ExpectState(1, 1024, 1024, false);
  EXPECT_EQ(Get(2000), 1000);
  EXPECT_EQ(left, 48);
  EXPECT_EQ(state.ReadIndex, 1001);
  EXPECT_EQ(data[1999], 9991);
  Add(3);  // the frame numbered 1024 was lost; these are 1025 to 1027
  ExpectState(1001, 3, 27, false);
  EXPECT_EQ(Get(54), 27);
  ExpectState(4, 3, 0, true);
  EXPECT_EQ(data[2 * 23], 10230);
  EXPECT_EQ(data[2 * 24], 10250);
  EXPECT_EQ(data[2 * 26 + 1], 10271);
  for (const int more : {1024, 1}) {
    Add(more);
    ExpectState(4, 3, 1024, false);  // drained, it refills as far as a fresh one
  }
}

TEST_F(FrameRing, FramesOfAnotherWidthAreNeverRead) {
  Add(10);
  InitRanges(store, FixedNumberRules::Point());  // what a first object after the last one does
  EXPECT_EQ(Get(100), 0);
  EXPECT_EQ(InputData(store).Codes, std::vector<std::int16_t>{0});
  Add(1);
  EXPECT_EQ(Get(100), 0);
  SetBufferSize(store);
  EXPECT_EQ(state.InputSizeKadrs, 262144);
}

TEST_F(FrameRing, ANewRecordingFindsZeroesOrWithoutMemoryLeavesTheLastOne) {
  Add(3);
  ASSERT_TRUE(ResetBuffer(store));
  ExpectState(1, 0, 0, true);
  EXPECT_EQ(std::vector<std::int16_t>(state.Kadrs.get(), state.Kadrs.get() + 2048),
            std::vector<std::int16_t>(2048));
  state.RequestedSize = 0x7FFFFFFF;
  SetInputChannels(store, std::vector<std::int16_t>(32767, 0));
  EXPECT_FALSE(ResetBuffer(store));
  EXPECT_EQ(state.AllocChannels, 2);
  EXPECT_EQ(state.AllocKadrs, 1024);
}

}  // namespace
}  // namespace halden
