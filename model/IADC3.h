#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace halden {

/// What IADC3::InputData returns. Row 0 is the channel table, the other rows are frames, oldest first.
struct FrameTable {
  std::int16_t Channels = 0;        ///< codes in a row
  std::vector<std::int16_t> Codes;  ///< row after row

  std::int32_t Rows() const { return Channels ? static_cast<std::int32_t>(Codes.size() / Channels) : 0; }
};

/// The contract between a data-acquisition host and its driver. The members are in the contract's order. All
/// must be called on the thread that made the object. Every member may be called in every state, and none
/// throws. Strings are UTF-8. Every string and array is a copy that belongs to the host.
///
/// A usual run: Test, InputChannels, StartRecord, then GetData again and again, StopRecord.
class IADC3 {
 public:
  virtual ~IADC3() = default;

  virtual std::string ADCName() noexcept = 0;
  /// Width of a code in bits.
  virtual std::uint8_t Resolution() noexcept = 0;
  /// Channels found on the device; 0 until detected.
  virtual std::int16_t ChannelsCount() noexcept = 0;
  /// The highest rate that the device's line settings allow, frames per second. Valid once Test returned
  /// true.
  virtual float RateMax() noexcept = 0;
  /// The texts of the 15 ranges, such as "±10" or "Int 8-bit". A code reads back as
  /// code / ChannelUnitScale + ChannelUnitOffset.
  virtual std::vector<std::string> Ranges() noexcept = 0;
  virtual bool Detected() noexcept = 0;
  /// Finds the device: listens to every port in turn, and asks the user if none sends lines of numbers. May
  /// take seconds for each silent device, and serves the thread's message queue meanwhile. True immediately,
  /// without touching the device, if an earlier call has found it. False if there is no device or the user
  /// cancels, with the reason in LastError where there is one, and when called from inside a running Test.
  virtual bool Test() noexcept = 0;
  /// COM number of the port in use; 0 until a detection has set it.
  virtual std::int16_t BasePort() noexcept = 0;
  /// True while a recording runs.
  virtual bool Busy() noexcept = 0;
  /// "Column1" for index 0; "" for a channel that doesn't exist.
  virtual std::string ChannelName(std::int16_t Index) noexcept = 0;
  /// Row of the range table chosen for the channel; 0 for one that doesn't exist.
  virtual std::int16_t ChannelRange(std::int16_t Index) noexcept = 0;
  /// Puts a channel on a row, clamped to 0 to 14. Takes effect with the next conversion, also while
  /// recording. Ignored for a channel that doesn't exist. A detection puts all channels back on row 0.
  virtual void ChannelRange(std::int16_t Index, std::int16_t RangeIndex) noexcept = 0;
  /// Codes per unit; 0.0 for a channel that doesn't exist.
  virtual float ChannelUnitScale(std::int16_t Index) noexcept = 0;
  /// Units; 0.0 for a channel that doesn't exist.
  virtual float ChannelUnitOffset(std::int16_t Index) noexcept = 0;
  /// "" for every channel: the device's lines don't name units.
  virtual std::string ChannelUnitName(std::int16_t Index) noexcept = 0;
  /// The current rate, frames per second. Measured from the stream if the device was found by listening;
  /// otherwise what the user gave.
  virtual float Rate() noexcept = 0;
  /// Accepted and ignored: the device sets the pace.
  virtual void Rate(float sRate) noexcept = 0;
  /// Requests a capacity of NewSize frames (not codes). The next call of InputChannels or StartRecord applies
  /// it. Below 1024 the capacity becomes 32768.
  virtual void InputSizeData(std::int32_t NewSize) noexcept = 0;
  /// Capacity in codes.
  virtual std::int32_t InputSizeData() noexcept = 0;
  /// Codes that wait to be read.
  virtual std::int32_t InputCountData() noexcept = 0;
  /// Capacity in frames.
  virtual std::int32_t InputSizeKadrs() noexcept = 0;
  /// Frames that wait to be read.
  virtual std::int32_t InputCountKadrs() noexcept = 0;
  /// Codes in a frame.
  virtual std::int16_t InputCountChannels() noexcept = 0;
  /// The channel table.
  virtual std::vector<std::int16_t> InputChannels() noexcept = 0;
  /// Sets the channels of a frame, in order. A channel may repeat; one that doesn't exist records 0. Ignored
  /// while Busy, and for a table of more than 32767 entries. If the table changes, frames of an earlier
  /// recording that still wait are dropped, because they were stored under the old one. With an empty table
  /// StartRecord refuses.
  virtual void InputChannels(const std::vector<std::int16_t>& ChTable) noexcept = 0;
  /// The channel's code from its last parsed value; 0 for a channel that doesn't exist.
  virtual std::int16_t GetChannel(std::int16_t Index) noexcept = 0;
  /// The codes that a frame stored now would hold: those of the channel table, from the last parsed values.
  virtual std::vector<std::int16_t> GetKadr() noexcept = 0;
  /// Starts to store a frame for each line, and discards frames that still wait. False while Busy, without
  /// any change. Otherwise false with the reason in LastError, and the frames still wait. May be called
  /// before Test: frames then arrive once a detection has found the device.
  virtual bool StartRecord() noexcept = 0;
  /// Stops storing, and holds the thread for 50 ms. Frames stay readable until the next StartRecord.
  virtual void StopRecord() noexcept = 0;
  /// Takes all frames that wait, oldest first, after a row 0 that holds the channel table (-1 if that is
  /// empty). If there is no memory for them, the result has no rows at all and the frames still wait.
  virtual FrameTable InputData() noexcept = 0;
  /// Takes whole frames, oldest first, into the host's own buffer. Never blocks.
  /// Data: the first code of the buffer. Null takes nothing.
  /// DataSize: on entry the room there in codes, on return the codes delivered.
  /// InputCountData: on return the codes that still wait.
  /// Returns the number of frames delivered. For example, with 3 channels and room for 7 codes at most 2
  /// frames are taken, and DataSize is then 6.
  virtual std::int32_t GetData(std::int16_t* Data, std::int32_t& DataSize,
                               std::int32_t& InputCountData) noexcept = 0;
  /// The text of the last failure of Test or StartRecord, in English. StartRecord clears it.
  virtual std::string LastError() noexcept = 0;
  /// Shows the monitor window and returns when the user has closed it. Does nothing while Busy. Always false.
  virtual bool ShowSetting() noexcept = 0;
  /// The object itself.
  virtual std::shared_ptr<IADC3> Parent() noexcept = 0;
};

}  // namespace halden
