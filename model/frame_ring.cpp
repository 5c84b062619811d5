#include "model/frame_ring.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace halden {

namespace {

constexpr std::int32_t kLeastRequest = 1024;
constexpr std::int32_t kFallbackSize = 32768;
/// The C library's number and sentence, in English whatever locale the host has set.
constexpr char kOutOfMemory[] = "Buffer Error 12: \r\nCannot allocate memory";

/// None where a fresh start of the driver has changed the width under frames that were left over.
std::int32_t FramesWaiting(const tInputState& state) {
  if (state.AllocChannels != state.InputCountChannels) return 0;
  if (state.WriteIndex == 0 || state.BufferEmpty) return 0;
  if (state.ReadIndex <= state.WriteIndex) return state.WriteIndex - state.ReadIndex + 1;
  return state.AllocKadrs - state.ReadIndex + 1 + state.WriteIndex;
}

std::int32_t NextSlot(const tInputState& state, std::int32_t slot) {
  return slot < state.AllocKadrs ? slot + 1 : 1;
}

std::int16_t* Slot(tInputState& state, std::int32_t slot) {
  return state.Kadrs.get() + static_cast<std::size_t>(slot - 1) * state.AllocChannels;
}

void DropFrames(tInputState& state) {
  if (FramesWaiting(state) > 0) state.ReadIndex = NextSlot(state, state.WriteIndex);
  state.BufferEmpty = true;
  state.InputCountKadrs = 0;
}

/// Takes the n oldest frames, which must wait: at most two blocks.
void TakeFrames(tInputState& state, std::int32_t n, std::int16_t* to) {
  const bool all = n == FramesWaiting(state);
  while (n > 0) {
    const std::int32_t block = std::min(n, state.AllocKadrs - state.ReadIndex + 1);
    to = std::copy_n(Slot(state, state.ReadIndex), static_cast<std::size_t>(block) * state.AllocChannels, to);
    state.ReadIndex = NextSlot(state, state.ReadIndex + block - 1);
    n -= block;
  }
  if (all) state.BufferEmpty = true;
}

}  // namespace

void SetBufferSize(Store& store) {
  tInputState& state = store.InputState;
  if (state.InputCountChannels < 1)
    state.InputCountChannels = 1;
  else
    state.InputSizeKadrs = state.RequestedSize >= kLeastRequest ? state.RequestedSize : kFallbackSize;
  state.InputSizeData = CodesOf(store, state.InputSizeKadrs);
}

bool AllocBuffer(Store& store) {
  tInputState& state = store.InputState;
  const std::size_t frames = state.InputSizeKadrs;
  const std::size_t channels = state.InputCountChannels;
  if (state.AllocChannels == state.InputCountChannels && state.AllocKadrs == state.InputSizeKadrs) {
    std::fill_n(state.Kadrs.get(), frames * channels, std::int16_t{0});
  } else {
    void* fresh = std::calloc(frames, channels * sizeof(std::int16_t));
    if (!fresh) {
      store.ADCState.LastError = kOutOfMemory;
      return false;
    }
    state.Kadrs.reset(static_cast<std::int16_t*>(fresh));
    state.AllocChannels = state.InputCountChannels;
    state.AllocKadrs = state.InputSizeKadrs;
  }
  state.InputCountKadrs = 0;
  state.ReadIndex = 1;
  state.WriteIndex = 0;
  state.BufferEmpty = true;
  return true;
}

bool ResetBuffer(Store& store) {
  SetBufferSize(store);
  return AllocBuffer(store);
}

std::int32_t CountKadrs(Store& store) {
  store.InputState.InputCountKadrs = FramesWaiting(store.InputState);
  return store.InputState.InputCountKadrs;
}

void FrameWriter::Begin() {
  const tInputState& state = store_.InputState;
  room_ = 0;
  added_ = 0;
  if (!store_.Busy) return;
  positions_.resize(state.InputCountChannels);
  for (std::size_t i = 0; i < positions_.size(); ++i)
    positions_[i] = ConversionOf(store_, ChannelAt(store_, static_cast<std::int32_t>(i)));
  room_ = state.AllocKadrs - CountKadrs(store_);
  const std::size_t width = state.AllocChannels;
  next_ = state.Kadrs.get() + state.WriteIndex * width;
  end_ = state.Kadrs.get() + state.AllocKadrs * width;
}

void FrameWriter::End() {
  room_ = 0;
  if (added_ == 0) return;
  tInputState& state = store_.InputState;
  const std::int32_t to_last_slot = state.AllocKadrs - state.WriteIndex;
  state.WriteIndex = added_ <= to_last_slot ? state.WriteIndex + added_ : added_ - to_last_slot;
  state.BufferEmpty = false;
  CountKadrs(store_);
  added_ = 0;
}

void SetInputChannels(Store& store, const std::vector<std::int16_t>& ChTable) {
  if (store.Busy) return;
  if (ChTable.size() > static_cast<std::size_t>(std::numeric_limits<std::int16_t>::max())) return;
  tInputState& state = store.InputState;
  if (ChTable != state.InputChannels) {
    state.InputChannels = ChTable;
    DropFrames(state);
  }
  state.InputCountChannels = static_cast<std::int16_t>(ChTable.size());
  SetBufferSize(store);
}

FrameTable InputData(Store& store) {
  tInputState& state = store.InputState;
  const std::int32_t frames = FramesWaiting(state);
  FrameTable table;
  table.Channels = state.InputCountChannels;
  table.Codes.resize((static_cast<std::size_t>(frames) + 1) * table.Channels);
  for (std::int32_t i = 0; i < table.Channels; ++i) table.Codes[i] = ChannelAt(store, i);
  if (frames > 0) {
    TakeFrames(state, frames, table.Codes.data() + table.Channels);
    state.InputCountKadrs = 0;
  }
  return table;
}

std::int32_t GetData(Store& store, std::int16_t* Data, std::int32_t& DataSize, std::int32_t& InputCountData) {
  tInputState& state = store.InputState;
  const std::int32_t room = Data ? DataSize / state.InputCountChannels : 0;
  const std::int32_t frames = std::clamp(room, 0, FramesWaiting(state));
  if (frames > 0) TakeFrames(state, frames, Data);
  DataSize = frames * state.InputCountChannels;
  InputCountData = CodesOf(store, CountKadrs(store));
  return frames;
}

std::int32_t CodesOf(const Store& store, std::int32_t frames) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int64_t codes = std::int64_t{frames} * store.InputState.InputCountChannels;
  return static_cast<std::int32_t>(std::min(codes, kMost));
}

}  // namespace halden
