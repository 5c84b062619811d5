#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <set>

#include "driver/inspect.h"
#include "tests/faulty_driver.h"
#include "tests/registry_values.h"

namespace halden {
namespace {

const std::string kSpeaks = "sim:columns=2,signal=ramp,rate=2000,baud=921600,com=5";
const std::string kNoise = "sim:text=words,rate=2000,baud=1000000";

/// A way to the device. In all of them it is listed last.
struct Way {
  const char* name;
  std::vector<std::string> devices;
  bool asks_user;
  std::set<std::string> needs;  ///< calls that it can not do without, but for those that no way can

  bool Needs(const std::string& call) const {
    return call.ends_with("DeviceInfoList") || call == "Open" || needs.count(call);
  }
};

const Way kWays[] = {{"Listening", {kSpeaks}, false, {"GetQueueStatus", "Read"}},
                     {"BaudFallback",
                      {kSpeaks + ",speaks_at=1000000"},
                      false,
                      {"GetQueueStatus", "Read", "SetBaudRate", "GetComPortNumber"}},
                     {"SecondDevice", {kNoise, "sim:busy", kSpeaks}, false, {"GetQueueStatus", "Read"}},
                     {"User", {kNoise + ",com=5"}, true, {"NewWindow"}}};

using Codes = std::vector<std::int16_t>;

struct Outcome {
  bool found = false;
  std::string error;
  Codes codes;  ///< of two channels
};

/// Detects the device, where it isn't, and records a few frames.
void Record(FaultyDriver& driver, const Way& way, Outcome* outcome) {
  if (!driver.adc) driver.adc = driver.instance.CreateObject();
  IADC3& adc = *driver.adc;
  if (way.asks_user) driver.AnswerDialog();
  outcome->found = adc.Test();
  outcome->error = adc.LastError();
  EXPECT_EQ(outcome->found, adc.Detected());
  EXPECT_TRUE(outcome->found || driver.faults.OpenHandles() == 0);
  if (way.asks_user) driver.sim.device(0).Feed("\r1;2\r3;4\r5;6\r");
  adc.StopRecord();
  adc.InputSizeData(1024);
  adc.InputChannels({0, 1});
  // A port that is configured for 0 baud carries no rate.
  EXPECT_EQ(adc.StartRecord(), adc.Rate() > 0);
  EXPECT_EQ(adc.LastError(), adc.Rate() > 0 ? "" : "The Sampling Rate is not selected!");
  driver.sim.clock().RunFor(110);
}

/// The first frames that wait, of two channels.
Codes Read(IADC3& adc) {
  Codes codes(100);
  std::int32_t size = 100, left = 0;
  adc.GetData(codes.data(), size, left);
  EXPECT_EQ(left, adc.InputCountData());
  codes.resize(size);
  return codes;
}

/// The life of a driver up to the release of its last object.
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
  EXPECT_TRUE(driver.faults.AllClosed());
  return outcome;
}

/// Whether these are the frames of lines that followed each other. A ramp climbs by 101 codes and comes round
/// after 40001; what the user's device was given climbs by 40, behind a line that it was in the midst of.
bool Follow(const Way& way, const Codes& codes) {
  for (std::size_t i = way.asks_user ? 4 : 2; i < codes.size(); i += 2) {
    const int step = codes[i] - codes[i - 2];
    if (way.asks_user ? step != 40 : step != 101 && step != 101 - 40001) return false;
  }
  return true;
}

void ExpectCleanLife(FaultyDriver& driver, const Way& way) {
  driver.faults.Arm(0);
  for (std::size_t i = 0; i < way.devices.size(); ++i) driver.Plug(i, true);
  driver.sim.toolkit().SetCanShow(true);
  driver.sim.toolkit().TakeLog();
  const Outcome outcome = Live(driver, way);
  const std::vector<std::string> log = driver.sim.toolkit().TakeLog();
  EXPECT_TRUE(std::count(log.begin(), log.end(), "show dlgFTDI") == 1 && log.back() == "hide dlgFTDI");
  EXPECT_TRUE(outcome.found);
  EXPECT_GE(outcome.codes.size(), 6u);
  EXPECT_TRUE(Follow(way, outcome.codes));
  const std::string key = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";
  EXPECT_EQ(GetRaw(driver.sim.registry(), "", "Port"), "error 2") << "in the user's root";
  EXPECT_EQ(GetRaw(driver.sim.registry(), key, ""), "1:Halden-Text");
  EXPECT_EQ(GetRaw(driver.sim.registry(), key, "Port"), std::string("4:\5\0\0\0", 6));
}

struct EveryWay : testing::TestWithParam<Way> {
  const Way& way = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Survival, EveryWay, testing::ValuesIn(kWays),
                         [](const auto& way) { return std::string(way.param.name); });

struct Fault {
  const char* name;
  Faults::Kind kind;
  Faults::Liar lie = {};
  std::function<void(FaultyDriver&, bool)> gone = {};

  /// The call number `first` goes wrong so, and with `all` those behind it.
  void Arm(FaultyDriver& driver, int first, bool all) const {
    driver.faults.gone = [this, &driver](bool is_gone) { gone(driver, is_gone); };
    driver.faults.Arm(first, all, kind, lie);
  }
};

const Fault kFaults[] = {
    {"fails", Faults::kFails},
    {"fails and writes what means nothing", Faults::kGarbles, [](std::int64_t) { return 200; }},
    {"succeeds and writes nothing", Faults::kSilent},
    {"counts below 0", Faults::kLies, [](std::int64_t) { return -1; }},
    {"counts without end", Faults::kLies, [](std::int64_t) { return 0x7FFFFFFF; }},
    {"counts one too few", Faults::kLies, [](std::int64_t count) { return count - 1; }},
    {"counts one too many", Faults::kLies, [](std::int64_t count) { return count + 1; }},
    {"reads half", Faults::kShort},
    {"device unplugged", Faults::kGone, {}, [](FaultyDriver& d, bool gone) { d.Plug(0, !gone); }},
    {"display lost", Faults::kGone, {}, [](FaultyDriver& d, bool gone) {
       d.sim.toolkit().SetCanShow(!gone);
     }}};

/// A life in which a call goes wrong, and one afterwards. Whether there was such a call.
bool LiveWith(const Way& way, const Fault& fault, int first, bool all) {
  FaultyDriver driver(way.devices);
  fault.Arm(driver, first, all);
  const Outcome outcome = Live(driver, way);
  const std::string struck = driver.faults.Struck();
  SCOPED_TRACE(struck);
  if (fault.kind == Faults::kFails && !all && !way.Needs(struck)) {
    EXPECT_TRUE(outcome.found);
    EXPECT_GE(outcome.codes.size(), 6u);
  }
  const bool no_list = fault.kind == Faults::kFails && struck.ends_with("DeviceInfoList");
  EXPECT_EQ(outcome.error, no_list ? "No FTDI ports found!" : outcome.error);
  EXPECT_TRUE(fault.kind == Faults::kLies || Follow(way, outcome.codes));
  ExpectCleanLife(driver, way);
  return !struck.empty();
}

TEST_P(EveryWay, SurvivesEveryCallThatGoesWrongOnceOrFromThenOn) {
  int runs = 0;
  for (const Fault& fault : kFaults)
    for (const bool all : {false, true})
      for (int first = 1, more = true; more && !HasFailure(); ++first, ++runs) {
        SCOPED_TRACE(fault.name + (", call " + std::to_string(first)) + (all ? " and all behind it" : ""));
        more = LiveWith(way, fault, first, all);
      }
  std::printf("%d lives with a fault\n", runs);
  EXPECT_GT(runs, 400);
}

TEST(Survival, ALookAtDevicesAndSettingsSurvivesEveryFault) {
  constexpr int kMostCalls = 60;  // a lie makes more and more
  FaultyDriver driver(kWays[0].devices);
  ExpectCleanLife(driver, kWays[0]);
  for (const Fault& fault : kFaults)
    for (const bool all : {false, true})
      for (int first = 1, more = true; more && first < kMostCalls; ++first) {
        SCOPED_TRACE(fault.name + (", call " + std::to_string(first)));
        // Entries without end take their time, so only the first run is told of them.
        Fault bounded = fault;
        bounded.lie = [&](std::int64_t count) {
          const std::int64_t lie = fault.lie(count);
          return (all && first == 1) || (lie >= 0 && lie < 20) ? lie : 20;
        };
        bounded.Arm(driver, first, all);
        std::string error;
        const std::vector<ListedDevice> devices = ListDevices(driver.machine.platform);
        EXPECT_TRUE(all || devices.size() <= 1) << "nodes that were never filled";
        DescribeSettings(driver.machine.platform, &error);
        ExportSettings(driver.machine.platform, &error);
        EXPECT_TRUE(driver.faults.AllClosed());
        more = !driver.faults.Struck().empty();
      }
}

// Made before any allocation may fail.
const Codes kOther = {1, 0, 1};
const Codes kNone = {};

/// What a host does at a moment that doesn't suit. `adc` may be the last reference.
using Call = void (*)(FaultyDriver&);

const std::pair<const char*, Call> kInside[] = {
    {"Test", [](FaultyDriver& d) { EXPECT_EQ(d.adc->Test(), d.adc->Detected()); }},
    {"StartRecord", [](FaultyDriver& d) { EXPECT_TRUE(d.adc->StartRecord() || d.adc->Busy()); }},
    {"StopRecord", [](FaultyDriver& d) { d.adc->StopRecord(); }},
    {"GetData", [](FaultyDriver& d) { Read(*d.adc); }},
    {"InputChannels", [](FaultyDriver& d) { d.adc->InputChannels(kOther); }},
    {"ShowSetting", [](FaultyDriver& d) { EXPECT_FALSE(d.adc->ShowSetting()); }},
    {"creation", [](FaultyDriver& d) { EXPECT_EQ(d.instance.CreateObject()->Busy(), d.adc->Busy()); }},
    {"release", [](FaultyDriver& d) { d.adc.reset(); }}};

/// Detects and shows the window while `call` is made in pass number `pass` of the message queue. The passes
/// that there were.
int DetectAndShow(FaultyDriver& driver, Call call, int pass) {
  int passes = 0;
  std::function<void()> at_pass = [&] {
    driver.sim.clock().Post(at_pass);
    if (++passes == pass) call(driver);
  };
  driver.adc = driver.instance.CreateObject();
  EXPECT_FALSE(driver.adc->Busy() || driver.adc->Detected());
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
  EXPECT_TRUE(driver.adc || driver.faults.OpenHandles() == 0);
  return passes;
}

TEST_P(EveryWay, TakesEveryCallFromInsideEveryPassOfTheQueue) {
  int runs = 0;
  for (const auto& [name, call] : kInside) {
    FaultyDriver driver(way.devices);
    for (int pass = 1, passes = 1; pass <= passes && !HasFailure(); ++pass, ++runs) {
      SCOPED_TRACE(name + (" in pass " + std::to_string(pass)));
      passes = DetectAndShow(driver, call, pass);
      ExpectCleanLife(driver, way);
    }
  }
  std::printf("%d calls from inside\n", runs);
  EXPECT_GT(runs, 500);
}

/// A driver that has recorded, unread frames with it, or a fresh one.
struct RecordedDriver : FaultyDriver {
  explicit RecordedDriver(bool recorded = true) : FaultyDriver(kWays[0].devices) {
    if (!recorded) return;
    Outcome outcome;
    Record(*this, kWays[0], &outcome);
    adc->StopRecord();
    EXPECT_GT(adc->InputCountKadrs(), 0);
  }
};

/// Every call of a host that may need memory, up to those of a new life; the first of a fresh driver.
void UseAll(FaultyDriver& driver) {
  if (!driver.adc) {
    driver.adc = driver.instance.CreateObject();
    return;
  }
  IADC3& adc = *driver.adc;
  adc.ADCName(), adc.Ranges(), adc.ChannelName(1), adc.LastError();
  adc.InputChannels(), adc.GetKadr(), adc.InputData();
  for (const Codes* table : {&kOther, &kNone}) {
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

TEST(LackOfMemory, LetsNothingEscapeAndTheNextTryWorks) {
  int runs = 0;
  for (const auto& [recorded, all] : {std::pair(false, false), {false, true}, {true, false}, {true, true}})
    for (int first = 1, more = true; more && !testing::Test::HasFailure(); ++first, ++runs) {
      SCOPED_TRACE("allocation " + std::to_string(first) + (all ? " and all behind it" : ""));
      RecordedDriver driver(recorded);
      FailAllocations(first, all);
      UseAll(driver);
      more = AllocationFailed();
      FailAllocations(0);
      EXPECT_EQ(driver.faults.OpenHandles(), driver.adc && driver.adc->Detected() ? 1u : 0u);
      ExpectCleanLife(driver, kWays[0]);
    }
  std::printf("%d lacks of memory\n", runs);
  EXPECT_GT(runs, 50);
}

TEST(LackOfMemory, IsToldByARecordingThatCanNotStartAndLeavesTheLastOne) {
  for (const bool all : {false, true}) {
    RecordedDriver driver;
    const std::int32_t waiting = driver.adc->InputCountKadrs();
    driver.adc->InputSizeData(4096);
    FailAllocations(1, all);
    EXPECT_FALSE(driver.adc->StartRecord() || driver.adc->Busy());
    FailAllocations(0);
    EXPECT_EQ(driver.adc->LastError(), "Buffer Error 12: \r\nCannot allocate memory");
    EXPECT_EQ(driver.adc->InputCountKadrs(), waiting);
    EXPECT_EQ(driver.adc->InputData().Rows(), waiting + 1);
    ExpectCleanLife(driver, kWays[0]);
  }
}

TEST(SteadyState, TicksFramesAndReadsAllocateNothing) {
  for (const char* device :
       {"sim:columns=4,separator=semicolon,rate=500", "sim:columns=1,rate=500",
        "sim:columns=16,unit=mV,label=T=,rate=200,baud=921600", "sim:decimal=comma,unit=V,rate=200"}) {
    FaultyDriver driver({device});
    driver.adc = driver.instance.CreateObject();
    driver.adc->Test();
    driver.adc->InputChannels({0, 0, 99});
    driver.adc->StartRecord();
    driver.sim.clock().RunFor(500);
    Codes data(3000);
    std::int32_t frames = 0;
    FailAllocations(1);
    for (std::int32_t room = 3000, left = 0; left == 0 && frames < 300; room = 3000) {
      driver.sim.clock().RunFor(100);
      frames += driver.adc->GetData(data.data(), room, left);
    }
    EXPECT_FALSE(AllocationFailed()) << device;
    FailAllocations(0);
  }
}

/// What a driver does while its device goes.
enum State { kIdle, kRecording, kWindowShown };

TEST(DeviceLoss, AtEveryByteLeavesTheWholeLinesThatWereReceived) {
  const std::string bytes = "1;2\r\n-3.5;40\r\n5;6\r\r7;8\r\n9;10\r\n11";
  for (const State state : {kIdle, kRecording, kWindowShown})
    for (std::size_t byte = 0; byte <= bytes.size(); ++byte) {
      SCOPED_TRACE(std::to_string(state) + ", byte " + std::to_string(byte));
      FaultyDriver driver({"sim:silent"});
      PacedDevice& device = driver.sim.device(0);
      const auto detect = [&] {
        driver.adc = driver.instance.CreateObject();
        std::string lines;
        for (int line = 0; line < 300; ++line) lines += "0;0\r\n";
        driver.SayWhileProbed(lines);
        EXPECT_TRUE(driver.adc->Test());
        driver.sim.clock().RunFor(60);
      };
      const auto speak = [&] {
        EXPECT_TRUE(state == kIdle || driver.adc->StartRecord());
        device.Feed(bytes.substr(0, byte));
      };
      const auto leave = [&] {
        device.Feed(bytes.substr(byte));
        device.Unplug();
      };
      detect();
      driver.machine.d2xx.received.clear();
      if (state == kWindowShown) {
        driver.sim.toolkit().Play({user::Do([&](MemoryWindow&) { speak(); }), user::Wait(60),
                                   user::Do([&](MemoryWindow&) { leave(); }), user::Wait(200)});
        driver.adc->ShowSetting();
      } else {
        speak();
        driver.sim.clock().RunFor(60);
        leave();
        driver.sim.clock().RunFor(200);
      }
      EXPECT_EQ(driver.machine.d2xx.received, bytes.substr(0, byte));
      int lines = 0;
      for (std::size_t i = 1; i < byte; ++i) lines += bytes[i] == '\r' && bytes[i - 1] != '\r';
      EXPECT_EQ(driver.adc->InputCountKadrs(), state == kIdle ? 0 : lines);
      driver.adc.reset();
      EXPECT_TRUE(driver.faults.AllClosed());
      device.Plug();
      detect();
    }
}

}  // namespace
}  // namespace halden
