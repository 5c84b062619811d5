#include "backends/devices/emulated_d2xx.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>

#include "backends/sim/sim_platform.h"
#include "driver/inspect.h"
#include "tests/device_contract.h"

namespace halden {
namespace {

TEST_P(DeviceContract, NeverFillsMoreNodesThanFit) {
  std::int32_t number = 0, count = 4;
  EXPECT_EQ(library_.FT_ListDevices(&number, nullptr, FT_LIST_NUMBER_ONLY), FT_OK);
  FT_DEVICE_LIST_INFO_NODE nodes[4];
  ASSERT_EQ(library_.FT_GetDeviceInfoList(nodes, &count), FT_OK);
  EXPECT_EQ(std::vector({listed_, number, count}), std::vector({2, 2, 2}));
  EXPECT_NE(std::strncmp(nodes[0].SerialNumber, nodes[1].SerialNumber, sizeof nodes[0].SerialNumber), 0);
  nodes[1].SerialNumber[0] = '!';
  count = 1;
  ASSERT_EQ(library_.FT_GetDeviceInfoList(nodes, &count), FT_OK);
  EXPECT_EQ(nodes[1].SerialNumber[0], '!');
}

TEST_P(DeviceContract, OpensADeviceOnceAndRejectsUnknownHandles) {
  const FT_HANDLE stale = Open(0);
  for (const std::int32_t index : {-1, 0, 2}) EXPECT_EQ(Open(index), -1);
  EXPECT_EQ(library_.FT_Close(stale), FT_OK);
  const FT_HANDLE open = Open(0);
  ASSERT_NE(open, -1);
  ASSERT_NE(open, stale) << "else a stale handle would reach a device opened later";
  Say(0, open, "1.5\r\n");
  for (const FT_HANDLE handle : {stale, FT_HANDLE{-1}, FT_HANDLE{0}}) {
    library_.FT_Close(handle);
    EXPECT_EQ(Read(handle) + PortName(handle), "failedCOM-1");
  }
  EXPECT_EQ(Read(open), "1.5\r\n");
}

TEST_P(DeviceContract, AcceptsTheDriversSettingsAndKeepsDevicesApart) {
  const FT_HANDLE handle = Open(0), other = Open(1);
  EXPECT_EQ(library_.FT_SetLatencyTimer(handle, 5), FT_OK);
  EXPECT_NE(library_.FT_SetBaudRate(handle, 0), FT_OK);
  EXPECT_NE(library_.FT_SetDataCharacteristics(handle, 8, 0, 9), FT_OK);

  Say(0, handle, "gone");
  EXPECT_EQ(library_.FT_Purge(handle, FT_PURGE_RX | FT_PURGE_TX), FT_OK);
  std::string every_byte(256, '\0');
  std::iota(every_byte.begin(), every_byte.end(), '\0');
  Say(0, handle, every_byte);
  Say(1, other, "other");
  EXPECT_EQ(library_.FT_Purge(handle, FT_PURGE_TX), FT_OK);
  std::uint32_t received = 0, waiting = 9, event = 9;
  EXPECT_EQ(library_.FT_GetStatus(handle, &received, &waiting, &event), FT_OK);
  EXPECT_EQ((std::vector{received, waiting}), (std::vector{256u, 0u}));
  EXPECT_EQ(Read(handle, 2), every_byte.substr(0, 2));
  EXPECT_EQ(Read(handle), every_byte.substr(2));
  EXPECT_EQ(Read(handle), "") << "nothing yet is no failure";
}

TEST_P(DeviceContract, GivesAPortsConfigurationByItsName) {
  const std::string name = PortName(Open(0));
  CommConfig config;
  const Dcb chosen = config.dcb = {.BaudRate = 57600, .ByteSize = 7, .Parity = 2, .StopBits = 2};
  ASSERT_TRUE(library_.SetDefaultCommConfigA(name, &config, sizeof config));
  std::string block(64, '~');
  std::uint32_t size = 51;
  EXPECT_FALSE(library_.GetDefaultCommConfigA(name, block.data(), &size));
  EXPECT_EQ(size, 52u);
  EXPECT_EQ(block, std::string(64, '~'));
  EXPECT_TRUE(library_.GetDefaultCommConfigA(name, block.data(), &size));
  EXPECT_EQ(block.substr(52), std::string(12, '~'));
  std::memcpy(&config, block.data(), 52);
  EXPECT_EQ(config.dcb, chosen);
  for (const std::string unknown : {"", "COM-1", "COM99999", "com1"}) {
    EXPECT_FALSE(library_.GetDefaultCommConfigA(unknown, &config, &size)) << unknown;
    EXPECT_FALSE(library_.SetDefaultCommConfigA(unknown, &config, size)) << unknown;
  }
}

TEST_P(DeviceContract, ReadsAnOpenPortsConfigurationByPath) {
  const std::string name = PortName(Open(0)), path = "\\\\.\\" + name;
  const CommHandle port = library_.CreateFileA(path);
  ASSERT_NE(port, -1) << "an open in the device library does not hinder it";
  for (const std::string& closed : {path, name, path + "9"}) EXPECT_EQ(library_.CreateFileA(closed), -1);
  CommConfig config;
  std::uint32_t size = 0;
  EXPECT_FALSE(library_.GetCommConfig(port, &config, &size));
  EXPECT_TRUE(library_.GetCommConfig(port, &config, &size));
  EXPECT_GT(config.dcb.BaudRate, 0u);
  library_.CloseHandle(port);
  EXPECT_FALSE(library_.GetCommConfig(port, &config, &size));
  EXPECT_NE(library_.CreateFileA(path), -1);
}

DevicesUnderTest SimulatedDevices() {
  auto sim = std::make_shared<SimPlatform>(std::vector<std::string>{"sim:silent,com=3", "sim:silent"});
  return {std::shared_ptr<EmulatedD2xx>(sim, &sim->library()),
          [sim](std::size_t index, FT_HANDLE, const std::string& bytes) { sim->device(index).Feed(bytes); }};
}

INSTANTIATE_TEST_SUITE_P(Simulated, DeviceContract,
                         testing::Values(DeviceBackend{"Simulated", SimulatedDevices}));

TEST(EmulatedD2xx, GivesEachDeviceAUniqueComNumber) {
  SimPlatform sim({"sim", "sim:com=256", "sim:com=none", "sim:com=256", "sim:com=258", "sim"});
  std::string given;
  for (const ListedDevice& device : ListDevices(sim.platform())) given += device.com_name + " ";
  EXPECT_EQ(given, "COM257 COM256 COM-1 COM259 COM258 COM260 ");
}

}  // namespace
}  // namespace halden
