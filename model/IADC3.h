#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace halden {

/// Frames as IADC3::InputData hands them out: row 0 is the channel table, the rows behind it are frames.
struct FrameTable {
  std::int16_t Channels = 0;        ///< codes in a row
  std::vector<std::int16_t> Codes;  ///< row after row

  std::int32_t Rows() const { return Channels ? static_cast<std::int32_t>(Codes.size() / Channels) : 0; }
};

/// The contract between a data-acquisition host and its driver. Members come in the contract's order. A host
/// calls them on the thread that made the object; every member may be called in every state and never throws.
/// Strings are UTF-8, and every string and array is a copy that belongs to the host.
class IADC3 {
 public:
  virtual ~IADC3() = default;

  virtual std::string ADCName() noexcept = 0;
  /// Width of a code in bits.
  virtual std::uint8_t Resolution() noexcept = 0;
  /// Channels found on the device; 0 until detected.
  virtual std::int16_t ChannelsCount() noexcept = 0;
  /// Highest rate that the line can carry, frames per second. Means something once Test gave true.
  virtual float RateMax() noexcept = 0;
  /// The texts of the 15 ranges. A code reads back as code / ChannelUnitScale + ChannelUnitOffset.
  virtual std::vector<std::string> Ranges() noexcept = 0;
  virtual bool Detected() noexcept = 0;
  /// Finds the device: listens to every port in turn and asks the user when none speaks. May take seconds for
  /// each silent device and runs the message queue meanwhile. False: LastError may say why. True at once,
  /// with the device left alone, when a detection has succeeded before. Called again from inside a detection:
  /// false.
  virtual bool Test() noexcept = 0;
  /// COM number of the port in use; 0 until a detection has set it.
  virtual std::int16_t BasePort() noexcept = 0;
  /// A recording runs.
  virtual bool Busy() noexcept = 0;
  /// "Column1" for index 0; "" for a channel that doesn't exist.
  virtual std::string ChannelName(std::int16_t Index) noexcept = 0;
  /// Row of the range table chosen for the channel; 0 for one that doesn't exist.
  virtual std::int16_t ChannelRange(std::int16_t Index) noexcept = 0;
  /// Chooses a row, clamped to 0 to 14, from the next conversion on, also while recording. Nothing happens
  /// for a channel that doesn't exist. A detection puts all channels back on row 0.
  virtual void ChannelRange(std::int16_t Index, std::int16_t RangeIndex) noexcept = 0;
  /// Codes per unit; 0.0 for a channel that doesn't exist.
  virtual float ChannelUnitScale(std::int16_t Index) noexcept = 0;
  virtual float ChannelUnitOffset(std::int16_t Index) noexcept = 0;
  /// "" for every channel: a line of numbers names no units.
  virtual std::string ChannelUnitName(std::int16_t Index) noexcept = 0;
  /// Current rate, frames per second; measured from the stream after a detection by listening.
  virtual float Rate() noexcept = 0;
  /// Accepted and ignored: the device sets its pace.
  virtual void Rate(float sRate) noexcept = 0;
  /// Asks for room for NewSize frames (not codes) from the next sizing on, which InputChannels and
  /// StartRecord do. Below 1024 the capacity becomes 32768.
  virtual void InputSizeData(std::int32_t NewSize) noexcept = 0;
  /// Capacity in codes.
  virtual std::int32_t InputSizeData() noexcept = 0;
  /// Codes waiting.
  virtual std::int32_t InputCountData() noexcept = 0;
  /// Capacity in frames.
  virtual std::int32_t InputSizeKadrs() noexcept = 0;
  /// Frames waiting.
  virtual std::int32_t InputCountKadrs() noexcept = 0;
  /// Codes in a frame.
  virtual std::int16_t InputCountChannels() noexcept = 0;
  virtual std::vector<std::int16_t> InputChannels() noexcept = 0;
  /// The channels of a frame, in order; one may repeat, and one that doesn't exist records 0. Ignored while
  /// Busy. Frames of an earlier recording that still wait are dropped if the table changes, because they were
  /// stored under the old one. An empty table is taken, and StartRecord then refuses; a table of more than
  /// 32767 entries is ignored.
  virtual void InputChannels(const std::vector<std::int16_t>& ChTable) noexcept = 0;
  /// The channel's code from its last parsed value; 0 for a channel that doesn't exist.
  virtual std::int16_t GetChannel(std::int16_t Index) noexcept = 0;
  /// The codes of the channel table from the last parsed values: those that a frame stored now would hold.
  virtual std::vector<std::int16_t> GetKadr() noexcept = 0;
  /// Starts storing a frame for each line. Discards frames that still wait. False: Busy already, and nothing
  /// changes; or LastError says why, and those frames go on waiting. May be called before Test: no frame then
  /// comes until a detection.
  virtual bool StartRecord() noexcept = 0;
  /// Stops storing and holds the thread for 50 ms. Frames stay readable until the next StartRecord.
  virtual void StopRecord() noexcept = 0;
  /// Takes all waiting frames, oldest first, behind a row 0 that holds the channel table (-1 for an empty
  /// one). Without memory for them the result is empty, Rows() 0, and the frames go on waiting.
  virtual FrameTable InputData() noexcept = 0;
  /// Takes whole frames into the host's own buffer. Data: its first code. DataSize: on entry the room there
  /// in codes, on return the codes delivered. InputCountData: on return the codes still waiting. The result
  /// is the number of frames delivered; never blocks.
  virtual std::int32_t GetData(std::int16_t* Data, std::int32_t& DataSize,
                               std::int32_t& InputCountData) noexcept = 0;
  /// Text of the last failure of Test or StartRecord, in English; StartRecord clears it.
  virtual std::string LastError() noexcept = 0;
  /// Shows the monitor window until the user closes it; not while Busy. Always false.
  virtual bool ShowSetting() noexcept = 0;
  /// The object itself.
  virtual std::shared_ptr<IADC3> Parent() noexcept = 0;
};

}  // namespace halden
