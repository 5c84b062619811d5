#include "platform/devices/device_library.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "tests/device_contract.h"

namespace halden {
namespace {

TEST_P(DeviceContract, ListsItsDevicesAndFillsNoMoreNodesThanThereIsRoomFor) {
  std::int32_t number = 0, count = 4;
  ASSERT_EQ(list_status_, FT_OK);
  EXPECT_EQ(library_.FT_ListDevices(&number, nullptr, FT_LIST_NUMBER_ONLY), FT_OK);
  EXPECT_EQ(number, listed_);
  FT_DEVICE_LIST_INFO_NODE nodes[4];
  ASSERT_EQ(library_.FT_GetDeviceInfoList(nodes, &count), FT_OK);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(number, 2);
  EXPECT_NE(std::strncmp(nodes[0].SerialNumber, nodes[1].SerialNumber, sizeof nodes[0].SerialNumber), 0);
  nodes[1].SerialNumber[0] = '!';
  count = 1;
  ASSERT_EQ(library_.FT_GetDeviceInfoList(nodes, &count), FT_OK);
  EXPECT_EQ(nodes[1].SerialNumber[0], '!');
}

TEST_P(DeviceContract, OpensADeviceForOneCallerAndKnowsNoOtherHandle) {
  EXPECT_EQ(Open(-1), -1);
  EXPECT_EQ(Open(2), -1);
  const FT_HANDLE stale = Open(0);
  EXPECT_EQ(Open(0), -1);
  EXPECT_EQ(library_.FT_Close(stale), FT_OK);
  const FT_HANDLE open = Open(0);
  ASSERT_NE(open, -1);
  ASSERT_NE(open, stale) << "else a stale handle would reach a device opened later";
  EXPECT_NE(Open(1), open);
  devices_->Say(0, "1.5\r\n");
  for (const FT_HANDLE handle : {stale, FT_HANDLE{-1}, FT_HANDLE{0}, FT_HANDLE{12345}}) {
    std::uint32_t count = 0, other = 0, event = 0;
    std::int32_t com = 0;
    library_.FT_Close(handle);
    EXPECT_EQ(ReadQueued(handle), "failed");
    EXPECT_NE(library_.FT_SetBaudRate(handle, 9600), FT_OK);
    EXPECT_NE(library_.FT_GetComPortNumber(handle, &com), FT_OK);
    EXPECT_NE(library_.FT_GetStatus(handle, &count, &other, &event), FT_OK);
    EXPECT_NE(library_.FT_Purge(handle, FT_PURGE_RX), FT_OK);
  }
  EXPECT_EQ(ReadQueued(open), "1.5\r\n");
}

TEST_P(DeviceContract, TakesWhatTheLinkSetsAndGivesEachDeviceItsOwnBytes) {
  const FT_HANDLE handle = Open(0);
  Open(1);
  EXPECT_EQ(library_.FT_SetBaudRate(handle, 250000), FT_OK);
  EXPECT_EQ(library_.FT_SetDataCharacteristics(handle, 8, 0, 0), FT_OK);
  EXPECT_EQ(library_.FT_SetLatencyTimer(handle, 5), FT_OK);
  EXPECT_EQ(library_.FT_SetDtr(handle), FT_OK);
  EXPECT_EQ(library_.FT_SetRts(handle), FT_OK);
  EXPECT_NE(library_.FT_SetBaudRate(handle, 0), FT_OK);
  EXPECT_NE(library_.FT_SetDataCharacteristics(handle, 8, 0, 9), FT_OK);

  devices_->Say(0, "stays");
  EXPECT_EQ(library_.FT_Purge(handle, FT_PURGE_TX), FT_OK);
  EXPECT_EQ(ReadQueued(handle), "stays");
  devices_->Say(0, "gone");
  EXPECT_EQ(library_.FT_Purge(handle, FT_PURGE_RX | FT_PURGE_TX), FT_OK);
  devices_->Say(0, std::string("ab\0\xFF\r\n", 6));
  devices_->Say(1, "other");
  std::uint32_t received = 0, waiting = 9, event = 9;
  EXPECT_EQ(library_.FT_GetStatus(handle, &received, &waiting, &event), FT_OK);
  EXPECT_EQ(received, 6u);
  EXPECT_EQ(waiting, 0u);
  EXPECT_EQ(ReadQueued(handle, 2), "ab");
  EXPECT_EQ(ReadQueued(handle), std::string("\0\xFF\r\n", 4));
  EXPECT_EQ(ReadQueued(handle), "") << "nothing yet is no failure";
}

TEST_P(DeviceContract, GivesAPortsConfigurationByItsName) {
  const std::string name = PortName(Open(0));
  ASSERT_NE(name, PortName(Open(1)));
  CommConfig config;
  config.dcb = {.BaudRate = 57600, .ByteSize = 7, .Parity = 2, .StopBits = 2};
  EXPECT_FALSE(library_.SetDefaultCommConfigA(name, &config, sizeof config - 1));
  ASSERT_TRUE(library_.SetDefaultCommConfigA(name, &config, sizeof config));
  unsigned char block[64];
  for (const std::uint32_t room : {0u, 51u, 52u, 64u}) {
    std::memset(block, 0xA5, sizeof block);
    std::uint32_t size = room;
    EXPECT_EQ(library_.GetDefaultCommConfigA(name, block, &size), room >= 52) << room;
    EXPECT_EQ(size, 52u);
    for (std::size_t i = room < 52 ? 0 : 52; i < sizeof block; ++i) ASSERT_EQ(block[i], 0xA5) << room << i;
  }
  const auto& line = reinterpret_cast<const CommConfig*>(block)->dcb;
  EXPECT_EQ(std::vector<std::uint32_t>({line.BaudRate, line.ByteSize, line.Parity, line.StopBits}),
            std::vector<std::uint32_t>({57600, 7, 2, 2}));
  for (const std::string unknown : {"", "COM", "COM0", "COM-1", "COM99999", "com1"}) {
    std::uint32_t size = sizeof config;
    EXPECT_FALSE(library_.GetDefaultCommConfigA(unknown, &config, &size)) << unknown;
    EXPECT_FALSE(library_.SetDefaultCommConfigA(unknown, &config, size)) << unknown;
    EXPECT_EQ(library_.CreateFileA("\\\\.\\" + unknown), -1) << unknown;
  }
}

TEST_P(DeviceContract, AsksThePortItselfThroughItsPath) {
  const std::string name = PortName(Open(0)), path = "\\\\.\\" + name;
  EXPECT_EQ(library_.CreateFileA(name), -1);
  const CommHandle port = library_.CreateFileA(path);
  ASSERT_NE(port, -1) << "an open in the device library does not hinder it";
  EXPECT_EQ(library_.CreateFileA(path), -1);
  CommConfig config;
  std::uint32_t size = 0;
  EXPECT_FALSE(library_.GetCommConfig(port, &config, &size));
  EXPECT_EQ(size, 52u);
  EXPECT_TRUE(library_.GetCommConfig(port, &config, &size));
  EXPECT_GT(config.dcb.BaudRate, 0u);
  library_.CloseHandle(-1);
  library_.CloseHandle(port);
  for (const CommHandle closed : {port, CommHandle{-1}})
    EXPECT_FALSE(library_.GetCommConfig(closed, &config, &size));
  EXPECT_NE(library_.CreateFileA(path), -1);
}

class SimDevicesUnderTest : public DevicesUnderTest {
 public:
  DeviceLibrary& library() override { return sim_.library(); }
  void Say(std::size_t index, const std::string& bytes) override { sim_.device(index).Feed(bytes); }

 private:
  SimPlatform sim_{{"sim:silent", "sim:silent"}};
};

INSTANTIATE_TEST_SUITE_P(Simulated, DeviceContract,
                         testing::Values([] { return std::make_unique<SimDevicesUnderTest>(); }));

TEST(DeviceLibrary, ShowsTheLineDialogOnAPortThatIsThere) {
  SimPlatform sim({"sim:com=3"});
  CommConfig config;
  EXPECT_FALSE(sim.library().CommConfigDialogA("COM3", 0, &config)) << "nothing to show";
  bool confirmed = true;
  sim.library().SetLineDialog([&](const std::string& port, Dcb* line) {
    EXPECT_EQ(port, "COM3");
    line->BaudRate += 100;
    return confirmed;
  });
  EXPECT_FALSE(sim.library().CommConfigDialogA("COM4", 0, &config));
  EXPECT_TRUE(sim.library().CommConfigDialogA("COM3", 0, &config));
  confirmed = false;
  EXPECT_FALSE(sim.library().CommConfigDialogA("COM3", 0, &config));
  EXPECT_EQ(config.dcb.BaudRate, 100u) << "cancelled changes nothing";
}

TEST(DeviceLibrary, GivesEachDeviceANumberOfItsOwn) {
  const std::pair<std::vector<std::string>, std::vector<std::int32_t>> cases[] = {
      {{"sim:com=3", "sim", "sim:com=3", "sim"}, {3, 256, 257, 258}},
      {{"sim", "sim:com=256", "sim:com=258", "sim"}, {257, 256, 258, 259}},
      {{"sim:com=none", "sim", "sim:com=none"}, {-1, 256, -1}},
  };
  for (const auto& [devices, numbers] : cases) {
    SimPlatform sim(devices);
    std::int32_t count = 0;
    sim.library().FT_CreateDeviceInfoList(&count);
    std::vector<std::int32_t> given;
    for (std::int32_t index = 0; index < count; ++index) {
      FT_HANDLE handle = -1;
      sim.library().FT_Open(index, &handle);
      sim.library().FT_GetComPortNumber(handle, &given.emplace_back());
    }
    EXPECT_EQ(given, numbers) << devices.front();
  }
}

TEST(DeviceLibrary, OpensByTheSnapshotThatWasTakenLast) {
  SimPlatform sim({"sim:serial=0123456789ABCDEF", "sim:serial=B,busy", "sim:serial=C"});
  DeviceLibrary& library = sim.library();
  FT_HANDLE handle = -1;
  std::int32_t count = 0;
  EXPECT_NE(library.FT_Open(0, &handle), FT_OK) << "no snapshot yet";
  library.FT_CreateDeviceInfoList(&count);
  sim.device(0).Unplug();
  EXPECT_NE(library.FT_Open(0, &handle), FT_OK);
  EXPECT_NE(library.FT_Open(1, &handle), FT_OK);
  EXPECT_EQ(library.FT_Open(2, &handle), FT_OK);
  EXPECT_EQ(library.OpenFailures(),
            (std::vector<std::string>{"0123456789ABCDEF: not plugged in", "B: held by another program", ""}));
  sim.device(0).Plug();
  EXPECT_EQ(library.FT_Open(0, &handle), FT_OK) << "the snapshot has it still";
  FT_DEVICE_LIST_INFO_NODE node;
  count = 1;
  ASSERT_EQ(library.FT_GetDeviceInfoList(&node, &count), FT_OK);
  EXPECT_EQ(std::string(node.SerialNumber, 16), "0123456789ABCDEF") << "fills its field";
}

}  // namespace
}  // namespace halden
