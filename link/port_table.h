#pragma once

#include <cstdint>

#include "model/store.h"
#include "platform/comm_config.h"

namespace halden {

/// Gives a row the COM number and the names that follow from it. A number beyond 16 bits is none, which is 0.
void NamePort(tPortInfo& row, std::int32_t number);

/// Fills a row's Config and ConfigText with what the operating system has for the port of this Name: its
/// stored default, else what the port itself says under DevicePath. False: neither could be had, and the row
/// holds 9600,N,8,1.
bool GetPortConfig(CommConfigApi& system, tPortInfo& row);

/// Rebuilds ConfigText from Config, as "9600,N,8,1". Unknown codes show as N, 8 and 1.
void FormatPortConfig(tPortInfo& row);

/// The first row with this COM number; -1 if there is none. Rows never opened have number 0.
std::int16_t FindPort(const mPortText& table, std::int16_t port);

}  // namespace halden
