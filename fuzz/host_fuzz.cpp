// Calls of a host in any order, with any arguments: all answers are those of the model.

#include "fuzz/choices.h"
#include "tests/host_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Choices choices(data, size);
  halden::HostModel<halden::Choices> host(choices);
  while (choices.Left()) {
    const std::string wrong = host.Step();
    halden::Demand(wrong.empty(), wrong.c_str());
  }
  return 0;
}
