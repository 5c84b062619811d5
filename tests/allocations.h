#pragma once

#include <cstdint>

namespace halden {

/// How often operator new has been called in this program so far.
std::uint64_t AllocationCount();

}  // namespace halden
