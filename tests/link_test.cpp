#include <algorithm>
#include <gtest/gtest.h>

#include "link/cFTDI.h"
#include "link/port_table.h"
#include "tests/faulty_platform.h"
#include "tests/registry_values.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

const std::string kKey = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";

struct Wrapper : testing::Test {
  // The tick count wraps soon.
  SimPlatform sim{{"sim:serial=ABCDEFGHIJKLMNOP,silent,com=7", "sim:busy"},
                  SimOptions{.start_tick = 0xFFFFFF00}};
  Faults faults;
  FaultyD2xx library{sim.library(), faults};
  cFTDI ftdi{library, sim.clock()};
};

TEST_F(Wrapper, DescribesListedDevicesAndOpensThem) {
  const struct {
    int index;
    std::string serial;  ///< empty: not listed
    bool opens;
    Calls calls;
  } cases[] = {{.index = 0, .serial = "ABCDEFGHIJKLMNOP", .opens = true, .calls = {"Close none", "Open"}},
               {.index = 1, .serial = "SIM2", .opens = false, .calls = {"Close", "Open", "Close none"}},
               {.index = 2, .serial = "", .opens = false, .calls = {"Close none"}},
               {.index = -1, .serial = "", .opens = false, .calls = {"Close none"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE("index " + std::to_string(c.index));
    const bool listed = !c.serial.empty();
    EXPECT_EQ(ftdi.ListSerialNumber(c.index), c.serial);
    EXPECT_EQ(ftdi.ListDescription(c.index), listed ? "Simulated device" : "");
    EXPECT_EQ(ftdi.ListTypeName(c.index), listed ? "FT232R" : "<none>");
    EXPECT_EQ(ftdi.ListID(c.index), listed ? 0x04036001u : 0u);
    EXPECT_EQ(ftdi.ListType(c.index), listed ? 5u : 0u);
    faults.calls.clear();
    EXPECT_EQ(ftdi.Open(c.index), c.opens);
    EXPECT_EQ(faults.calls, c.calls);
    EXPECT_EQ(ftdi.DeviceSerialNumber(), c.opens ? c.serial : "");
    EXPECT_EQ(ftdi.DeviceDescription(), c.opens ? "Simulated device" : "");
    EXPECT_EQ(ftdi.DeviceTypeName(), c.opens ? "FT232R" : "");
    EXPECT_EQ(ftdi.DeviceID(), c.opens ? 0x04036001u : 0u);
    EXPECT_EQ(ftdi.DeviceType(), c.opens ? 5u : 0u);
  }
  sim.device(1).Unplug();
  EXPECT_EQ(ftdi.ListCount(), 2) << "until the list is refreshed";
  EXPECT_EQ(ftdi.DeviceCount(), 1);
  EXPECT_EQ(ftdi.RefreshList(), 1);
}

TEST_F(Wrapper, CallsTheLibraryOnlyWhileADeviceIsOpen) {
  for (const bool open : {false, true}) {
    SCOPED_TRACE(open ? "open" : "closed");
    if (open) ftdi.Open(0);
    faults.calls.clear();
    EXPECT_EQ(ftdi.SetLine(250000, 7, 2, 1), open);
    ftdi.SetBaudRate(9600);
    for (const bool on : {true, false}) ftdi.SetDTR(on), ftdi.SetRTS(on);
    EXPECT_EQ(ftdi.SetLatency(0), open);
    EXPECT_EQ(ftdi.SetLatency(255), open);
    EXPECT_FALSE(ftdi.SetLatency(-1));
    EXPECT_FALSE(ftdi.SetLatency(256));
    ftdi.Purge(), ftdi.ResetPort(), ftdi.ResetDevice();
    char byte = 0;
    EXPECT_EQ(ftdi.Write("xy", 2), open ? 2 : 0);
    EXPECT_EQ(ftdi.Read(&byte, 1), 0);
    EXPECT_EQ(ftdi.RxQueueCount(), 0);
    EXPECT_EQ(ftdi.TxQueueCount(), 0);
    EXPECT_EQ(ftdi.ComPortNumber(), open ? 7 : 0);
    EXPECT_EQ(faults.calls.empty(), !open);
  }
  EXPECT_EQ(sim.calls(0),
            (Calls{"open", "baud 250000", "data 7 1 2", "baud 9600", "dtr 1", "rts 1", "dtr 0", "rts 0",
                   "latency 0", "latency 255", "purge 3", "reset", "reset", "write xy"}));
}

TEST_F(Wrapper, ReportsFailuresAndInvalidCounts) {
  ftdi.Open(0);
  faults.Inject({.call = 1, .and_later = true});
  EXPECT_FALSE(ftdi.SetLine(9600, 8, 0, 0));
  EXPECT_EQ(faults.calls, Calls{"SetBaudRate"});
  for (const bool fails : {true, false}) {
    faults.Inject({.call = 1, .and_later = true, .kind = fails ? Faults::kFails : Faults::kWritesNothing});
    EXPECT_EQ(ftdi.RxQueueCount(), fails ? -1 : 0);
    EXPECT_EQ(ftdi.Read(nullptr, 1), fails ? -1 : 0);
    EXPECT_EQ(ftdi.Write("x", 1), fails ? -1 : 0);
    EXPECT_EQ(ftdi.TxQueueCount(), 0);
    EXPECT_EQ(ftdi.ComPortNumber(), 0);
    EXPECT_EQ(ftdi.DeviceCount(), 0);
  }
  faults.Inject({.call = 2, .kind = Faults::kWrongCount, .change = [](auto) { return -1; }});
  EXPECT_EQ(ftdi.RefreshList(), 0) << "with -1 nodes filled";
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

TEST(GetPortConfig, PrefersTheDefaultThenThePortThenTheFallback) {
  const struct {
    std::string failing = "";     ///< calls that fail
    std::int64_t size_asked = 0;  ///< the size that the default reports; 0: its true one
    std::uint32_t rate;           ///< 4800: the default's, 1200: the open port's, 9600: the fallback
  } cases[] = {{.rate = 4800},
               {.size_asked = 0x7FFFFFFF, .rate = 4800},
               {.failing = "GetDefaultCommConfigA", .rate = 1200},
               {.failing = "GetDefaultCommConfigA GetCommConfig", .rate = 9600},
               {.failing = "GetDefaultCommConfigA CreateFileA", .rate = 9600}};
  for (const auto& c : cases) {
    SCOPED_TRACE("failing: " + c.failing);
    SimPlatform sim({"sim:com=5,baud=1200"});
    sim.device(0).SetDefaultLineSettings({.BaudRate = 4800, .ByteSize = 8});
    Faults faults;
    FaultyCommConfig system(sim.library(), faults);
    faults.fails = [&](const std::string& call) { return c.failing.find(call) != std::string::npos; };
    if (c.failing.empty())
      faults.Inject({.call = 1, .kind = Faults::kWrongCount, .change = [&](auto) { return c.size_asked; }});
    tPortInfo row;
    NamePort(row, 5);
    row.Config.dcb.Parity = row.Config.dcb.StopBits = 2;
    EXPECT_EQ(GetPortConfig(system, row), c.rate != 9600);
    EXPECT_EQ(row.ConfigText, std::to_string(c.rate) + ",N,8,1");
    EXPECT_EQ(row.Config.dcb, (Dcb{.BaudRate = c.rate, .ByteSize = 8}));
  }
}

TEST(NamePort, NumbersAbove16BitsBecome0) {
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

/// A driver whose calls, passes of the message queue, timers and registry are written into one text.
struct TracedDriver : FaultyDriver {
  using FaultyDriver::FaultyDriver;

  /// Runs the Test of a new object.
  bool Detect() {
    adc = instance.CreateObject();
    faults.TakeTrace();
    faults.tracing = true;
    const bool detected = adc->Test();
    faults.tracing = false;
    return detected;
  }
};

/// What a traced test must have done, as tests/traces/`name` says.
std::string GoldenTrace(const std::string& name) {
  return FileText(std::string(HALDEN_TRACES) + "/" + name);
}

TEST(DetectionTrace, FirstDeviceThatSendsIsUsedAndItsActualRateIsTried) {
  TracedDriver driver({"sim:busy", "sim:columns=5,rate=400,com=6,speaks_at=500000", "sim"});
  driver.sim.device(1).SetDefaultLineSettings(
      {.BaudRate = 460800, .ByteSize = 7, .Parity = 2, .StopBits = 1});
  EXPECT_TRUE(driver.Detect());
  EXPECT_EQ(driver.faults.TakeTrace(), GoldenTrace("listening.txt"));
  EXPECT_EQ(driver.adc->BasePort(), 6);
  EXPECT_EQ(driver.adc->ChannelsCount(), 5);
}

TEST(DetectionTrace, SilentDevicesLeadToTheDialogWithStoredPresets) {
  // The user enters what the settings hold in the other case, so the two traces are the same.
  for (const bool stored : {true, false}) {
    SCOPED_TRACE(stored ? "stored setting" : "asked user");
    TracedDriver driver({"sim:silent,com=4", "sim:silent,com=5"});
    if (stored) {
      SetRaw(driver.sim.registry(), kKey, "Port", REG_DWORD, std::string("\5\0\0\0", 4));
      SetRaw(driver.sim.registry(), kKey, "ChannelFixed", REG_DWORD, std::string("\3\0\0\0", 4));
      SetRaw(driver.sim.registry(), kKey, "RateFixed", REG_DWORD, std::string("\0\0\x20\x41", 4));
    } else {
      driver.sim.toolkit().Play(
          {user::PickRow("lstPort", 1), user::PickRow("cboCh", 2), user::Type("cboRate", "10")});
    }
    driver.sim.toolkit().Play({user::Enter()});
    EXPECT_TRUE(driver.Detect());
    EXPECT_EQ(driver.faults.TakeTrace(), GoldenTrace("dialog.txt"));
    EXPECT_EQ(driver.adc->BasePort(), 5);
    EXPECT_EQ(driver.adc->ChannelsCount(), 3);
    EXPECT_EQ(driver.adc->Rate(), 10);
  }
}

TEST(UnloadTrace, ThePortIsClosedBeforeTheSettingsAreSaved) {
  TracedDriver driver({"sim:silent,com=4"});
  driver.AnswerDialog();
  EXPECT_TRUE(driver.Detect());
  driver.sim.device(0).Feed("1;2\r3;4\r5;6\r");
  driver.sim.clock().RunFor(60);
  driver.faults.TakeTrace();
  driver.faults.tracing = true;
  driver.adc.reset();
  driver.sim.clock().RunFor(100);  // no tick any more
  EXPECT_EQ(driver.faults.TakeTrace(), GoldenTrace("unloading.txt"));
}

TEST(Detection, RepeatingItMeasuresTheRateAgain) {
  TracedDriver driver({"sim:rate=1000,baud=921600"});
  EXPECT_TRUE(driver.Detect());
  driver.sim.clock().RunFor(1010);  // leaves lines counted, of the hundred that an estimate takes
  driver.adc.reset();
  EXPECT_TRUE(driver.Detect());
  const float highest = driver.adc->RateMax();
  driver.sim.clock().RunFor(55);
  EXPECT_EQ(driver.adc->Rate(), highest) << "estimated from lines of the first detection";
}

/// Runs the Test of a new object. Returns the time that it took, in milliseconds.
std::uint32_t TimeOfTest(FaultyDriver& driver, bool found) {
  driver.adc = driver.instance.CreateObject();
  const std::uint32_t start = driver.sim.clock().GetTickCount();
  EXPECT_EQ(driver.adc->Test(), found);
  return driver.sim.clock().GetTickCount() - start;
}

TEST(Detection, TriesTheActualRateOfAChip) {
  const struct {
    std::string configured, speaks_at;
    bool found;
  } cases[] = {{"230400", "250000", true},   {"460800", "500000", true},  {"921600", "1000000", true},
               {"1843200", "2000000", true}, {"230400", "500000", false}, {"115200", "250000", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.configured + " configured, speaks at " + c.speaks_at);
    FaultyDriver driver({"sim:rate=400,baud=" + c.configured + ",speaks_at=" + c.speaks_at});
    TimeOfTest(driver, c.found);
    const Calls& calls = driver.sim.calls(0);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "baud " + c.speaks_at), c.found);
    constexpr float kLongestLine = 40;  // bytes received at the wrong rate would make the lines longer
    EXPECT_TRUE(!c.found || driver.adc->RateMax() > std::stof(c.speaks_at) / 8 / kLongestLine);
  }
}

TEST(Detection, UsesLinesReceivedInTimeOrAsksTheUser) {
  struct Found {
    int port, channels;
    float rate, rate_max;
  };
  const struct {
    std::string device;
    std::size_t length = 16, lines = 0;  ///< of what comes; the first line counts as cut off
    std::string user_rate = "";          ///< typed in the dialog; empty: the dialog isn't expected
    Found found;
  } cases[] = {
      {.device = "silent,baud=250000,com=32767", .lines = 5, .found = {32767, 2, 1562, 1562}},
      {.device = "silent,baud=300,com=2", .length = 67, .lines = 3, .found = {2, 2, 1, 1}},
      {.device = "silent,baud=300,com=none", .lines = 3, .found = {-1, 2, 50, 50}},
      {.device = "silent,baud=115200,com=1", .user_rate = "5", .found = {1, 3, 5, 3600}},
      {.device = "silent,baud=9600,com=5", .lines = 2, .user_rate = "1000", .found = {5, 3, 300, 300}},
      {.device = "busy,com=5", .user_rate = "5", .found = {1, 0, 10, 1000}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.device);
    FaultyDriver driver({"sim:" + c.device, "sim:busy"});
    std::string bytes;
    for (std::size_t i = 0; i < c.lines; ++i) bytes += std::string(c.length - 4, '0') + ";2\r\n";
    driver.FeedDuringProbe(bytes);
    driver.sim.toolkit().Play({user::PickRow("cboCh", 2), user::Type("cboRate", c.user_rate), user::Enter()});
    const std::uint32_t time = TimeOfTest(driver, c.found.channels > 0);
    if (c.user_rate.empty()) {
      EXPECT_NEAR(time, 2006, 4) << "the time for more bytes to come";
    }
    EXPECT_EQ(driver.adc->BasePort(), c.found.port);
    EXPECT_EQ(driver.adc->ChannelsCount(), c.found.channels);
    EXPECT_EQ(driver.adc->Rate(), c.found.rate);
    EXPECT_EQ(driver.adc->RateMax(), c.found.rate_max);
  }
}

}  // namespace
}  // namespace halden
