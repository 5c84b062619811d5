#include "model/frame_ring.h"

#include <gtest/gtest.h>

#include "platform/fixed_number_rules.h"

namespace halden {
namespace {

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

TEST_F(FrameRing, ANewRecordingFindsZeroes) {
  Add(3);
  ASSERT_TRUE(ResetBuffer(store));
  ExpectState(1, 0, 0, true);
  EXPECT_EQ(std::vector<std::int16_t>(state.Kadrs.get(), state.Kadrs.get() + 2048),
            std::vector<std::int16_t>(2048));
}

}  // namespace
}  // namespace halden
