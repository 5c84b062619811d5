#pragma once

#include <cstdint>

#include "model/store.h"
#include "platform/comm_config.h"

namespace halden {

/// Sets a row's Number, Name and DevicePath. For example 5, "COM5" and "\\.\COM5". A number that doesn't fit
/// into 16 bits becomes 0, which no port has.
void NamePort(tPortInfo& row, std::int32_t number);

/// Fills a named row's Config and ConfigText with the line settings that the operating system has for the
/// port: its stored default, or else the settings that the port is using. False if neither could be read. The
/// row then shows the fallback 9600,N,8,1, which must not be applied to the device. Throws std::bad_alloc.
bool GetPortConfig(CommConfigApi& system, tPortInfo& row);

/// Rebuilds ConfigText from Config, for display only: bits per second, parity, data bits and stop bits, as in
/// "9600,N,8,1". Unknown codes show as N, 8 and 1.
void FormatPortConfig(tPortInfo& row);

/// The first row with this COM number; -1 if there is none. Rows whose device was never opened have number 0.
std::int16_t FindPort(const mPortText& table, std::int16_t port);

}  // namespace halden
