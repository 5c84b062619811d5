#include <algorithm>
#include <gtest/gtest.h>
#include <set>

#include "driver/inspect.h"
#include "tests/faulty_platform.h"
#include "tests/registry_values.h"

namespace halden {
namespace {

using Codes = std::vector<std::int16_t>;
using Calls = std::vector<std::string>;

const std::string kSpeaks = "sim:columns=2,signal=ramp,rate=2000,baud=921600,com=5";
const std::string kNoise = "sim:text=words,rate=2000,baud=1000000";
const std::string kKey = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";

/// A way in which the driver finds its device, which is the last of the list.
struct Way {
  const char* name;
  std::vector<std::string> devices;
  bool asks_user;
  std::set<std::string> needs;  ///< calls that have to succeed, besides those that every way needs

  bool Needs(const std::string& call) const {
    return call.ends_with("DeviceInfoList") || call == "Open" || needs.count(call);
  }
  friend void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }
};

const Way kWays[] = {{"Listening", {kSpeaks}, false, {"GetQueueStatus", "Read"}},
                     {"BaudFallback",
                      {kSpeaks + ",speaks_at=1000000"},
                      false,
                      {"GetQueueStatus", "Read", "SetBaudRate", "GetComPortNumber"}},
                     {"SecondDevice", {kNoise, "sim:busy", kSpeaks}, false, {"GetQueueStatus", "Read"}},
                     {"User", {kNoise + ",com=5"}, true, {"NewWindow"}}};

struct Outcome {
  bool found = false;
  std::string error;
  Codes codes;  ///< frames of two channels
};

/// Detects the device unless it is detected already, and records a few frames.
void Record(FaultyDriver& driver, const Way& way, Outcome* outcome) {
  if (!driver.adc) driver.adc = driver.instance.CreateObject();
  IADC3& adc = *driver.adc;
  if (way.asks_user) driver.AnswerDialog();
  outcome->found = adc.Test();
  outcome->error = adc.LastError();
  EXPECT_EQ(outcome->found, adc.Detected());
  if (!outcome->found) {
    EXPECT_EQ(driver.faults.LeftOpen(), Calls());
  }
  if (way.asks_user) driver.sim.device(0).Feed("\r1;2\r3;4\r5;6\r");
  adc.StopRecord();
  adc.InputSizeData(1024);
  adc.InputChannels({0, 1});
  const bool has_rate = adc.Rate() > 0;  // not if the port is configured for 0 baud
  EXPECT_EQ(adc.StartRecord(), has_rate);
  EXPECT_EQ(adc.LastError(), has_rate ? "" : "The Sampling Rate is not selected!");
  driver.sim.clock().RunFor(110);
}

/// Takes up to 50 waiting frames of two channels.
Codes Read(IADC3& adc) {
  Codes codes(100);
  std::int32_t size = 100, left = 0;
  adc.GetData(codes.data(), size, left);
  EXPECT_EQ(left, adc.InputCountData());
  codes.resize(size);
  return codes;
}

/// One life of the driver, until its last object is released.
Outcome Live(FaultyDriver& driver, const Way& way) {
  Outcome outcome;
  Record(driver, way, &outcome);
  IADC3& adc = *driver.adc;
  outcome.codes = Read(adc);
  adc.StopRecord();
  driver.sim.toolkit().Play({user::Wait(3)});
  adc.ShowSetting();
  const FrameTable rest = adc.InputData();
  outcome.codes.insert(outcome.codes.end(), rest.Codes.begin() + 2, rest.Codes.end());
  driver.adc.reset();
  EXPECT_EQ(driver.faults.LeftOpen(), Calls());
  return outcome;
}

/// Expects frames of consecutive lines. The ramp climbs by 101 codes and wraps after 40001. The lines of the
/// user's device climb by 40; its first frame may be from a line that was cut off.
void ExpectConsecutive(const Way& way, const Codes& codes) {
  for (std::size_t i = way.asks_user ? 4 : 2; i < codes.size(); i += 2) {
    const int step = codes[i] - codes[i - 2];
    ASSERT_EQ(way.asks_user || step > 0 ? step : step + 40001, way.asks_user ? 40 : 101) << "code " << i;
  }
}

/// Expects that a life without faults finds the device, records, shows the window and stores the port.
void ExpectCleanLife(FaultyDriver& driver, const Way& way) {
  SCOPED_TRACE("in the life without faults");
  driver.faults.Inject({});
  for (std::size_t i = 0; i < way.devices.size(); ++i) driver.Plug(i, true);
  driver.sim.toolkit().SetCanShow(true);
  driver.sim.toolkit().TakeLog();
  const Outcome outcome = Live(driver, way);
  const Calls log = driver.sim.toolkit().TakeLog();
  EXPECT_EQ(std::count(log.begin(), log.end(), "show dlgFTDI"), 1);
  EXPECT_EQ(log.back(), "hide dlgFTDI");
  EXPECT_TRUE(outcome.found);
  EXPECT_GE(outcome.codes.size(), 6u);
  ExpectConsecutive(way, outcome.codes);
  EXPECT_EQ(GetRaw(driver.sim.registry(), "", "Port"), "error 2") << "in the user's root";
  EXPECT_EQ(GetRaw(driver.sim.registry(), kKey, ""), "1:Halden-Text");
  EXPECT_EQ(GetRaw(driver.sim.registry(), kKey, "Port"), std::string("4:\5\0\0\0", 6));
}

struct DriverLife : testing::TestWithParam<Way> {
  const Way& way = GetParam();
};

INSTANTIATE_TEST_SUITE_P(EveryWay, DriverLife, testing::ValuesIn(kWays),
                         [](const auto& way) { return std::string(way.param.name); });

struct Fault {
  const char* name;
  Faults::Kind kind;
  std::int64_t (*change)(std::int64_t count) = nullptr;
  void (*set_lost)(FaultyDriver&, bool lost) = nullptr;

  Faults::Plan Plan(FaultyDriver& driver, int call, bool and_later) const {
    Faults::Plan plan{.call = call, .and_later = and_later, .kind = kind};
    if (change) plan.change = change;
    if (set_lost) plan.set_lost = [this, &driver](bool lost) { set_lost(driver, lost); };
    return plan;
  }
};

const Fault kFaults[] = {
    {"fails", Faults::kFails},
    {"fails and sets its counts to 200", Faults::kFailsWithCounts, [](auto) { return std::int64_t{200}; }},
    {"succeeds and writes nothing", Faults::kWritesNothing},
    {"counts -1", Faults::kWrongCount, [](auto) { return std::int64_t{-1}; }},
    {"counts INT32_MAX", Faults::kWrongCount, [](auto) { return std::int64_t{0x7FFFFFFF}; }},
    {"counts one too few", Faults::kWrongCount, [](auto count) { return count - 1; }},
    {"counts one too many", Faults::kWrongCount, [](auto count) { return count + 1; }},
    {"reads half", Faults::kReadsHalf},
    {"device unplugged", Faults::kLoss, {}, [](FaultyDriver& d, bool lost) { d.Plug(0, !lost); }},
    {"display lost", Faults::kLoss, {}, [](FaultyDriver& d, bool lost) {
       d.sim.toolkit().SetCanShow(!lost);
     }}};

/// More calls, passes or allocations than any life makes. Stops a fault that adds some each time.
constexpr int kMost = 1000;

/// Calls `run` with the numbers from 1 until it returns false, and fails the test if that never happens.
/// Stops at the first failure. Returns how often it has called it.
int ForEachNumber(const std::string& what, const std::function<bool(int number)>& run) {
  for (int number = 1;; ++number) {
    SCOPED_TRACE(what + " " + std::to_string(number));
    if (number > kMost) ADD_FAILURE() << "there is no end of these";
    if (testing::Test::HasFailure() || !run(number)) return number;
  }
}

/// Runs a life in which one call (or it and all later ones) goes wrong, then a life without faults. Returns
/// whether there was a call with this number.
bool LiveWith(const Way& way, const Fault& fault, int call, bool and_later) {
  FaultyDriver driver(way.devices);
  driver.faults.Inject(fault.Plan(driver, call, and_later));
  const Outcome outcome = Live(driver, way);
  const std::string faulty_call = driver.faults.FaultyCall();
  SCOPED_TRACE("it is " + faulty_call);
  if (fault.kind == Faults::kFails && !and_later && !way.Needs(faulty_call)) {
    EXPECT_TRUE(outcome.found);
    EXPECT_GE(outcome.codes.size(), 6u);
  }
  if (fault.kind == Faults::kFails && faulty_call.ends_with("DeviceInfoList")) {
    EXPECT_EQ(outcome.error, "No FTDI ports found!");
  }
  if (fault.kind != Faults::kWrongCount) ExpectConsecutive(way, outcome.codes);
  ExpectCleanLife(driver, way);
  return !faulty_call.empty();
}

TEST_P(DriverLife, SurvivesAnyCallThatFailsOnceOrAlways) {
  int lives = 0;
  for (const Fault& fault : kFaults)
    for (const bool and_later : {false, true})
      lives += ForEachNumber(std::string(fault.name) + (and_later ? ", from call" : ", call"),
                             [&](int call) { return LiveWith(way, fault, call, and_later); });
  EXPECT_GT(lives, 400);
}

TEST(Inspection, SurvivesAnyCallThatFailsOnceOrAlways) {
  constexpr int kMostCalls = 60;  // wrong counts make more and more entries
  FaultyDriver driver(kWays[0].devices);
  ExpectCleanLife(driver, kWays[0]);
  for (const Fault& fault : kFaults)
    for (const bool and_later : {false, true})
      ForEachNumber(std::string(fault.name) + (and_later ? ", from call" : ", call"), [&](int call) {
        Faults::Plan plan = fault.Plan(driver, call, and_later);
        // Listing 2^31 entries takes its time, so that only happens once.
        if (fault.change && !(and_later && call == 1))
          plan.change = [&fault](std::int64_t count) {
            const std::int64_t changed = fault.change(count);
            return changed >= 0 && changed < 20 ? changed : 20;
          };
        driver.faults.Inject(plan);
        std::string error;
        const std::vector<ListedDevice> devices = ListDevices(driver.faulty.platform);
        EXPECT_TRUE(and_later || devices.size() <= 1) << "nodes that the library never filled";
        DescribeSettings(driver.faulty.platform, &error);
        ExportSettings(driver.faulty.platform, &error);
        EXPECT_EQ(driver.faults.LeftOpen(), Calls());
        return !driver.faults.FaultyCall().empty() && call < kMostCalls;
      });
}

// Made before any allocation may fail.
const Codes kOtherTable = {1, 0, 1};
const Codes kEmptyTable = {};

/// Calls that a host can make while the driver serves the message queue. `adc` may be the last reference.
const std::pair<const char*, void (*)(FaultyDriver&)> kNestedCalls[] = {
    {"Test", [](FaultyDriver& d) { EXPECT_EQ(d.adc->Test(), d.adc->Detected()); }},
    {"StartRecord", [](FaultyDriver& d) { EXPECT_TRUE(d.adc->StartRecord() || d.adc->Busy()); }},
    {"StopRecord", [](FaultyDriver& d) { d.adc->StopRecord(); }},
    {"GetData", [](FaultyDriver& d) { Read(*d.adc); }},
    {"InputChannels", [](FaultyDriver& d) { d.adc->InputChannels(kOtherTable); }},
    {"ShowSetting", [](FaultyDriver& d) { EXPECT_FALSE(d.adc->ShowSetting()); }},
    {"CreateObject", [](FaultyDriver& d) { EXPECT_EQ(d.instance.CreateObject()->Busy(), d.adc->Busy()); }},
    {"release", [](FaultyDriver& d) { d.adc.reset(); }}};

/// Detects and shows the window. `call` is made in the pass of the message queue with this number. Returns
/// how many passes there were.
int DetectAndShow(FaultyDriver& driver, void (*call)(FaultyDriver&), int pass) {
  int passes = 0;
  std::function<void()> at_pass = [&] {
    driver.sim.clock().Post(at_pass);
    if (++passes == pass) call(driver);
  };
  driver.adc = driver.instance.CreateObject();
  EXPECT_FALSE(driver.adc->Busy());
  EXPECT_FALSE(driver.adc->Detected());
  driver.adc->InputSizeData(1024);
  driver.AnswerDialog();
  driver.sim.clock().Post(at_pass);
  IADC3* adc = driver.adc.get();
  adc->Test();
  if (driver.adc) {
    driver.sim.toolkit().Play({user::Wait(60)});
    adc->ShowSetting();
  }
  at_pass = [] {};
  driver.sim.clock().RunFor(1);
  if (!driver.adc) {
    EXPECT_EQ(driver.faults.LeftOpen(), Calls());
  }
  return passes;
}

TEST_P(DriverLife, AcceptsAnyCallFromWithinAnyPassOfTheMessageQueue) {
  int lives = 0;
  for (const auto& [name, call] : kNestedCalls) {
    FaultyDriver driver(way.devices);
    lives += ForEachNumber(name + std::string(" in pass"), [&, call = call](int pass) {
      const int passes = DetectAndShow(driver, call, pass);
      ExpectCleanLife(driver, way);
      return pass < passes;
    });
  }
  EXPECT_GT(lives, 500);
}

/// A driver with a stopped recording whose frames wait, or a fresh one.
struct RecordedDriver : FaultyDriver {
  explicit RecordedDriver(bool recorded = true) : FaultyDriver(kWays[0].devices) {
    if (!recorded) return;
    Outcome outcome;
    Record(*this, kWays[0], &outcome);
    adc->StopRecord();
    EXPECT_GT(adc->InputCountKadrs(), 0);
  }
};

/// Makes every call that may need memory, then starts a new life. A fresh driver only makes its first object.
void UseAll(FaultyDriver& driver) {
  if (!driver.adc) {
    driver.adc = driver.instance.CreateObject();
    return;
  }
  IADC3& adc = *driver.adc;
  adc.ADCName(), adc.Ranges(), adc.ChannelName(1), adc.LastError();
  adc.InputChannels(), adc.GetKadr(), adc.InputData();
  for (const Codes* table : {&kOtherTable, &kEmptyTable}) {
    adc.InputChannels(*table);
    adc.StartRecord();
    driver.sim.clock().RunFor(60);
    adc.StopRecord();
  }
  adc.ShowSetting();
  driver.instance.CreateObject();
  driver.adc.reset();
  driver.adc = driver.instance.CreateObject();
  if (!driver.adc) return;
  EXPECT_TRUE(!driver.adc->Test() || driver.adc->Detected());
  driver.adc->ShowSetting();
}

TEST(OutOfMemory, NoExceptionEscapesAndTheNextDriverWorks) {
  int lives = 0;
  for (const bool recorded : {false, true})
    for (const bool and_later : {false, true})
      lives += ForEachNumber(and_later ? "from allocation" : "allocation", [&](int allocation) {
        RecordedDriver driver(recorded);
        FailAllocations(allocation, and_later);
        UseAll(driver);
        const bool failed = AllocationFailed();
        FailAllocations(0);
        const bool detected = driver.adc && driver.adc->Detected();
        EXPECT_EQ(driver.faults.LeftOpen(), detected ? Calls{"Open"} : Calls());
        ExpectCleanLife(driver, kWays[0]);
        return failed;
      });
  EXPECT_GT(lives, 50);
}

TEST(OutOfMemory, RecordingThatCannotStartKeepsTheFramesOfTheLastOne) {
  RecordedDriver driver;
  const std::int32_t waiting = driver.adc->InputCountKadrs();
  driver.adc->InputSizeData(4096);
  FailAllocations(1);
  const bool started = driver.adc->StartRecord();
  FailAllocations(0);
  EXPECT_FALSE(started);
  EXPECT_EQ(driver.adc->LastError(), "Buffer Error 12: \r\nCannot allocate memory");
  EXPECT_EQ(driver.adc->InputCountKadrs(), waiting);
  EXPECT_EQ(driver.adc->InputData().Rows(), waiting + 1);
}

TEST(SteadyState, TicksFramesAndReadsAllocateNothing) {
  for (const char* device :
       {"sim:columns=4,separator=semicolon,rate=500", "sim:columns=1,rate=500,decimal=comma,unit=V",
        "sim:columns=16,unit=mV,label=T=,rate=200,baud=921600"}) {
    FaultyDriver driver({device});
    driver.adc = driver.instance.CreateObject();
    driver.adc->Test();
    driver.adc->InputChannels({0, 0, 99});
    driver.adc->StartRecord();
    driver.sim.clock().RunFor(500);
    Codes data(3000);
    std::int32_t frames = 0;
    FailAllocations(1);
    for (int read = 0; read < 15; ++read) {
      std::int32_t size = 3000, left = 0;
      driver.sim.clock().RunFor(100);
      frames += driver.adc->GetData(data.data(), size, left);
    }
    const bool failed = AllocationFailed();
    FailAllocations(0);
    EXPECT_FALSE(failed) << device;
    EXPECT_GT(frames, 250) << device;
  }
}

TEST(DeviceLoss, KeepsTheWholeLinesReceivedBeforeAnyByte) {
  const std::string bytes = "1;2\r\n-3.5;40\r\n5;6\r\r7;8\r\n9;10\r\n11";
  for (const bool recording : {false, true})
    for (std::size_t byte = 0; byte <= bytes.size(); ++byte) {
      SCOPED_TRACE((recording ? "recording, byte " : "idle, byte ") + std::to_string(byte));
      FaultyDriver driver({"sim:silent"});
      PacedDevice& device = driver.sim.device(0);
      const auto detect = [&] {
        driver.adc = driver.instance.CreateObject();
        std::string lines;
        for (int line = 0; line < 300; ++line) lines += "0;0\r\n";
        driver.FeedDuringProbe(lines);
        EXPECT_TRUE(driver.adc->Test());
        driver.sim.clock().RunFor(60);
      };
      detect();
      driver.faulty.d2xx.received.clear();
      if (recording) driver.adc->StartRecord();
      device.Feed(bytes.substr(0, byte));
      driver.sim.clock().RunFor(60);
      device.Feed(bytes.substr(byte));
      device.Unplug();
      driver.sim.clock().RunFor(200);
      EXPECT_EQ(driver.faulty.d2xx.received, bytes.substr(0, byte));
      int lines = 0;
      for (std::size_t i = 1; i < byte; ++i) lines += bytes[i] == '\r' && bytes[i - 1] != '\r';
      EXPECT_EQ(driver.adc->InputCountKadrs(), recording ? lines : 0);
      driver.adc.reset();
      EXPECT_EQ(driver.faults.LeftOpen(), Calls());
      device.Plug();
      detect();
    }
}

}  // namespace
}  // namespace halden
