#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/comm_config.h"

namespace halden {

/// What the driver is and what its channels are. Once a detection has succeeded, ChannelRange and
/// mPortText::ChannelValues have ChannelsCount entries each.
struct tADCState {
  std::string DriverName;           ///< caption of the monitor window; set once, with the settings key
  std::string ADCName;              ///< name that the host sees, and last part of the settings key
  std::uint8_t Resolution = 0;      ///< width of a code in bits
  std::int16_t RangesCount = 0;     ///< rows of the three tables that follow
  std::vector<std::string> Ranges;  ///< display text of each row, ANSI
  std::vector<float> UnitScale;     ///< codes per unit, for each row
  std::vector<float> UnitOffset;    ///< units, for each row
  /// 0: not detected. Every lookup by channel compares with this count first, so 0 alone makes all channels
  /// answer as missing, whatever the tables still hold.
  std::int16_t ChannelsCount = 0;
  std::vector<std::int16_t> ChannelRange;  ///< row of each channel, 0 to RangesCount - 1
  std::string LastError;                   ///< text of the last failure, in English
};

/// Releases a block of the C allocator.
struct FreeMemory {
  void operator()(void* block) const { std::free(block); }
};

/// What the host has asked for, the rates, and the ring of frames. model/frame_ring.h explains the indexes.
struct tInputState {
  /// The channel table: the channel number at each position of a frame. Numbers may repeat, and may name
  /// channels that don't exist.
  std::vector<std::int16_t> InputChannels;
  std::int16_t InputCountChannels = 0;  ///< codes in a frame; at least 1 as soon as an object exists
  float RateMax = 0;                    ///< frames per second
  float Rate = 0;                       ///< frames per second
  std::int32_t RequestedSize = 0;       ///< capacity that the host asked for, frames
  std::int32_t InputSizeData = 0;       ///< capacity of the next recording, codes
  std::int32_t InputSizeKadrs = 0;      ///< capacity of the next recording, frames
  std::int32_t ReadIndex = 0;           ///< slot of the next frame to read, from 1
  std::int32_t WriteIndex = 0;          ///< slot of the last frame written; 0: none since the allocation
  std::int32_t InputCountKadrs = 0;     ///< frames waiting, as of the last count
  bool BufferEmpty = false;             ///< distinguishes a drained ring from a full one
  /// Frame after frame, slot 1 first, AllocChannels codes each. From the C allocator: the pages of a large
  /// calloc cost nothing until a frame is stored in them.
  std::unique_ptr<std::int16_t[], FreeMemory> Kadrs;
  std::int32_t AllocChannels = 0;  ///< codes in a frame of Kadrs
  std::int32_t AllocKadrs = 0;     ///< slots in Kadrs
};

/// The state that is not about ports and text.
struct mTypes3 {
  tADCState ADCState;
  tInputState InputState;
  std::string SettingsKey;         ///< registry path of the driver's settings
  std::int32_t InstanceCount = 0;  ///< live Halden_Text objects
  bool Busy = false;               ///< recording: every line that is parsed makes a frame
};

/// One device of the device list and its port. The row's index is the device's place in the list.
struct tPortInfo {
  std::int16_t Number = 0;  ///< COM number; 0: not opened yet, or beyond 16 bits; -1: the device has none
  std::string Name;         ///< "COM" and the number; empty until the device has been opened
  std::string DevicePath;   ///< opens the port itself, to ask for its line settings: "\\.\" and the name
  std::string ConfigText;   ///< the line settings as text, such as "9600,N,8,1"
  CommConfig Config;
};

/// The ports, and how the lines of the device in use are read.
struct mPortText {
  std::vector<tPortInfo> PortTable;
  std::int16_t PortCount = 0;
  std::int16_t BasePort = 0;  ///< COM number of the port in use; 0 at start
  std::string DeviceName;     ///< chip type of the device in use
  std::string DeviceSerial;

  bool FormatKnown = false;       ///< a line has been analysed; never goes back to false
  std::int16_t ColumnsCount = 0;  ///< columns of the last non-empty line analysed
  std::string Separator;          ///< of that line: one character, or empty for one value a line

  std::vector<float> ChannelValues;  ///< last value parsed for each channel
};

/// All state of one driver. The host's objects hold nothing themselves and share this. It outlives them, so
/// that an object made after the last one was released still finds the port table and unread frames.
struct Store : mTypes3, mPortText {};

}  // namespace halden
