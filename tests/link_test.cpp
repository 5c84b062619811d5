#include <algorithm>
#include <gtest/gtest.h>

#include "link/cFTDI.h"
#include "link/port_table.h"
#include "tests/driver_fixture.h"
#include "tests/faulty_driver.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

/// The library's one wrapper, made shortly before the tick count wraps.
struct Wrapper : testing::Test {
  SimPlatform sim{{"sim:serial=ABCDEFGHIJKLMNOP,silent,com=7", "sim:busy"},
                  SimMachine{.start_tick = 0xFFFFFF00}};
  Faults faults;
  FaultyD2xx library{sim.library(), faults};
  cFTDI ftdi{library, sim.clock()};
};

TEST_F(Wrapper, ListsWhatTheLibraryListed) {
  EXPECT_EQ(ftdi.ListSerialNumber(0) + ftdi.ListTypeName(0), "ABCDEFGHIJKLMNOPFT232R");
  EXPECT_EQ(ftdi.ListID(0), 0x04036001u);
  for (int index : {-1, 2}) {
    EXPECT_EQ(ftdi.ListSerialNumber(index) + ftdi.ListDescription(index) + ftdi.ListTypeName(index),
              "<none>");
    EXPECT_EQ(ftdi.ListID(index) + ftdi.ListType(index), 0u);
  }
  sim.device(1).Unplug();
  EXPECT_EQ(ftdi.ListCount(), 2);
  EXPECT_EQ(ftdi.DeviceCount(), 1);
  EXPECT_EQ(ftdi.RefreshList(), 1);
}

TEST_F(Wrapper, OpensOneDeviceAndClosesTheLastOneFirst) {
  const struct {
    int index;
    bool opened;
    Calls calls;
  } steps[] = {{0, true, {"Close none", "Open"}},
               {0, true, {"Close", "Open"}},
               {1, false, {"Close", "Open", "Close none"}},
               {0, true, {"Close none", "Open"}},
               {2, false, {"Close"}},
               {-1, false, {"Close none"}}};
  for (const auto& [index, opened, calls] : steps) {
    faults.calls.clear();
    EXPECT_EQ(ftdi.Open(index), opened);
    EXPECT_EQ(faults.calls, calls);
    EXPECT_EQ(ftdi.ComPortNumber(), opened ? 7 : 0);
    EXPECT_EQ(ftdi.DeviceSerialNumber() + ftdi.DeviceTypeName(), opened ? "ABCDEFGHIJKLMNOPFT232R" : "");
    EXPECT_EQ(ftdi.DeviceDescription(), opened ? ftdi.ListDescription(0) : "");
    EXPECT_EQ(ftdi.DeviceID() + ftdi.DeviceType(), opened ? 0x04036001u + 5 : 0u);
  }
}

TEST_F(Wrapper, SetsUpTheDeviceWhileItIsOpen) {
  for (const bool open : {false, true}) {
    if (open) ftdi.Open(0);
    faults.calls.clear();
    EXPECT_EQ(ftdi.SetLine(250000, 7, 2, 0), open);
    ftdi.SetBaudRate(9600);
    for (const bool on : {true, false}) ftdi.SetDTR(on), ftdi.SetRTS(on);
    EXPECT_EQ(ftdi.SetLatency(0) && ftdi.SetLatency(255), open);
    EXPECT_FALSE(ftdi.SetLatency(-1) || ftdi.SetLatency(256));
    ftdi.Purge(), ftdi.ResetPort(), ftdi.ResetDevice();
    EXPECT_EQ(ftdi.Write("xy", 2), open ? 2 : 0);
    EXPECT_TRUE(open || faults.calls.empty());
  }
  EXPECT_EQ(sim.calls(0),
            (Calls{"open", "baud 250000", "data 7 0 2", "baud 9600", "dtr 1", "rts 1", "dtr 0", "rts 0",
                   "latency 0", "latency 255", "purge 3", "reset", "reset", "write xy"}));
}

TEST_F(Wrapper, EachFailureHasItsOwnAnswer) {
  ftdi.Open(0);
  char byte = 0;
  faults.fails = [](const std::string& call) { return call != "SetBaudRate"; };
  EXPECT_FALSE(ftdi.SetLatency(5) || ftdi.SetLine(9600, 8, 0, 0));
  EXPECT_EQ((std::vector{ftdi.RxQueueCount(), ftdi.Read(&byte, 1), ftdi.Write(&byte, 1)}),
            std::vector(3, -1));
  EXPECT_EQ(ftdi.TxQueueCount() + ftdi.ComPortNumber() + ftdi.DeviceCount(), 0);
  faults.fails = [](const std::string& call) { return call == "SetBaudRate" || call == "GetDeviceInfoList"; };
  faults.calls.clear();
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
  EXPECT_EQ(faults.calls, Calls{"SetBaudRate"});
  EXPECT_EQ(ftdi.RefreshList() + ftdi.ListCount(), 0);
  EXPECT_FALSE(ftdi.Open(0));
}

TEST_F(Wrapper, TakesNoCountThatCanNotBeMeant) {
  ftdi.Open(0);
  faults.Arm(1, true, Faults::kSilent);
  EXPECT_EQ(ftdi.RxQueueCount() + ftdi.TxQueueCount() + ftdi.ComPortNumber() + ftdi.DeviceCount(), 0);
  faults.lie = [](std::int64_t) { return -1; };
  faults.Arm(1, true, Faults::kLies);
  EXPECT_EQ(ftdi.RxQueueCount(), -1);
  EXPECT_EQ(ftdi.TxQueueCount(), 0);
  faults.Arm(2, false, Faults::kLies);
  EXPECT_EQ(ftdi.RefreshList(), 0) << "nodes below none";
}

TEST_F(Wrapper, WaitsServeTheQueueAndSurviveTheWrapOfTheTickCount) {
  ftdi.Open(0);
  sim.device(0).Feed("abc");
  const auto passed = [this, start = sim.clock().GetTickCount()] {
    return sim.clock().GetTickCount() - start;
  };
  EXPECT_TRUE(ftdi.WaitForRx(3, 2000));
  EXPECT_EQ(passed(), 0u);
  sim.clock().Post([&] { sim.device(0).Feed("d"); });
  EXPECT_TRUE(ftdi.WaitForRx(4, 2000));
  EXPECT_EQ(passed(), 1u);
  EXPECT_FALSE(ftdi.WaitForRx(5, 2000));
  EXPECT_EQ(passed(), 2002u);
  EXPECT_TRUE(ftdi.WaitForTxDrain(0, 10));
  EXPECT_FALSE(ftdi.WaitForTxDrain(-1, 10));
  EXPECT_EQ(passed(), 2013u);
  ftdi.Close();
  char byte = 0;
  EXPECT_TRUE(ftdi.WaitForRx(0, 10));
  EXPECT_FALSE(ftdi.WaitForRx(1, 10));
  EXPECT_EQ(ftdi.Read(&byte, 1) + ftdi.TxQueueCount(), 0);
}

TEST(GetPortConfig, TakesTheDefaultThenThePortThenTheFallback) {
  const struct {
    std::string port, failing;  ///< the calls that fail
    Faults::Kind kind;          ///< what happens to the call that asks for the size
    std::int64_t size;
    std::string text;
  } cases[] = {{"COM5", "", Faults::kFails, 0, "4800,N,8,1"},
               {"COM5", "", Faults::kSilent, 0, "4800,N,8,1"},
               {"COM5", "", Faults::kLies, 4000, "4800,N,8,1"},  // a provider with data of its own behind
               {"COM5", "", Faults::kLies, -1, "4800,N,8,1"},
               {"COM5", "GetDefaultCommConfigA", Faults::kFails, 0, "1200,N,8,1"},
               {"COM5", "GetDefaultCommConfigA GetCommConfig", Faults::kFails, 0, "9600,N,8,1"},
               {"COM5", "GetDefaultCommConfigA CreateFileA", Faults::kFails, 0, "9600,N,8,1"},
               {"COM6", "", Faults::kFails, 0, "9600,N,8,1"}};
  for (const auto& c : cases) {
    SimPlatform sim({"sim:com=5,baud=1200"});
    sim.device(0).SetDefaultLine({.BaudRate = 4800, .ByteSize = 8});
    Faults faults;
    FaultyCommConfig system(sim.library(), faults);
    faults.lie = [&](std::int64_t) { return c.size; };
    faults.fails = [&](const std::string& call) { return c.failing.find(call) != c.failing.npos; };
    faults.Arm(c.failing.empty(), false, c.kind);
    tPortInfo row;
    row.DevicePath = "\\\\.\\" + (row.Name = c.port);
    Dcb& line = row.Config.dcb;
    line.Parity = line.StopBits = 2;
    EXPECT_EQ(GetPortConfig(system, row), c.text != "9600,N,8,1");
    EXPECT_EQ(row.ConfigText, c.text);
    EXPECT_EQ(std::to_string(line.BaudRate) + ",N,8,1", c.text);
    EXPECT_EQ(line.Parity + 10 * line.ByteSize + line.StopBits, 80);
    EXPECT_EQ(faults.OpenHandles() + faults.WrongCloses(), 0u);
  }
}

TEST(FormatPortConfig, ShowsUnknownCodesAsTheUsualOnes) {
  const struct {
    std::uint32_t baud;
    std::uint8_t parity, bits, stop;
    const char* text;
  } cases[] = {{9600, 0, 8, 0, "9600,N,8,1"},
               {115200, 2, 7, 2, "115200,E,7,2"},
               {230400, 1, 8, 1, "230400,O,8,1.5"},
               {921600, 3, 5, 0, "921600,M,5,1"},
               {19200, 4, 0, 0, "19200,S,8,1"},
               {4800, 9, 9, 7, "4800,N,8,1"},
               {1, 5, 3, 3, "1,N,8,1"},
               {4294967295, 255, 4, 255, "4294967295,N,4,1"}};
  for (const auto& [baud, parity, bits, stop, text] : cases) {
    tPortInfo row;
    row.Config.dcb = {.BaudRate = baud, .ByteSize = bits, .Parity = parity, .StopBits = stop};
    FormatPortConfig(row);
    EXPECT_EQ(row.ConfigText, text);
  }
}

TEST(FindPort, GivesTheFirstRowOfTheNumber) {
  mPortText table;
  EXPECT_EQ(FindPort(table, 0), -1);
  table.PortTable.resize(table.PortCount = 4);
  table.PortTable[1].Number = table.PortTable[2].Number = 5;
  for (const auto& [number, row] : {std::pair{5, 1}, {0, 0}, {6, -1}})
    EXPECT_EQ(FindPort(table, static_cast<std::int16_t>(number)), row);
}

TEST(Detection, FirstDeviceThatSpeaksWinsAndTheOthersAreLeftAlone) {
  Driver driver({"sim:silent,com=3", "sim:busy", "sim:columns=5,com=6", "sim"});
  EXPECT_NEAR(driver.TimeOf([&] { EXPECT_TRUE(driver.adc->Test()); }), 2500, 490) << "the silent one's share";
  EXPECT_EQ(driver.adc->BasePort(), 6);
  EXPECT_EQ(driver.adc->ChannelsCount(), 5);
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  EXPECT_EQ(driver.sim.calls(3), Calls());
  EXPECT_EQ(driver.sim.calls(2),
            (Calls{"open", "baud 115200", "data 8 0 0", "latency 5", "purge 3", "dtr 1", "rts 1"}));
  EXPECT_EQ(driver.TimeOf([&] { EXPECT_TRUE(driver.adc->Test()); }), 0u);
}

TEST(Detection, TriesTheRateThatAChipMayReallyTalkAt) {
  const struct {
    std::string configured, speaks_at;
    bool found;
    int passes;
  } cases[] = {{"230400", "250000", true, 2},  {"460800", "500000", true, 2},
               {"921600", "1000000", true, 2}, {"1843200", "2000000", true, 2},
               {"230400", "500000", false, 2}, {"115200", "250000", false, 1},
               {"250000", "230400", false, 1}};
  for (const auto& [configured, speaks_at, found, passes] : cases) {
    Driver driver({"sim:rate=400,baud=" + configured + ",speaks_at=" + speaks_at});
    EXPECT_EQ(driver.adc->Test(), found) << configured;
    const Calls& calls = driver.sim.calls(0);
    EXPECT_EQ(calls[1], "baud " + configured);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "purge 3"), passes) << configured;
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "baud " + speaks_at), found) << configured;
    EXPECT_EQ(calls.back() == "close", !found) << configured;
    constexpr float kLongestLine = 40;  // none of what was heard at the other rate counts
    EXPECT_TRUE(!found || driver.adc->RateMax() > std::stof(speaks_at) / 8 / kLongestLine) << configured;
  }
}

TEST(Detection, APortNumberBeyond16BitsIsNone) {
  constexpr int kMostCalls = 50;
  std::string struck;
  for (int first = 1; struck != "GetComPortNumber" && first < kMostCalls; ++first) {
    FaultyDriver driver({"sim:rate=400"});
    driver.faults.lie = [](std::int64_t) { return 32768; };
    driver.faults.Arm(first, false, Faults::kLies);
    driver.adc = driver.apartment.CreateObject();
    driver.adc->Test();
    struck = driver.faults.Struck();
    EXPECT_EQ(driver.adc->BasePort() == 0, struck == "GetComPortNumber") << struck;
  }
  EXPECT_EQ(struck, "GetComPortNumber");
}

TEST(Detection, TakesWhatCameOrElseTheUsersWord) {
  const struct {
    std::string device;
    std::size_t line, lines;  ///< bytes of a line, and how many come; the first counts as cut off
    std::string user_rate;
    std::int16_t port, channels;
    float rate, rate_max;
  } cases[] = {{"silent,baud=230400,com=32767", 16, 3, "", 32767, 2, 1200, 1200},
               {"silent,baud=250000,com=1", 16, 5, "", 1, 2, 1562, 1562},
               {"silent,baud=300,com=2", 67, 3, "", 2, 2, 1, 1},
               {"silent,baud=300,com=none", 16, 3, "", -1, 2, 50, 50},
               {"silent,baud=115200,com=5", 0, 0, "5", 5, 3, 5, 3600},
               {"silent,baud=9600,com=5", 0, 0, "300", 5, 3, 300, 300},
               {"silent,baud=9600,com=5", 16, 2, "1000", 5, 3, 300, 300},
               {"busy,com=5", 0, 0, "5", 1, 0, 10, 1000}};
  for (const auto& c : cases) {
    Driver driver({"sim:" + c.device});
    VirtualClock& clock = driver.sim.clock();
    std::string bytes;
    for (std::size_t i = 0; i < c.lines; ++i) bytes += std::string(c.line - 4, '0') + ";2\r\n";
    // Two passes on, since the opening serves the queue before it purges the device.
    const auto say = [&] { driver.sim.device(0).Feed(bytes + "7"); };
    if (c.lines > 0) clock.Post([&] { clock.Post(say); });
    driver.sim.toolkit().Play({user::PickRow("cboCh", 2), user::Type("cboRate", c.user_rate), user::Enter()});
    const std::uint32_t time = driver.TimeOf([&] { EXPECT_EQ(driver.adc->Test(), c.channels > 0); });
    EXPECT_TRUE(!c.user_rate.empty() || (time > 2001 && time < 2010)) << time;
    EXPECT_EQ(driver.adc->BasePort(), c.port) << c.device;
    EXPECT_EQ(driver.adc->ChannelsCount(), c.channels) << c.device;
    EXPECT_EQ(driver.adc->Rate(), c.rate) << c.device;
    EXPECT_EQ(driver.adc->RateMax(), c.rate_max) << c.device;
    for (const std::string part : {c.user_rate.empty() ? ";8" : "\r7;8\r7;8\r7;8", "\r"}) {
      if (c.channels > 0) driver.sim.device(0).Feed(part);
      clock.RunFor(100);
    }
    EXPECT_EQ(driver.adc->GetChannel(0), c.channels > 0 ? 140 : 0) << c.device;
  }
}

}  // namespace
}  // namespace halden
