#include "link/cFTDI.h"

#include <gtest/gtest.h>

#include "platform/sim/sim_platform.h"
#include "tests/faulty_platform.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

struct Wrapper : testing::Test {
  void FailEvery(const std::string& call) {
    faults.fails = [call](const std::string& name) { return name == call; };
  }

  SimPlatform sim{{"sim:serial=ABCDEFGHIJKLMNOP,silent,com=7", "sim:busy"},
                  SimMachine{.start_tick = 0xFFFFFF00}};
  Faults faults;
  FaultyD2xx library{sim.library(), faults};
};

TEST_F(Wrapper, ListsWhatTheLibraryListed) {
  cFTDI ftdi(library, sim.clock());
  EXPECT_EQ(faults.calls, (Calls{"CreateDeviceInfoList", "GetDeviceInfoList"}));
  EXPECT_EQ(ftdi.ListCount(), 2);
  EXPECT_EQ(ftdi.ListSerialNumber(0), "ABCDEFGHIJKLMNOP");
  EXPECT_EQ(ftdi.ListID(0), 0x04036001u);
  EXPECT_EQ(ftdi.ListTypeName(1), "FT232R");
  EXPECT_FALSE(ftdi.ListDescription(1).empty());
  for (int index : {-1, 2}) {
    EXPECT_EQ(ftdi.ListSerialNumber(index), "");
    EXPECT_EQ(ftdi.ListDescription(index), "");
    EXPECT_EQ(ftdi.ListTypeName(index), "<none>");
    EXPECT_EQ(ftdi.ListID(index), 0u);
    EXPECT_EQ(ftdi.ListType(index), 0u);
    EXPECT_FALSE(ftdi.Open(index));
  }
  EXPECT_EQ(ftdi.DeviceCount(), 2);
  sim.device(1).Unplug();
  EXPECT_EQ(ftdi.ListCount(), 2);
  EXPECT_EQ(ftdi.DeviceCount(), 1);
  EXPECT_EQ(ftdi.RefreshList(), 1);
}

TEST_F(Wrapper, AFailedListIsEmpty) {
  for (const char* call : {"CreateDeviceInfoList", "GetDeviceInfoList"}) {
    FailEvery(call);
    cFTDI ftdi(library, sim.clock());
    EXPECT_EQ(ftdi.ListCount(), 0) << call;
    EXPECT_FALSE(ftdi.Open(0));
  }
  FailEvery("ListDevices");
  EXPECT_EQ(cFTDI(library, sim.clock()).DeviceCount(), 0);
}

TEST_F(Wrapper, OpensOneDeviceAndClosesTheLastOneFirst) {
  cFTDI ftdi(library, sim.clock());
  faults.calls.clear();
  ASSERT_TRUE(ftdi.Open(0));
  EXPECT_EQ(faults.calls, (Calls{"Close none", "Open"}));
  EXPECT_EQ(ftdi.ComPortNumber(), 7);
  EXPECT_EQ(ftdi.DeviceSerialNumber(), "ABCDEFGHIJKLMNOP");
  EXPECT_EQ(ftdi.DeviceTypeName(), "FT232R");
  EXPECT_TRUE(ftdi.Open(0));
  faults.calls.clear();
  EXPECT_FALSE(ftdi.Open(1));  // held by another program
  EXPECT_EQ(faults.calls, (Calls{"Close", "Open", "Close none"}));
  EXPECT_FALSE(ftdi.IsOpen());
  ftdi.Open(0);
  EXPECT_FALSE(ftdi.Open(2));
  EXPECT_FALSE(ftdi.IsOpen());
  EXPECT_EQ(ftdi.DeviceSerialNumber() + ftdi.DeviceDescription() + ftdi.DeviceTypeName(), "");
  EXPECT_EQ(ftdi.DeviceID() + ftdi.DeviceType(), 0u);
}

TEST_F(Wrapper, ClosedItAnswersWithoutTheLibrary) {
  cFTDI ftdi(library, sim.clock());
  faults.calls.clear();
  char byte = 0;
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
  ftdi.SetBaudRate(9600);
  EXPECT_EQ(ftdi.Read(&byte, 1) + ftdi.Write(&byte, 1) + ftdi.RxQueueCount() + ftdi.TxQueueCount(), 0);
  ftdi.ResetDevice();
  ftdi.ResetPort();
  ftdi.Purge();
  ftdi.SetDTR(true);
  ftdi.SetRTS(false);
  EXPECT_FALSE(ftdi.SetLatency(5));
  EXPECT_EQ(ftdi.ComPortNumber(), 0);
  EXPECT_EQ(faults.calls, Calls());
}

TEST_F(Wrapper, EachFailureHasItsOwnAnswer) {
  cFTDI ftdi(library, sim.clock());
  ftdi.Open(0);
  faults.fails = [](const std::string&) { return true; };
  char byte = 0;
  EXPECT_EQ(ftdi.RxQueueCount(), -1);
  EXPECT_EQ(ftdi.Read(&byte, 1), -1);
  EXPECT_EQ(ftdi.Write(&byte, 1), -1);
  EXPECT_EQ(ftdi.TxQueueCount(), 0);
  EXPECT_EQ(ftdi.ComPortNumber(), 0);
  EXPECT_FALSE(ftdi.SetLatency(5));
  faults.calls.clear();
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
  EXPECT_EQ(faults.calls, Calls{"SetBaudRate"});
  FailEvery("SetDataCharacteristics");
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
}

TEST_F(Wrapper, SetsUpTheDevice) {
  cFTDI ftdi(library, sim.clock());
  ftdi.Open(0);
  EXPECT_TRUE(ftdi.SetLine(250000, 7, 2, 0));
  ftdi.SetBaudRate(9600);
  ftdi.SetDTR(true);
  ftdi.SetRTS(true);
  ftdi.SetDTR(false);
  ftdi.SetRTS(false);
  EXPECT_TRUE(ftdi.SetLatency(5));
  EXPECT_FALSE(ftdi.SetLatency(256));
  ftdi.Purge();
  EXPECT_EQ(ftdi.Write("xy", 2), 2);
  EXPECT_EQ(sim.calls(0), (Calls{"open", "baud 250000", "data 7 0 2", "baud 9600", "dtr 1", "rts 1", "dtr 0",
                                 "rts 0", "latency 5", "purge 3", "write xy"}));
}

TEST_F(Wrapper, WaitsServeTheQueueAndSurviveTheWrapOfTheTickCount) {
  cFTDI ftdi(library, sim.clock());
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
  faults.fails = [&](const std::string& name) { return name == "GetQueueStatus"; };
  EXPECT_FALSE(ftdi.WaitForRx(1, 10));
  EXPECT_TRUE(ftdi.WaitForTxDrain(0, 10));
  EXPECT_FALSE(ftdi.WaitForTxDrain(-1, 10));
  char bytes[4];
  faults.fails = [](const std::string&) { return false; };
  EXPECT_EQ(ftdi.Read(bytes, 4), 4);
  EXPECT_EQ(std::string(bytes, 4), "abcd");
  ftdi.Close();
  EXPECT_TRUE(ftdi.WaitForRx(0, 10));
  EXPECT_FALSE(ftdi.WaitForRx(1, 10));
}

}  // namespace
}  // namespace halden
