#include <gtest/gtest.h>

#include "platform/linux/kernel_device.h"
#include "platform/machine.h"
#include "tests/device_contract.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

struct RealKernel {
  ScratchDirectory files;
  std::string error;
  std::unique_ptr<Machine> machine =
      OpenMachine({.devices = {"linux"}, .registry_file = files / "my.reg"}, &error);
};

/// They send back what they are sent.
DevicesUnderTest RealDevices() {
  auto kernel = std::make_shared<RealKernel>();
  Platform& platform = kernel->machine->platform();
  return {kernel, platform,
          [&library = platform.d2xx](std::size_t, FT_HANDLE handle, const std::string& bytes) {
            std::uint32_t written = 0;
            library.FT_Write(handle, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written);
            EXPECT_EQ(written, bytes.size());
          }};
}

INSTANTIATE_TEST_SUITE_P(OnARealKernel, DeviceContract, testing::Values(RealDevices));

TEST(OnARealKernel, SetsWhatTheChipCanDoAndRefusesTheRest) {
  TtyDevice device("/dev/" + ListKernelPorts().at(0).tty);
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  for (const std::uint32_t rate : {300u, 3000000u}) EXPECT_EQ(device.SetBaudRate(rate), FT_OK) << rate;
  EXPECT_NE(device.SetBaudRate(12000000), FT_OK) << "the kernel makes 9600 of it";
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 2), FT_OK);
  EXPECT_EQ(device.SetDataCharacteristics(8, 0, 3), FT_OK);
  EXPECT_EQ(device.SetDtr(false), FT_OK);
  EXPECT_EQ(device.SetRts(false), FT_OK);
  EXPECT_EQ(device.SetLatencyTimer(7), FT_OK);
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(device.SetLatencyTimer(7), FT_OK) << "without the right to write that file";
  ASSERT_EQ(seteuid(0), 0);
}

}  // namespace
}  // namespace halden
