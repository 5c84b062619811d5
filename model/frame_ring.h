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

/// Stores frames, and looks up what each position of them holds only once for many.
class KadrWriter {
 public:
  explicit KadrWriter(Store& store) : store_(store) {}

  /// To be called before the first AddBufferKadr, and again where the host may have changed the channel table
  /// or a range since, or a detection the channels. Throws std::bad_alloc.
  void LookUp();
  /// Stores one frame from the last parsed values. A full ring loses the new frame and keeps the old ones.
  /// Does nothing without storage, or with storage of another width than the channel table's.
  void AddBufferKadr();

 private:
  Store& store_;
  std::vector<Conversion> positions_;
};

/// Takes a new channel table and sizes the buffer; nothing while Busy. Frames that wait are dropped if the
/// table differs from the one they were stored under. A table of more than 32767 entries is ignored.
void SetInputChannels(Store& store, const std::vector<std::int16_t>& ChTable);

/// Takes all waiting frames behind a row 0 that holds the channel table. Throws std::bad_alloc with nothing
/// taken.
KadrTable InputData(Store& store);

/// Takes whole frames, at most DataSize codes, to Data. See IADC3::GetData. Data may be null only if it is to
/// receive nothing; a null Data delivers nothing.
std::int32_t GetData(Store& store, std::int16_t* Data, std::int32_t& DataSize, std::int32_t& InputCountData);

/// Codes of `frames` frames of the channel table's width, saturated.
std::int32_t CodesOf(const Store& store, std::int32_t frames);

}  // namespace halden
