#include "model/frame_ring.h"

#include <gtest/gtest.h>
#include <numeric>

#include "platform/fixed_number_rules.h"

namespace halden {
namespace {

struct FrameRing : testing::Test {
  FrameRing() {
    InitRanges(store, FixedNumberRules::Point());
    SetChannelsCount(store, 4);
    for (std::int16_t channel = 0; channel < 4; ++channel) SetChannelRange(store, channel, 9);
  }

  void Start(std::vector<std::int16_t> channels, std::int32_t frames = 1024) {
    store.InputState.RequestedSize = frames;
    SetInputChannels(store, channels);
    ASSERT_TRUE(ResetBuffer(store));
  }

  /// Frames whose channel c holds 10 * n + c.
  void Add(int frames) {
    for (int i = 0; i < frames; ++i, ++next) {
      for (int channel = 0; channel < 4; ++channel)
        store.ChannelValues[channel] = static_cast<float>(next % 3000 * 10 + channel);
      writer.Begin();
      writer.AddBufferKadr();
      writer.End();
    }
  }

  std::int32_t Get(std::int32_t room, std::int32_t* delivered = nullptr, std::int32_t* waiting = nullptr) {
    data.assign(room > 0 ? room : 1, -1);
    size = room;
    const std::int32_t frames = GetData(store, data.data(), size, left);
    if (delivered) *delivered = size;
    if (waiting) *waiting = left;
    return frames;
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
  std::int32_t size = 0;
  std::int32_t left = 0;
};

TEST_F(FrameRing, CapacityFollowsTheRequest) {
  SetBufferSize(store);
  EXPECT_EQ(state.InputSizeKadrs, 262144);
  for (auto [request, frames] :
       {std::pair{1024, 1024}, {1023, 32768}, {0, 32768}, {-5, 32768}, {4096, 4096}}) {
    state.RequestedSize = request;
    SetInputChannels(store, {0, 1, 2, 3});
    EXPECT_EQ(state.InputSizeKadrs, frames);
    EXPECT_EQ(state.InputSizeData, frames * 4);
  }
  state.RequestedSize = 0x7FFFFFFF;
  SetBufferSize(store);
  EXPECT_EQ(state.InputSizeData, 0x7FFFFFFF);
}

TEST_F(FrameRing, WrapsAndKeepsTheOldestWhenFull) {
  Start({0, 1});
  Add(1025);
  ExpectState(1, 1024, 1024, false);
  EXPECT_EQ(Get(2000), 1000);
  EXPECT_EQ(size, 2000);
  EXPECT_EQ(left, 48);
  EXPECT_EQ(state.ReadIndex, 1001);
  EXPECT_EQ(data[1998], 9990);
  EXPECT_EQ(data[1999], 9991);
  Add(3);  // the frame numbered 1024 was lost; these are 1025 to 1027
  ExpectState(1001, 3, 27, false);
  EXPECT_EQ(Get(54), 27);
  EXPECT_EQ(size, 54);
  EXPECT_EQ(left, 0);
  ExpectState(4, 3, 0, true);
  EXPECT_EQ(data[2 * 23], 10230);
  EXPECT_EQ(data[2 * 24], 10250);
  EXPECT_EQ(data[2 * 26 + 1], 10271);
  Add(1024);
  ExpectState(4, 3, 1024, false);  // drained, it refills as far as a fresh one
  Add(1);
  ExpectState(4, 3, 1024, false);
}

TEST_F(FrameRing, AReadThatEndsOnTheLastSlotGoesOnAtTheFirst) {
  Start({0});
  Add(1024);
  EXPECT_EQ(Get(1023), 1023);
  ExpectState(1024, 1024, 1, false);
  EXPECT_EQ(Get(1), 1);
  ExpectState(1, 1024, 0, true);
  Add(1);
  ExpectState(1, 1, 1, false);
}

TEST_F(FrameRing, OnlyWholeFramesMove) {
  Start({0, 1, 2});
  Add(5);
  const struct {
    std::int32_t room, frames, delivered, waiting;
  } cases[] = {{2, 0, 0, 15},  {-1, 0, 0, 15}, {-2147483647 - 1, 0, 0, 15}, {7, 2, 6, 9}, {0, 0, 0, 9},
               {100, 3, 9, 0}, {9, 0, 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(Get(c.room), c.frames) << c.room;
    EXPECT_EQ(size, c.delivered);
    EXPECT_EQ(left, c.waiting);
    EXPECT_EQ(data.back(), c.frames * 3 == c.room ? data.back() : -1);
  }
  Add(1);
  size = 3;
  EXPECT_EQ(GetData(store, nullptr, size, left), 0);
  EXPECT_EQ(size, 0);
}

TEST_F(FrameRing, InputDataTakesAllBehindTheTable) {
  KadrTable table = InputData(store);
  EXPECT_EQ(table.Rows(), 1);
  EXPECT_EQ(table.Codes, std::vector<std::int16_t>{0});
  Start({3, 0, 0, 9});
  Add(1000);
  EXPECT_EQ(InputData(store).Rows(), 1001);
  Add(100);
  table = InputData(store);
  ASSERT_EQ(table.Rows(), 101);
  ASSERT_EQ(table.Channels, 4);
  const std::vector<std::int16_t> rows(table.Codes.begin(), table.Codes.begin() + 8);
  EXPECT_EQ(rows, (std::vector<std::int16_t>{3, 0, 0, 9, 10003, 10000, 10000, 0}));
  EXPECT_EQ(table.At(0, 100), 10993);
  ExpectState(77, 76, 0, true);
  EXPECT_EQ(state.InputCountKadrs, 0);
  EXPECT_EQ(InputData(store).Rows(), 1);
  ExpectState(77, 76, 0, true);
}

TEST_F(FrameRing, FramesAreNeverReadUnderAnotherTable) {
  Start({0, 1});
  Add(10);
  SetInputChannels(store, {0, 1});
  EXPECT_EQ(CountKadrs(store), 10);
  SetInputChannels(store, {1, 0});
  EXPECT_EQ(state.InputCountKadrs, 0);
  EXPECT_EQ(Get(100), 0);
  ASSERT_TRUE(ResetBuffer(store));
  Add(10);
  InitRanges(store, FixedNumberRules::Point());  // what a first object after the last one does
  EXPECT_EQ(Get(100), 0);
  EXPECT_EQ(InputData(store).Rows(), 1);
  Add(1);
  EXPECT_EQ(Get(100), 0);
  store.Busy = true;
  SetInputChannels(store, {0, 1, 2});
  EXPECT_EQ(state.InputCountChannels, 1);
}

TEST_F(FrameRing, ATableWithoutEntriesIsNeverReadPastItsEnd) {
  SetInputChannels(store, {});
  EXPECT_EQ(state.InputCountChannels, 1);
  ASSERT_TRUE(ResetBuffer(store));
  Add(1);
  EXPECT_EQ(InputData(store).Codes, (std::vector<std::int16_t>{-1, 0}));
  EXPECT_EQ(GetKadr(store), std::vector<std::int16_t>{0});
  SetInputChannels(store, std::vector<std::int16_t>(32768, 0));
  EXPECT_TRUE(state.InputChannels.empty());
  SetInputChannels(store, std::vector<std::int16_t>(32767, 0));
  EXPECT_EQ(state.InputCountChannels, 32767);
}

TEST_F(FrameRing, ZeroesWhatItKeepsAndReplacesWhatItDoesNot) {
  Start({0, 1});
  Add(3);
  const std::int16_t* storage = state.Kadrs.get();
  ASSERT_TRUE(ResetBuffer(store));
  EXPECT_EQ(state.Kadrs.get(), storage);
  EXPECT_EQ(std::accumulate(storage, storage + 2048, 0), 0);
  ExpectState(1, 0, 0, true);
  Start({0, 1}, 2048);
  EXPECT_EQ(state.AllocKadrs, 2048);
  Add(2048);
  EXPECT_EQ(CountKadrs(store), 2048);
}

TEST_F(FrameRing, WithoutMemoryTheLastRecordingStaysReadable) {
  Start({0, 1});
  Add(7);
  state.RequestedSize = 0x7FFFFFFF;
  SetInputChannels(store, std::vector<std::int16_t>(32767, 0));
  EXPECT_FALSE(ResetBuffer(store));
  EXPECT_EQ(store.ADCState.LastError.find("Buffer Error 12: \r\n"), 0u);
  EXPECT_EQ(state.AllocChannels, 2);
  EXPECT_EQ(state.AllocKadrs, 1024);
  Start({0, 1});
  Add(7);
  state.InputSizeKadrs = 5;  // a capacity that was asked for meanwhile
  EXPECT_EQ(Get(100), 7);
}

}  // namespace
}  // namespace halden
