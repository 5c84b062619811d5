#pragma once

#include <cstdint>

#include "model/store.h"
#include "platform/comm_config.h"

namespace halden {

/// Sets a row's Number, Name and DevicePath: 5, "COM5", "\\.\COM5". A number that doesn't fit 16 bits becomes
/// 0, which no port has.
void NamePort(tPortInfo& row, std::int32_t number);

/// Reads the line settings that the operating system has for a named row into Config and ConfigText: the
/// stored default of the port, or else the settings that the port itself is using. False: neither could be
/// read, and the row holds the fallback 9600,N,8,1, which must not be applied to the device.
bool GetPortConfig(CommConfigApi& system, tPortInfo& row);

/// Rebuilds ConfigText from Config, for display only: bits per second, parity, data bits and stop bits, as in
/// "9600,N,8,1". Unknown codes show as N, 8 and 1.
void FormatPortConfig(tPortInfo& row);

/// The first row with this COM number; -1 if there is none. Rows whose device was never opened have number 0.
std::int16_t FindPort(const mPortText& table, std::int16_t port);

}  // namespace halden
