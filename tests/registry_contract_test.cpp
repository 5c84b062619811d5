#include "tests/registry_contract.h"

#include "tests/registry_backends.h"

namespace halden {
namespace {

struct ScratchFileRegistry : private ScratchDirectory, public FileRegistry {
  explicit ScratchFileRegistry(const NumberRules& rules) : FileRegistry(*this / "new/r.reg", rules) {}
};

template <class Registry>
std::unique_ptr<RegistryApi> Make(const NumberRules& rules) {
  return std::make_unique<Registry>(rules);
}

INSTANTIATE_TEST_SUITE_P(Backends, RegistryContract,
                         testing::Values(RegistryBackend{"Memory", Make<MemoryRegistry>},
                                         RegistryBackend{"File", Make<ScratchFileRegistry>}),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace halden
