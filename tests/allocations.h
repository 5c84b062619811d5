#pragma once

#include <cstdint>

namespace halden {

/// Blocks of operator new that are in use.
std::int64_t LiveAllocations();

/// Lets allocations of this thread fail, those of the C library that the driver makes itself too: the one
/// with the number `first`, from 1, and with `all` those behind it. 0: none.
void FailAllocations(int first, bool all = false);
/// Whether one has failed since then.
bool AllocationFailed();

/// No allocation fails, and none counts, as long as one of these lives.
struct AllocationPause {
  AllocationPause();
  ~AllocationPause();
};

}  // namespace halden
