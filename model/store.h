#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/comm_config.h"

namespace halden {

/// What the driver is and what its channels are.
struct tADCState {
  std::string DriverName;           ///< name in the monitor window's caption; set once
  std::string ADCName;              ///< name towards the host and last part of the settings key
  std::uint8_t Resolution = 0;      ///< bits of a code
  std::int16_t RangesCount = 0;     ///< rows of the range table
  std::vector<std::string> Ranges;  ///< display text of each row, ANSI
  std::vector<float> UnitScale;
  std::vector<float> UnitOffset;
  std::int16_t ChannelsCount = 0;          ///< 0: not detected; every channel lookup tests against it first
  std::vector<std::int16_t> ChannelRange;  ///< row of each channel, 0 to RangesCount - 1
  std::string LastError;                   ///< text of the last failure
};

struct FreeMemory {
  void operator()(void* block) const { std::free(block); }
};

/// What the host has asked for, the rate pair and the ring of frames.
struct tInputState {
  /// Position in a frame to channel number; may name none that exists.
  std::vector<std::int16_t> InputChannels;
  std::int16_t InputCountChannels = 0;  ///< codes in a frame
  float RateMax = 0;                    ///< frames per second
  float Rate = 0;                       ///< frames per second
  std::int32_t RequestedSize = 0;       ///< frames
  std::int32_t InputSizeData = 0;       ///< capacity in codes
  std::int32_t InputSizeKadrs = 0;      ///< capacity in frames
  std::int32_t ReadIndex = 0;           ///< slot of the next frame to read, from 1
  std::int32_t WriteIndex = 0;          ///< slot of the last frame written; 0: none since the allocation
  std::int32_t InputCountKadrs = 0;     ///< frames waiting, as of the last count
  bool BufferEmpty = false;             ///< tells a drained ring from a full one
  /// Frame after frame, slot 1 first, AllocChannels codes each. From the C allocator, whose zeroed pages cost
  /// nothing until a frame is stored in them.
  std::unique_ptr<std::int16_t[], FreeMemory> Kadrs;
  std::int32_t AllocChannels = 0;  ///< codes in a frame of Kadrs
  std::int32_t AllocKadrs = 0;     ///< slots in Kadrs
};

struct mTypes3 {
  tADCState ADCState;
  tInputState InputState;
  std::string SettingsKey;         ///< registry path of the driver's settings
  std::int32_t InstanceCount = 0;  ///< live Halden_Text objects
  bool Busy = false;               ///< a recording runs: every parsed line makes a frame
};

/// One device of the device list and the port behind it. A row's index is the device's place in the list.
struct tPortInfo {
  std::int16_t Number = 0;  ///< COM number; 0: not opened yet, or beyond 16 bits; -1: the device has none
  std::string Name;         ///< "COM" and the number; empty until the device has been opened
  std::string DevicePath;   ///< what asks the port itself for its settings: "\\.\" and the name
  std::string ConfigText;   ///< the line settings as text, "9600,N,8,1"
  CommConfig Config;
};

struct mPortText {
  std::vector<tPortInfo> PortTable;
  std::int16_t PortCount = 0;
  std::int16_t BasePort = 0;  ///< COM number of the port in use; 0 at start
  std::string DeviceName;     ///< chip type of the device in use
  std::string DeviceSerial;

  bool FormatKnown = false;       ///< a line has been analysed; never goes back to false
  std::int16_t ColumnsCount = 0;  ///< columns of the last non-empty line analysed
  std::string Separator;          ///< of that line: 0 or 1 characters; empty: one value a line

  std::vector<float> ChannelValues;  ///< last value parsed for each channel
};

/// All state of one driver. Driver objects are faces on it and hold nothing of their own; it outlives them.
struct Store : mTypes3, mPortText {};

}  // namespace halden
