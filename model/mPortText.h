#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/comm_config.h"

namespace halden {

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

}  // namespace halden
