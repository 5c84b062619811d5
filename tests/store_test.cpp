#include <gtest/gtest.h>
#include <limits>

#include "backends/text/fixed_number_rules.h"
#include "model/frame_ring.h"
#include "model/ranges.h"

namespace halden {
namespace {

struct Model : testing::Test {
  Model() {
    InitRanges(store, FixedNumberRules::Comma());
    SetChannelsCount(store, 2);
  }
  Store store;
};

TEST_F(Model, RangesHaveTextScaleAndOffset) {
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

TEST_F(Model, ValuesBecomeTheNearestCode) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::tuple<std::int16_t, float, std::int16_t> cases[] = {
      {0, 1000, 20000},     {0, 1638.35f, 32767},   {0, 1700, 32767},    {0, -1700, -32768},
      {0, kNaN, -32768},    {0, kInfinity, 32767},  {0, -3e38f, -32768}, {4, 0.1f, 20000},
      {4, 0.16f, 32000},    {4, 0.2f, 32767},       {5, 0.5f, 0},        {5, 1.5f, 2},
      {5, 2.5f, 2},         {5, 1000, 1000},        {9, 40000, 32767},   {9, -40000, -32768},
      {9, 32767.5f, 32767}, {9, -32768.5f, -32768}, {10, 0, -128},       {10, 255, 127},
      {14, 0, -32768},      {14, 32768, 0},         {14, 65535, 32767},  {14, 70000, 32767}};
  for (const auto& [row, value, code] : cases) {
    SetChannelRange(store, 1, row);
    store.ChannelValues[1] = value;
    EXPECT_EQ(GetChannel(store, 1), code) << value << " on row " << row;
  }
  // The product is judged in double, before it becomes a float, which here would be a tie or another number.
  EXPECT_EQ(ScaleToCode(1.0f, 32766.5f, 0), 32766);
  EXPECT_EQ(ScaleToCode(16383.75f, 2, 0), 32767);
  EXPECT_EQ(ScaleToCode(0.3f, 5, 0.1f), 1);
  EXPECT_EQ(ScaleToCode(16777216, 1, 16777213.5f), 2);
}

/// A ring of 4 slots for frames of one code, with frames numbered 1, 2, 3 in the order of their lines.
struct FrameRing : Model {
  FrameRing() {
    SetInputChannels(store, {0});
    SetChannelRange(store, 0, 9);  // codes are the values
    store.InputState.InputSizeKadrs = 4;
    store.Busy = AllocBuffer(store);
  }

  void Write(int frames) {
    writer.Begin();
    for (int i = 0; i < frames; ++i) {
      store.ChannelValues[0] = ++last_frame;
      writer.AddBufferKadr();
    }
    writer.End();
  }

  std::vector<std::int16_t> Read(std::size_t frames) {
    std::vector<std::int16_t> codes(frames);
    auto size = static_cast<std::int32_t>(frames);
    std::int32_t left = 0;
    codes.resize(GetData(store, codes.data(), size, left));
    return codes;
  }

  FrameWriter writer{store};
  float last_frame = 0;
};

TEST_F(FrameRing, KeepsTheOldestFramesInOrder) {
  const struct {
    const char* step;
    int written = 0;
    std::vector<std::int16_t> read = {};
    int waiting = 0;  ///< after both
  } steps[] = {
      {.step = "fresh"},
      {.step = "filled to the last slot", .written = 4, .waiting = 4},
      {.step = "full: frame 5 is lost", .written = 1, .waiting = 4},
      {.step = "the oldest two are read", .read = {1, 2}, .waiting = 2},
      {.step = "wrapped, with one slot free", .written = 1, .waiting = 3},
      {.step = "full over the wrap: frame 8 is lost", .written = 2, .waiting = 4},
      {.step = "drained over the wrap", .read = {3, 4, 6, 7}, .waiting = 0},
      {.step = "one frame in a drained ring", .written = 1, .waiting = 1},
      {.step = "refilled over the wrap", .written = 3, .waiting = 4},
      {.step = "read up to the last slot", .read = {9, 10}, .waiting = 2},
      {.step = "read on from slot 1", .read = {11, 12}, .waiting = 0},
  };
  for (const auto& s : steps) {
    SCOPED_TRACE(s.step);
    Write(s.written);
    EXPECT_EQ(Read(s.read.size()), s.read);
    ASSERT_EQ(CountKadrs(store), s.waiting);
  }
}

TEST_F(FrameRing, AnotherTableDropsTheFramesAndTheSameOneKeepsThem) {
  for (const int frames : {2, 4, 4}) {
    Write(frames);
    store.Busy = false;
    SetInputChannels(store, store.InputState.InputChannels);
    EXPECT_EQ(CountKadrs(store), frames) << "after the same table";
    SetInputChannels(store, {static_cast<std::int16_t>(store.InputState.InputChannels[0] + 1)});
    EXPECT_EQ(CountKadrs(store), 0) << "after another table";
    store.Busy = true;
    Write(1);
    EXPECT_EQ(Read(2).size(), 1u) << "of the one frame written after the table changed";
  }
}

/// Only the undefined-behaviour sanitizer sees an index that overflows.
TEST_F(FrameRing, LargestRingIsReadToItsLastSlot) {
  tInputState& state = store.InputState;
  state.AllocKadrs = state.ReadIndex = state.WriteIndex = std::numeric_limits<std::int32_t>::max();
  state.AllocChannels = state.InputCountChannels = 0;  // frames of no code need no storage
  state.BufferEmpty = false;
  InputData(store);
  EXPECT_EQ(state.ReadIndex, 1);
}

TEST_F(Model, ChannelTablesAreLimitedTo32767Entries) {
  for (const std::size_t width : {32767, 32768, 2}) {
    SetInputChannels(store, std::vector<std::int16_t>(width));
    EXPECT_EQ(store.InputState.InputCountChannels, width == 2 ? 2 : 32767) << width << " entries";
  }
}

TEST_F(Model, CapacityWithoutARequestIsTheDefault) {
  SetInputChannels(store, {0, 1});
  EXPECT_EQ(store.InputState.InputSizeKadrs, 262144);
}

}  // namespace
}  // namespace halden
