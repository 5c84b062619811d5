#pragma once

#include <cstdint>
#include <string>

#include "bench/streams.h"

namespace halden::bench {

/// The least that any program must do for a line: find its CR, split it at ";", read each number with
/// std::from_chars, scale, round and store it. Gives the codes stored to `codes`, which has room for them.
std::int16_t* BareLoop(const std::string& read, std::int16_t* codes);

// The same numbers by other means of the language, added up. `read` must end with a NUL behind its last byte.
float SumByStrtof(const std::string& read);
float SumBySscanf(const std::string& read);
float SumByIstringstream(const std::string& read);

}  // namespace halden::bench
