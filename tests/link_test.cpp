#include <algorithm>
#include <gtest/gtest.h>

#include "link/cFTDI.h"
#include "link/port_table.h"
#include "tests/faulty_platform.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

/// The library's one wrapper, made shortly before the tick count wraps.
struct Wrapper : testing::Test {
  SimPlatform sim{{"sim:serial=ABCDEFGHIJKLMNOP,silent,com=7", "sim:busy"},
                  SimOptions{.start_tick = 0xFFFFFF00}};
  Faults faults;
  FaultyD2xx library{sim.library(), faults};
  cFTDI ftdi{library, sim.clock()};
};

TEST_F(Wrapper, ListsWhatTheLibraryListedLastAndOpensOneOfIt) {
  const std::string first = "ABCDEFGHIJKLMNOPSimulated deviceFT232R", second = "SIM2Simulated deviceFT232R";
  const std::tuple<int, std::string, bool, Calls> steps[] = {
      {0, first, true, {"Close none", "Open"}},
      {1, second, false, {"Close", "Open", "Close none"}},
      {2, "<none>", false, {"Close none"}},
      {-1, "<none>", false, {"Close none"}}};
  for (const auto& [index, listed, opened, calls] : steps) {
    EXPECT_EQ(ftdi.ListSerialNumber(index) + ftdi.ListDescription(index) + ftdi.ListTypeName(index), listed);
    EXPECT_EQ(ftdi.ListID(index) + ftdi.ListType(index), listed == "<none>" ? 0u : 0x04036001u + 5);
    faults.calls.clear();
    EXPECT_EQ(ftdi.Open(index), opened);
    EXPECT_EQ(faults.calls, calls);
    EXPECT_EQ(ftdi.DeviceSerialNumber() + ftdi.DeviceDescription() + ftdi.DeviceTypeName(),
              opened ? listed : "");
    EXPECT_EQ(ftdi.DeviceID() + ftdi.DeviceType(), opened ? 0x04036001u + 5 : 0u);
  }
  sim.device(1).Unplug();
  EXPECT_EQ((std::vector{ftdi.ListCount(), ftdi.DeviceCount(), ftdi.RefreshList()}), (std::vector{2, 1, 1}));
}

TEST_F(Wrapper, SetsUpTheDeviceWhileItIsOpenAndAnswers) {
  for (const bool open : {false, true}) {
    if (open) ftdi.Open(0);
    faults.calls.clear();
    EXPECT_EQ(ftdi.SetLine(250000, 7, 2, 0), open);
    ftdi.SetBaudRate(9600);
    for (const bool on : {true, false}) ftdi.SetDTR(on), ftdi.SetRTS(on);
    EXPECT_EQ(ftdi.SetLatency(0) && ftdi.SetLatency(255), open);
    EXPECT_FALSE(ftdi.SetLatency(-1) || ftdi.SetLatency(256));
    ftdi.Purge(), ftdi.ResetPort(), ftdi.ResetDevice();
    char byte = 0;
    EXPECT_EQ(ftdi.Write("xy", 2), open ? 2 : 0);
    EXPECT_EQ(ftdi.RxQueueCount() + ftdi.TxQueueCount() + ftdi.Read(&byte, 1), 0);
    EXPECT_EQ(ftdi.ComPortNumber(), open ? 7 : 0);
    EXPECT_TRUE(open || faults.calls.empty());
  }
  EXPECT_EQ(sim.calls(0),
            (Calls{"open", "baud 250000", "data 7 0 2", "baud 9600", "dtr 1", "rts 1", "dtr 0", "rts 0",
                   "latency 0", "latency 255", "purge 3", "reset", "reset", "write xy"}));
  faults.Inject({.call = 1, .and_later = true});
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
  EXPECT_EQ(faults.calls, Calls{"SetBaudRate"});
  EXPECT_EQ((std::vector{ftdi.Read(nullptr, 1), ftdi.Write("x", 1), ftdi.RxQueueCount()}),
            (std::vector{-1, -1, -1}));
  EXPECT_EQ(ftdi.TxQueueCount() + ftdi.DeviceCount(), 0);
  faults.Inject({.call = 1, .and_later = true, .kind = Faults::kWritesNothing});
  EXPECT_EQ(ftdi.RxQueueCount() + ftdi.TxQueueCount() + ftdi.ComPortNumber() + ftdi.DeviceCount(), 0);
  faults.Inject({.call = 2, .kind = Faults::kWrongCount, .change = [](auto) { return -1; }});
  EXPECT_EQ(ftdi.RefreshList(), 0) << "nodes below none";
}

TEST_F(Wrapper, WaitsServeTheQueueAndSurviveTheWrapOfTheTickCount) {
  ftdi.Open(0);
  sim.clock().Post([&] { sim.device(0).Feed("abc"); });
  EXPECT_TRUE(ftdi.WaitForRx(3, 2000));
  EXPECT_FALSE(ftdi.WaitForRx(4, 2000));
  EXPECT_TRUE(ftdi.WaitForTxDrain(0, 10));
  EXPECT_FALSE(ftdi.WaitForTxDrain(-1, 10));
  EXPECT_EQ(sim.clock().GetTickCount() - 0xFFFFFF00, 1 + 2001 + 11u);
}

TEST(GetPortConfig, TakesTheDefaultThenThePortThenTheFallback) {
  // What the default says its size is, the calls that fail, and the rate.
  const std::tuple<std::int64_t, std::string, std::uint32_t> cases[] = {
      {0, "", 4800},
      {0x7FFFFFFF, "", 4800},  // a provider with data of its own behind
      {0, "GetDefaultCommConfigA", 1200},
      {0, "GetDefaultCommConfigA GetCommConfig", 9600},
      {0, "GetDefaultCommConfigA CreateFileA", 9600}};
  for (const auto& [size, failing, rate] : cases) {
    SimPlatform sim({"sim:com=5,baud=1200"});
    sim.device(0).SetDefaultLineSettings({.BaudRate = 4800, .ByteSize = 8});
    Faults faults;
    FaultyCommConfig system(sim.library(), faults);
    faults.fails = [failing = failing](const std::string& call) {
      return failing.find(call) != failing.npos;
    };
    if (failing.empty())
      faults.Inject({.call = 1, .kind = Faults::kWrongCount, .change = [size = size](auto) { return size; }});
    tPortInfo row;
    NamePort(row, 5);
    row.Config.dcb.Parity = row.Config.dcb.StopBits = 2;
    EXPECT_EQ(GetPortConfig(system, row), rate != 9600);
    EXPECT_EQ(row.ConfigText, std::to_string(rate) + ",N,8,1");
    EXPECT_EQ(row.Config.dcb, (Dcb{.BaudRate = rate, .ByteSize = 8}));
  }
}

TEST(NamePort, ANumberBeyond16BitsIsNone) {
  tPortInfo row;
  NamePort(row, 32768);
  EXPECT_EQ(row.DevicePath, "\\\\.\\COM0");
}

TEST(FormatPortConfig, ShowsUnknownCodesAsTheUsualOnes) {
  const std::pair<Dcb, const char*> cases[] = {
      {{.BaudRate = 115200, .ByteSize = 7, .Parity = 2, .StopBits = 2}, "115200,E,7,2"},
      {{.BaudRate = 230400, .ByteSize = 8, .Parity = 1, .StopBits = 1}, "230400,O,8,1.5"},
      {{.BaudRate = 921600, .ByteSize = 4, .Parity = 3, .StopBits = 0}, "921600,M,4,1"},
      {{.BaudRate = 19200, .ByteSize = 9, .Parity = 4, .StopBits = 3}, "19200,S,8,1"},
      {{.BaudRate = 4294967295, .ByteSize = 3, .Parity = 5, .StopBits = 255}, "4294967295,N,8,1"}};
  for (const auto& [line, text] : cases) {
    tPortInfo row;
    row.Config.dcb = line;
    FormatPortConfig(row);
    EXPECT_EQ(row.ConfigText, text);
  }
}

/// The time that the Test of a new object takes, in milliseconds. It finds a device or doesn't.
std::uint32_t TimeOfTest(FaultyDriver& driver, bool found) {
  driver.adc = driver.instance.CreateObject();
  const std::uint32_t start = driver.sim.clock().GetTickCount();
  EXPECT_EQ(driver.adc->Test(), found);
  return driver.sim.clock().GetTickCount() - start;
}

TEST(Detection, FirstDeviceThatSpeaksWinsAndTheOthersAreLeftAlone) {
  FaultyDriver driver({"sim:silent,com=3", "sim:busy", "sim:columns=5,com=6", "sim"});
  EXPECT_NEAR(TimeOfTest(driver, true), 2500, 490) << "the silent one's share";
  EXPECT_EQ(driver.adc->BasePort(), 6);
  EXPECT_EQ(driver.adc->ChannelsCount(), 5);
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  EXPECT_EQ(driver.sim.calls(3), Calls());
  EXPECT_EQ(driver.sim.calls(2),
            (Calls{"open", "baud 115200", "data 8 0 0", "latency 5", "purge 3", "dtr 1", "rts 1"}));
}

TEST(Detection, TriesTheRateThatAChipMayReallyTalkAt) {
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"230400", "250000", true},   {"460800", "500000", true},  {"921600", "1000000", true},
      {"1843200", "2000000", true}, {"230400", "500000", false}, {"115200", "250000", false}};
  for (const auto& [configured, speaks_at, found] : cases) {
    FaultyDriver driver({"sim:rate=400,baud=" + configured + ",speaks_at=" + speaks_at});
    TimeOfTest(driver, found);
    const Calls& calls = driver.sim.calls(0);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "baud " + speaks_at), found) << configured;
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "purge 3"), configured == "115200" ? 1 : 2);
    constexpr float kLongestLine = 40;  // none of what was heard at the other rate counts
    EXPECT_TRUE(!found || driver.adc->RateMax() > std::stof(speaks_at) / 8 / kLongestLine) << configured;
  }
}

TEST(Detection, TakesWhatCameOrElseTheUsersWord) {
  const struct {
    std::string device;
    std::size_t line, lines;  ///< bytes of a line, and how many come; the first counts as cut off
    std::string user_rate;
    std::tuple<int, int, float, float> found;  ///< port, channels, rate, highest rate
  } cases[] = {{"silent,baud=250000,com=32767", 16, 5, "", {32767, 2, 1562, 1562}},
               {"silent,baud=300,com=2", 67, 3, "", {2, 2, 1, 1}},
               {"silent,baud=300,com=none", 16, 3, "", {-1, 2, 50, 50}},
               {"silent,baud=115200,com=1", 0, 0, "5", {1, 3, 5, 3600}},
               {"silent,baud=9600,com=5", 16, 2, "1000", {5, 3, 300, 300}},
               {"busy,com=5", 0, 0, "5", {1, 0, 10, 1000}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.device);
    FaultyDriver driver({"sim:" + c.device, "sim:busy"});
    std::string bytes;
    for (std::size_t i = 0; i < c.lines; ++i) bytes += std::string(c.line - 4, '0') + ";2\r\n";
    driver.FeedDuringProbe(bytes);
    driver.sim.toolkit().Play({user::PickRow("cboCh", 2), user::Type("cboRate", c.user_rate), user::Enter()});
    const std::uint32_t time = TimeOfTest(driver, std::get<1>(c.found) > 0);
    EXPECT_TRUE(!c.user_rate.empty() || (time > 2001 && time < 2010)) << time;
    IADC3& adc = *driver.adc;
    EXPECT_EQ(std::tuple(adc.BasePort(), adc.ChannelsCount(), adc.Rate(), adc.RateMax()), c.found);
  }
}

}  // namespace
}  // namespace halden
