#include "model/frame_ring.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace halden {

namespace {

// In frames. A request that is too small falls back to the second, not to the first.
constexpr std::int32_t kLeastRequest = 1024;
constexpr std::int32_t kFallbackSize = 32768;
/// ENOMEM and its description. Written out because strerror follows the host's locale, and failures are
/// reported in English.
constexpr char kOutOfMemory[] = "Buffer Error 12: \r\nCannot allocate memory";

/// The frames that the host can read now. 0 if they were stored under another width: after a restart of the
/// driver the indexes still describe the last recording, but a frame is one code wide again.
std::int32_t FramesWaiting(const tInputState& state) {
  if (state.AllocChannels != state.InputCountChannels) return 0;
  if (state.WriteIndex == 0 || state.BufferEmpty) return 0;
  if (state.ReadIndex <= state.WriteIndex) return state.WriteIndex - state.ReadIndex + 1;
  // Wrapped, or full: from the oldest frame to the last slot, and from slot 1 to the newest.
  return state.AllocKadrs - state.ReadIndex + 1 + state.WriteIndex;
}

std::int32_t NextSlot(const tInputState& state, std::int32_t slot) {
  return slot < state.AllocKadrs ? slot + 1 : 1;
}

/// The first code of a slot.
std::int16_t* Slot(tInputState& state, std::int32_t slot) {
  return state.Kadrs.get() + static_cast<std::size_t>(slot - 1) * state.AllocChannels;
}

/// Leaves the ring drained, its indexes as if all frames had been read.
void DropFrames(tInputState& state) {
  if (FramesWaiting(state) > 0) state.ReadIndex = NextSlot(state, state.WriteIndex);
  state.BufferEmpty = true;
  state.InputCountKadrs = 0;
}

/// Copies the n oldest frames to `to` and removes them. At least n frames must wait. Two blocks at most: up
/// to the last slot, and on from slot 1.
void TakeFrames(tInputState& state, std::int32_t n, std::int16_t* to) {
  const bool all = n == FramesWaiting(state);
  while (n > 0) {
    const std::int32_t block = std::min(n, state.AllocKadrs - state.ReadIndex + 1);
    to = std::copy_n(Slot(state, state.ReadIndex), static_cast<std::size_t>(block) * state.AllocChannels, to);
    // The read index wraps where the block ends, so that it never names a slot after the last one. Without
    // the parentheses the sum would overflow at the last slot of the largest ring.
    state.ReadIndex = NextSlot(state, state.ReadIndex + (block - 1));
    n -= block;
  }
  // The indexes of a drained ring are those of a full one.
  if (all) state.BufferEmpty = true;
}

}  // namespace

void SetBufferSize(Store& store) {
  tInputState& state = store.InputState;
  // No mistake: with an empty table only the width changes, to 1, and the capacity in frames stays as it was.
  // The host can see both numbers, and its contract wants them so. Nothing is recorded under that shape,
  // because StartRecord refuses an empty table before it sizes the buffer.
  if (state.InputCountChannels < 1)
    state.InputCountChannels = 1;
  else
    state.InputSizeKadrs = state.RequestedSize >= kLeastRequest ? state.RequestedSize : kFallbackSize;
  state.InputSizeData = CodesOf(store, state.InputSizeKadrs);
}

bool AllocBuffer(Store& store) {
  tInputState& state = store.InputState;
  // As std::size_t, because the product may exceed 32 bits. calloc checks it for overflow.
  const std::size_t frames = state.InputSizeKadrs;
  const std::size_t channels = state.InputCountChannels;
  if (state.AllocChannels == state.InputCountChannels && state.AllocKadrs == state.InputSizeKadrs) {
    std::fill_n(state.Kadrs.get(), frames * channels, std::int16_t{0});
  } else {
    // The old block is released after this one is made: it must survive a failure.
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
  // While Busy, the storage has the width of the channel table: StartRecord allocated it, and neither can
  // change until the recording ends. resize allocates in the first pass of a recording only.
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
  // added_ is at most room_, so the wrapped index stays below ReadIndex. The sum is never formed across the
  // last slot, where it could overflow.
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
  // The same table again keeps the frames: a host may set it before every read.
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
  // InputCountChannels is at least 1 once an object exists. A negative DataSize has no room.
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
