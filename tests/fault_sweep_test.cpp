#include <cstdio>
#include <gtest/gtest.h>
#include <set>

#include "driver/inspect.h"
#include "tests/faulty_driver.h"
#include "tests/registry_backends.h"

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

struct Fault {
  const char* name;
  Faults::Kind kind;
  std::function<std::int64_t(std::int64_t)> lie = {};
  std::function<void(FaultyDriver&, bool)> gone = {};
};

const Fault kFaults[] = {
    {"fails", Faults::kFails},
    {"fails and writes what means nothing", Faults::kGarbles, [](std::int64_t) { return 5; }},
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

struct Outcome {
  bool found = false;
  std::string error;
  std::string struck;               ///< the call that went wrong first
  std::vector<std::int16_t> codes;  ///< of two channels
};

/// The life of a driver from its first object to the release of the last one.
Outcome Live(FaultyDriver& driver, const Way& way) {
  Outcome outcome;
  driver.adc = driver.apartment.CreateObject();
  IADC3& adc = *driver.adc;
  if (way.asks_user) driver.AnswerDialog();
  outcome.found = adc.Test();
  outcome.error = adc.LastError();
  EXPECT_EQ(outcome.found, adc.Detected());
  EXPECT_TRUE(outcome.found || driver.faults.OpenHandles() == 0);
  if (way.asks_user) driver.sim.device(0).Feed("\r1;2\r3;4\r5;6\r");
  adc.InputSizeData(1024);
  adc.InputChannels({0, 1});
  // A port that is configured for 0 baud carries no rate.
  EXPECT_EQ(adc.StartRecord(), adc.Rate() > 0);
  EXPECT_EQ(adc.LastError(), adc.Rate() > 0 ? "" : "The Sampling Rate is not selected!");
  driver.sim.clock().RunFor(110);
  outcome.codes.resize(2048);
  std::int32_t size = 100;
  std::int32_t left = 0;
  adc.GetData(outcome.codes.data(), size, left);
  outcome.codes.resize(size);
  adc.StopRecord();
  driver.sim.toolkit().Play({user::Wait(3)});
  adc.ShowSetting();
  const KadrTable rest = adc.InputData();
  outcome.codes.insert(outcome.codes.end(), rest.Codes.begin() + 2, rest.Codes.end());
  driver.adc.reset();
  outcome.struck = driver.faults.Struck();
  EXPECT_EQ(driver.faults.OpenHandles(), 0u);
  EXPECT_EQ(driver.faults.WrongCloses(), 0);
  return outcome;
}

/// Whether these are the frames of lines that followed each other. A ramp climbs by 101 codes and comes round
/// after 40001; what the user's device was given climbs by 40, behind a line that it was in the midst of.
bool Follow(const Way& way, const std::vector<std::int16_t>& codes) {
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
  const Outcome outcome = Live(driver, way);
  EXPECT_TRUE(outcome.found);
  EXPECT_GE(outcome.codes.size(), 6u);
  EXPECT_TRUE(Follow(way, outcome.codes));
  const std::string key = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";
  EXPECT_EQ(GetRaw(driver.sim.registry(), key, ""), "1:Halden-Text");
  EXPECT_EQ(GetRaw(driver.sim.registry(), key, "Port"), std::string("4:\5\0\0\0", 6));
}

/// A life in which call number `first` goes wrong, and one afterwards. Whether there was such a call.
bool LiveWith(const Way& way, const Fault& fault, int first, bool all) {
  FaultyDriver driver(way.devices);
  Faults& faults = driver.faults;
  faults.lie = fault.lie;
  faults.gone = [&](bool gone) { fault.gone(driver, gone); };
  faults.Arm(first, all, fault.kind);
  const Outcome outcome = Live(driver, way);
  const std::string& struck = outcome.struck;
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

void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

struct EveryWay : testing::TestWithParam<Way> {};

TEST_P(EveryWay, SurvivesEveryCallThatGoesWrongOnceOrFromThenOn) {
  int runs = 0;
  for (const Fault& fault : kFaults)
    for (const bool all : {false, true})
      for (int first = 1, more = true; more && !HasFailure(); ++first, ++runs) {
        SCOPED_TRACE(fault.name + (", call " + std::to_string(first)) + (all ? " and all behind it" : ""));
        more = LiveWith(GetParam(), fault, first, all);
      }
  std::printf("%d lives with a fault\n", runs);
  EXPECT_GT(runs, 400);
}

TEST_P(EveryWay, FindsTheDeviceWithoutEveryCallThatItDoesNotNeed) {
  FaultyDriver clean(GetParam().devices);
  Live(clean, GetParam());
  std::set<std::string> calls(clean.faults.calls.begin(), clean.faults.calls.end());
  calls.insert("GetQueueStatus");  // is not written down
  for (const std::string& never : calls) {
    SCOPED_TRACE(never);
    FaultyDriver driver(GetParam().devices);
    driver.faults.fails = [&](const std::string& call) { return call == never; };
    const Outcome outcome = Live(driver, GetParam());
    EXPECT_EQ(outcome.found, !GetParam().Needs(never));
    driver.faults.fails = {};
    ExpectCleanLife(driver, GetParam());
  }
}

TEST(FaultSweep, ALookAtDevicesAndSettingsSurvivesThemToo) {
  constexpr int kMostCalls = 60;  // a lie makes more and more
  FaultyDriver driver({kSpeaks, "sim:busy"});
  ExpectCleanLife(driver, kWays[0]);
  for (const Fault& fault : kFaults)
    for (const bool all : {false, true})
      for (int first = 1, more = true; more && first < kMostCalls; ++first) {
        SCOPED_TRACE(fault.name + (", call " + std::to_string(first)));
        // Entries without end take their time, so only the first run is told of them.
        driver.faults.lie = [&](std::int64_t count) {
          const std::int64_t lie = fault.lie(count);
          return (all && first == 1) || (lie >= 0 && lie < 20) ? lie : 20;
        };
        driver.faults.gone = [&](bool gone) { fault.gone(driver, gone); };
        driver.faults.Arm(first, all, fault.kind);
        std::string error;
        const std::vector<ListedDevice> devices = ListDevices(driver.machine.platform);
        EXPECT_TRUE(all || devices.size() <= 2) << "nodes that were never filled";
        DescribeSettings(driver.machine.platform, &error);
        ExportSettings(driver.machine.platform, &error);
        EXPECT_EQ(driver.faults.OpenHandles(), 0u);
        EXPECT_EQ(driver.faults.WrongCloses(), 0);
        more = !driver.faults.Struck().empty();
      }
}

INSTANTIATE_TEST_SUITE_P(FaultSweep, EveryWay, testing::ValuesIn(kWays),
                         [](const auto& way) { return std::string(way.param.name); });

}  // namespace
}  // namespace halden
