// The input chooses the host's calls and their arguments. Every result of the driver must match the model's.

#include "fuzz/choices.h"
#include "tests/host_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Choices choices(data, size);
  halden::HostModel<halden::Choices> host(choices);
  while (choices.Left()) {
    const std::string difference = host.Step();
    halden::Demand(difference.empty(), difference.c_str());
  }
  return 0;
}
