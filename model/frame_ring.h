#pragma once

#include <cstdint>
#include <vector>

#include "model/IADC3.h"
#include "model/ranges.h"
#include "model/store.h"

namespace halden {

// The ring of frames between the decoded lines and the host's reads.
//
// Slots count from 1. ReadIndex (R) is the slot of the oldest frame, WriteIndex (W) that of the newest. In a
// ring of 8 slots, where x is a frame that waits:
//
//   slot      1 2 3 4 5 6 7 8
//   fresh     . . . . . . . .   R = 1, W = 0, BufferEmpty
//   no wrap   . . x x x . . .   R = 3, W = 5
//   wrapped   x x . . . x x x   R = 6, W = 2
//   full      x x x x x x x x   R = 4, W = 3
//   drained   . . . . . . . .   R = 4, W = 3, BufferEmpty
//
// A full ring and a drained one have the same pair of indexes. Only BufferEmpty distinguishes them.
//
// The host may ask for another capacity or channel table while frames wait. InputSizeKadrs and
// InputCountChannels then have the new shape, and the storage keeps the old one until AllocBuffer. Counting
// and reading therefore use AllocKadrs and AllocChannels, or they would leave the storage.

/// Computes the capacity from RequestedSize and the channel table. The storage stays until AllocBuffer. The
/// capacity in codes saturates at INT32_MAX.
void SetBufferSize(Store& store);

/// Allocates zeroed storage of the computed capacity, or clears the old storage if its shape is the same, and
/// empties the ring. Returns false with the reason in LastError if there is no memory. The storage of an
/// earlier recording then stays, and its frames stay readable.
bool AllocBuffer(Store& store);

/// SetBufferSize and AllocBuffer.
bool ResetBuffer(Store& store);

/// Counts the frames that wait, stores the count in InputCountKadrs and returns it.
std::int32_t CountKadrs(Store& store);

/// Stores the frames of one pass over the receive buffer, one for each line. Begin looks up what a frame
/// holds and where it goes, AddBufferKadr only converts and writes, and End makes the frames visible in the
/// store. The store's indexes don't move in between, because nothing of the host runs within a pass.
///
/// A pass over a ring of 8 slots with R = 5 and W = 7, after the frames a, b and c:
///
///   slot   1 2 3 4 5 6 7 8          room_ = 5, added_ = 3
///          b c . . x x x a
///              ^ next_     ^ end_   After frame a, next_ was equal to end_.
///
/// The ring is full when added_ reaches room_. Both are 0 outside a pass, and in one that stores nothing
/// because the driver isn't Busy: a single comparison then covers all reasons not to store.
class FrameWriter {
 public:
  explicit FrameWriter(Store& store) : store_(store) {}

  /// Begins a pass. Frames are stored in it if the driver is Busy now. Throws std::bad_alloc.
  void Begin();
  /// Stores one frame of the last parsed values. If the ring is full, the new frame is lost and the old ones
  /// stay. Allocates nothing.
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
  std::vector<Conversion> positions_;  // one for each position of the channel table
  std::int32_t room_ = 0;              // frames that fitted when the pass began
  std::int32_t added_ = 0;             // frames written since then
  std::int16_t* next_ = nullptr;       // where the next frame goes; end_: to slot 1
  std::int16_t* end_ = nullptr;        // just past the last slot
};

/// Sets the channel table and computes the capacity. Ignored while Busy, and for a table of more than 32767
/// entries. If the table changes, the frames that wait are dropped. Throws std::bad_alloc with the store
/// unchanged.
void SetInputChannels(Store& store, const std::vector<std::int16_t>& ChTable);

/// Takes all frames that wait, after a row 0 that holds the channel table. Throws std::bad_alloc with nothing
/// taken.
FrameTable InputData(Store& store);

/// Takes whole frames, at most DataSize codes, to Data; see IADC3::GetData. Takes none if Data is null.
std::int32_t GetData(Store& store, std::int16_t* Data, std::int32_t& DataSize, std::int32_t& InputCountData);

/// The codes in `frames` frames of the channel table's width, at most INT32_MAX.
std::int32_t CodesOf(const Store& store, std::int32_t frames);

}  // namespace halden
