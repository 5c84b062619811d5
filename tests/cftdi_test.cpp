#include "link/cFTDI.h"

#include <gtest/gtest.h>

#include "platform/sim/sim_platform.h"
#include "tests/faulty_platform.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

/// Lists a device of each chip type, as far as there are devices behind it.
struct EveryChip : FaultyD2xx {
  using FaultyD2xx::FaultyD2xx;
  FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) override {
    const FT_STATUS status = FaultyD2xx::FT_GetDeviceInfoList(nodes, count);
    for (std::int32_t i = 0; i < *count; ++i) nodes[i].Type = static_cast<std::uint32_t>(i);
    return status;
  }
};

struct Wrapper : testing::Test {
  SimPlatform sim{{"sim:serial=ABCDEFGHIJKLMNOP,silent,com=7", "sim:busy"},
                  SimMachine{.start_tick = 0xFFFFFF00}};
  Faults faults;
  FaultyD2xx library{sim.library(), faults};
  cFTDI ftdi{library, sim.clock()};
};

TEST_F(Wrapper, ListsWhatTheLibraryListed) {
  EXPECT_EQ(faults.calls, (Calls{"CreateDeviceInfoList", "GetDeviceInfoList"}));
  EXPECT_EQ(ftdi.ListCount(), 2);
  EXPECT_EQ(ftdi.ListSerialNumber(0), "ABCDEFGHIJKLMNOP");
  EXPECT_EQ(ftdi.ListID(0), 0x04036001u);
  EXPECT_FALSE(ftdi.ListDescription(1).empty());
  for (int index : {-1, 2}) {
    EXPECT_EQ(ftdi.ListSerialNumber(index) + ftdi.ListDescription(index), "");
    EXPECT_EQ(ftdi.ListTypeName(index), "<none>");
    EXPECT_EQ(ftdi.ListID(index) + ftdi.ListType(index), 0u);
  }
  sim.device(1).Unplug();
  EXPECT_EQ(ftdi.ListCount(), 2);
  EXPECT_EQ(ftdi.DeviceCount(), 1);
  EXPECT_EQ(ftdi.RefreshList(), 1);
}

TEST_F(Wrapper, NamesTheChips) {
  SimPlatform many(std::vector<std::string>(15, "sim"));
  EveryChip chips(many.library(), faults);
  const cFTDI all(chips, many.clock());
  Calls names;
  for (int index = 0; index < all.ListCount(); ++index) names.push_back(all.ListTypeName(index));
  EXPECT_EQ(names, (Calls{"FT232BM", "FT232AM", "FT100AX", "Unknown", "FT2232C", "FT232R", "FT2232H",
                          "FT4232H", "FT232H", "FT_X_SERIES", "FT4222H_0", "FT4222H_1-2", "FT4222H_3",
                          "FT4222_PROG", "Unknown"}));
}

TEST_F(Wrapper, OpensOneDeviceAndClosesTheLastOneFirst) {
  const struct {
    int index;
    bool opened;
    Calls calls;
  } steps[] = {{0, true, {"Close none", "Open"}},
               {0, true, {"Close", "Open"}},
               {1, false, {"Close", "Open", "Close none"}},  // held by another program
               {0, true, {"Close none", "Open"}},
               {2, false, {"Close"}},
               {-1, false, {"Close none"}}};
  for (const auto& step : steps) {
    faults.calls.clear();
    EXPECT_EQ(ftdi.Open(step.index), step.opened);
    EXPECT_EQ(ftdi.IsOpen(), step.opened);
    EXPECT_EQ(faults.calls, step.calls);
    EXPECT_EQ(ftdi.ComPortNumber(), step.opened ? 7 : 0);
    EXPECT_EQ(ftdi.DeviceSerialNumber(), step.opened ? "ABCDEFGHIJKLMNOP" : "");
    EXPECT_EQ(ftdi.DeviceTypeName(), step.opened ? "FT232R" : "");
    EXPECT_EQ(ftdi.DeviceDescription(), step.opened ? ftdi.ListDescription(0) : "");
    EXPECT_EQ(ftdi.DeviceID() + ftdi.DeviceType(), step.opened ? 0x04036001u + 5 : 0u);
  }
}

TEST_F(Wrapper, SetsUpTheDeviceWhileItIsOpen) {
  for (const bool open : {false, true}) {
    if (open) ftdi.Open(0);
    faults.calls.clear();
    EXPECT_EQ(ftdi.SetLine(250000, 7, 2, 0), open);
    ftdi.SetBaudRate(9600);
    for (const bool on : {true, false}) ftdi.SetDTR(on), ftdi.SetRTS(on);
    EXPECT_EQ(ftdi.SetLatency(5), open);
    EXPECT_FALSE(ftdi.SetLatency(256));
    ftdi.Purge();
    ftdi.ResetPort();
    ftdi.ResetDevice();
    EXPECT_EQ(ftdi.Write("xy", 2), open ? 2 : 0);
    EXPECT_TRUE(open || faults.calls.empty());
  }
  EXPECT_EQ(sim.calls(0), (Calls{"open", "baud 250000", "data 7 0 2", "baud 9600", "dtr 1", "rts 1", "dtr 0",
                                 "rts 0", "latency 5", "purge 3", "reset", "reset", "write xy"}));
}

TEST_F(Wrapper, EachFailureHasItsOwnAnswer) {
  ftdi.Open(0);
  faults.fails = [](const std::string&) { return true; };
  char byte = 0;
  EXPECT_EQ(ftdi.RxQueueCount(), -1);
  EXPECT_EQ(ftdi.Read(&byte, 1), -1);
  EXPECT_EQ(ftdi.Write(&byte, 1), -1);
  EXPECT_EQ(ftdi.TxQueueCount() + ftdi.ComPortNumber() + ftdi.DeviceCount(), 0);
  EXPECT_FALSE(ftdi.SetLatency(5));
  faults.calls.clear();
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
  EXPECT_EQ(faults.calls, Calls{"SetBaudRate"});
  for (const std::string failing : {"SetDataCharacteristics", "GetDeviceInfoList"}) {
    faults.fails = [=](const std::string& call) { return call == failing; };
    EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0) && ftdi.RefreshList());
  }
  EXPECT_EQ(ftdi.ListCount(), 0);
  EXPECT_FALSE(ftdi.Open(0));
}

TEST_F(Wrapper, WaitsServeTheQueueAndSurviveTheWrapOfTheTickCount) {
  ftdi.Open(0);
  sim.device(0).Feed("abc");
  const std::uint32_t start = sim.clock().GetTickCount();
  EXPECT_TRUE(ftdi.WaitForRx(3, 2000));
  EXPECT_EQ(sim.clock().GetTickCount(), start);
  sim.clock().Post([&] { sim.device(0).Feed("d"); });
  EXPECT_TRUE(ftdi.WaitForRx(4, 2000));
  EXPECT_EQ(sim.clock().GetTickCount() - start, 1u);
  EXPECT_FALSE(ftdi.WaitForRx(5, 2000));
  EXPECT_EQ(sim.clock().GetTickCount() - start, 2002u);
  EXPECT_TRUE(ftdi.WaitForTxDrain(0, 10));
  EXPECT_FALSE(ftdi.WaitForTxDrain(-1, 10));
  EXPECT_EQ(sim.clock().GetTickCount() - start, 2013u);
  char bytes[4];
  EXPECT_EQ(ftdi.Read(bytes, 4), 4);
  EXPECT_EQ(std::string(bytes, 4), "abcd");
  ftdi.Close();
  EXPECT_TRUE(ftdi.WaitForRx(0, 10));
  EXPECT_FALSE(ftdi.WaitForRx(1, 10));
  EXPECT_EQ(ftdi.Read(bytes, 4) + ftdi.RxQueueCount() + ftdi.TxQueueCount(), 0);
}

}  // namespace
}  // namespace halden
