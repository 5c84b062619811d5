#include <gtest/gtest.h>

#include "tests/faulty_driver.h"

namespace halden {
namespace {

const std::vector<std::string> kSpeaks = {"sim:text=words,rate=4000,baud=1000000",
                                          "sim:columns=2,rate=4000,baud=1000000"};
const std::vector<std::string> kAsks = {"sim:text=words,rate=4000,baud=1000000"};

/// What a host does from inside a pass of the message queue. `adc` may be the last reference.
using Inside = void (*)(FaultyDriver&);
const struct {
  const char* name;
  Inside call;
} kCalls[] = {
    {"Test", [](FaultyDriver& d) { EXPECT_EQ(d.adc->Test(), d.adc->Detected()); }},
    {"StartRecord", [](FaultyDriver& d) { EXPECT_TRUE(d.adc->StartRecord() || d.adc->Busy()); }},
    {"StopRecord", [](FaultyDriver& d) { d.adc->StopRecord(); }},
    {"GetData",
     [](FaultyDriver& d) {
       std::int16_t data[100];
       std::int32_t size = 100, left = 0;
       d.adc->GetData(data, size, left);
       EXPECT_EQ(left, d.adc->InputCountData());
     }},
    {"InputChannels",
     [](FaultyDriver& d) {
       d.adc->InputChannels({1, 0, 1});
     }},
    {"ShowSetting", [](FaultyDriver& d) { EXPECT_FALSE(d.adc->ShowSetting()); }},
    {"creation", [](FaultyDriver& d) { EXPECT_EQ(d.apartment.CreateObject()->Busy(), d.adc->Busy()); }},
    {"release", [](FaultyDriver& d) { d.adc.reset(); }},
};

void ExpectRecording(FaultyDriver& driver) {
  if (!driver.adc) {
    EXPECT_EQ(driver.faults.OpenHandles(), 0u);
    driver.adc = driver.apartment.CreateObject();
  }
  driver.AnswerDialog();
  EXPECT_TRUE(driver.adc->Test());
  driver.adc->StopRecord();
  driver.adc->InputSizeData(1024);
  EXPECT_TRUE(driver.adc->StartRecord());
  driver.sim.device(0).Feed("\r1;2\r3;4\r5;6\r");
  driver.sim.clock().RunFor(60);
  EXPECT_GE(driver.adc->InputCountKadrs(), 3);
}

/// A life from the first object to the release of the last one, in which `call` is made in pass number `pass`
/// of the message queue while it detects or shows the window. The passes that there were.
int Live(FaultyDriver& driver, Inside call, int pass) {
  int passes = 0;
  std::function<void()> at_pass = [&] {
    driver.sim.clock().Post(at_pass);
    if (++passes == pass) call(driver);
  };
  driver.adc = driver.apartment.CreateObject();
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
  ExpectRecording(driver);
  driver.adc.reset();
  EXPECT_EQ(driver.faults.OpenHandles(), 0u);
  return passes;
}

TEST(Reentrancy, EveryCallInEveryPassOfTheQueueIsHarmless) {
  int runs = 0;
  for (const auto& devices : {kSpeaks, kAsks})
    for (const auto& call : kCalls) {
      FaultyDriver driver(devices);
      for (int pass = 1, passes = 1; pass <= passes && !HasFailure(); ++pass, ++runs) {
        SCOPED_TRACE(call.name + (" in pass " + std::to_string(pass)) + " of " + devices.back());
        passes = Live(driver, call.call, pass);
      }
    }
  std::printf("%d calls from inside\n", runs);
  EXPECT_GT(runs, 1000);
}

}  // namespace
}  // namespace halden
