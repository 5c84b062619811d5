#pragma once

#include <cstring>
#include <string>

#include "backends/sim/virtual_clock.h"
#include "backends/text/fixed_number_rules.h"
#include "model/frame_ring.h"
#include "model/ranges.h"
#include "stream/receive_buffer.h"

namespace halden::bench {

/// A recording driver as the read timer sees it, over reads in memory.
class Tick : private ByteSource {
 public:
  Tick(const NumberRules& rules, char separator, int columns)
      : parser_(store_, rules, ReceiveBuffer::kSize), rate_(store_, clock_), buffer_(parser_, rate_) {
    InitRanges(store_, rules);
    SetChannelsCount(store_, static_cast<std::int16_t>(columns));
    store_.Separator = separator;
    store_.ColumnsCount = static_cast<std::int16_t>(columns);
    store_.FormatKnown = true;
    std::vector<std::int16_t> channels;
    for (int i = 0; i < columns; ++i) channels.push_back(static_cast<std::int16_t>(i));
    SetInputChannels(store_, channels);
    store_.Busy = ResetBuffer(store_);
    rate_.Start();
    buffer_.Load();
  }

  /// One tick with these bytes. Its frames are dropped where they stand.
  void Take(const std::string& read) {
    read_ = &read;
    buffer_.ReadPort(*this, false);
    buffer_.ParseBuffer();
    store_.InputState.BufferEmpty = true;
    store_.InputState.ReadIndex = store_.InputState.WriteIndex % store_.InputState.AllocKadrs + 1;
  }

 private:
  std::int32_t RxQueueCount() override { return static_cast<std::int32_t>(read_->size()); }
  std::int32_t Read(void* buffer, std::int32_t count) override {
    std::memcpy(buffer, read_->data(), count);
    return count;
  }

  const std::string* read_ = nullptr;
  Store store_;
  VirtualClock clock_{1};
  LineParser parser_;
  RateMeter rate_;
  ReceiveBuffer buffer_;
};

}  // namespace halden::bench
