#include <chrono>
#include <gtest/gtest.h>
#include <optional>

#include "platform/linux/kernel_device.h"
#include "tests/device_contract.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

/// Two devices that send back what they are sent.
class RealDevicesUnderTest : public DevicesUnderTest {
 public:
  RealDevicesUnderTest() {
    auto devices = kernel_.New();
    for (const auto& device : devices) devices_.push_back(device.get());
    library_.emplace(std::move(devices));
  }

  DeviceLibrary& library() override { return *library_; }
  void Say(std::size_t index, const std::string& bytes) override {
    Device& device = *devices_.at(index);
    std::uint32_t before = 0, now = 0, written = 0;
    ASSERT_EQ(device.GetQueueStatus(&before), FT_OK);
    ASSERT_EQ(device.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written), FT_OK);
    ASSERT_EQ(written, bytes.size());
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (now < before + bytes.size() && std::chrono::steady_clock::now() < end)
      ASSERT_EQ(device.GetQueueStatus(&now), FT_OK);
  }

 private:
  ScratchDirectory files_;
  const FixedNumberRules rules_ = FixedNumberRules::C();
  PortLines lines_{files_ / "ports.reg", rules_};
  KernelDevices kernel_{"/", std::nullopt, rules_, lines_};
  std::vector<Device*> devices_;
  std::optional<DeviceLibrary> library_;
};

INSTANTIATE_TEST_SUITE_P(OnARealKernel, DeviceContract,
                         testing::Values([] { return std::make_unique<RealDevicesUnderTest>(); }));

TEST(OnARealKernel, SetsWhatTheChipCanDoAndRefusesTheRest) {
  const auto ports = ListKernelPorts();
  ASSERT_FALSE(ports.empty());
  TtyDevice device("/dev/" + ports[0].tty);
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  for (const std::uint32_t rate : {300u, 9600u, 230400u, 250000u, 921600u, 3000000u})
    EXPECT_EQ(device.SetBaudRate(rate), FT_OK) << rate;
  EXPECT_NE(device.SetBaudRate(12000000), FT_OK) << "the kernel makes 9600 of it";
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 2), FT_OK);
  EXPECT_EQ(device.SetDataCharacteristics(8, 0, 3), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_EQ(device.SetDtr(false), FT_OK);
  EXPECT_EQ(device.SetRts(false), FT_OK);
  EXPECT_EQ(device.SetLatencyTimer(7), FT_OK);
  EXPECT_EQ(FileText("/sys/class/tty/" + ports[0].tty + "/device/latency_timer"), "7\n");
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(device.SetLatencyTimer(7), FT_OK) << "without the right to write that file";
  ASSERT_EQ(seteuid(0), 0);
}

}  // namespace
}  // namespace halden
