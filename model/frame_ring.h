#pragma once

#include <cstdint>
#include <vector>

#include "model/IADC3.h"
#include "model/ranges.h"
#include "model/store.h"

namespace halden {

// The ring of frames between the decoded lines and the host's reads. Slots count from 1. What waits was
// stored under the allocated shape, and every count and read goes by that shape, so a capacity asked for
// meanwhile can't send a read outside the storage.

/// Works out the capacity from RequestedSize and the channel table. The storage waits for AllocBuffer. The
/// capacity in codes saturates at the largest 32-bit number.
void SetBufferSize(Store& store);

/// Storage of the current shape, zeroed, and an empty ring. False, with the reason in LastError, if there is
/// no memory for it; then the storage of an earlier recording stays, and its frames stay readable.
bool AllocBuffer(Store& store);

/// SetBufferSize and AllocBuffer.
bool ResetBuffer(Store& store);

/// Frames waiting; also stores them in InputCountKadrs.
std::int32_t CountKadrs(Store& store);

/// Stores the frames of one pass over the receive buffer. What a frame holds is looked up once, and the ring
/// shows the frames at the end: within a pass nobody can look.
class FrameWriter {
 public:
  explicit FrameWriter(Store& store) : store_(store) {}

  /// Begins a pass, in which frames are stored if the driver is Busy. Throws std::bad_alloc.
  void Begin();
  /// Stores one frame from the last parsed values. A full ring loses the new frame and keeps the old ones.
  /// Does nothing outside such a pass or without storage.
  void AddBufferKadr() {
    if (added_ == room_) return;
    ++added_;
    if (next_ == end_) next_ = store_.InputState.Kadrs.get();
    const float* const values = store_.ChannelValues.data();
    std::int16_t* code = next_;
    for (const Conversion& position : positions_) *code++ = position.CodeOf(values);
    next_ = code;
  }
  /// Ends a pass: the host sees its frames.
  void End();

 private:
  Store& store_;
  std::vector<Conversion> positions_;
  std::int32_t room_ = 0;         // frames that fitted at the beginning
  std::int32_t added_ = 0;        // frames since then
  std::int16_t* next_ = nullptr;  // the slot behind the last one written
  std::int16_t* end_ = nullptr;   // of the storage
};

/// Takes a new channel table and sizes the buffer; nothing while Busy. Frames that wait are dropped if the
/// table changes. A table of more than 32767 entries is ignored.
void SetInputChannels(Store& store, const std::vector<std::int16_t>& ChTable);

/// Takes all waiting frames behind a row 0 that holds the channel table. Throws std::bad_alloc with nothing
/// taken.
FrameTable InputData(Store& store);

/// Takes whole frames, at most DataSize codes, to Data. See IADC3::GetData. A null Data takes nothing.
std::int32_t GetData(Store& store, std::int16_t* Data, std::int32_t& DataSize, std::int32_t& InputCountData);

/// Codes of `frames` frames of the channel table's width, saturated.
std::int32_t CodesOf(const Store& store, std::int32_t frames);

}  // namespace halden
