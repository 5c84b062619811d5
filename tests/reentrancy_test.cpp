#include <gtest/gtest.h>

#include "tests/faulty_driver.h"

namespace halden {
namespace {

const std::vector<std::string> kSpeaks = {"sim:text=words,rate=3000,baud=921600",
                                          "sim:columns=2,rate=3000,baud=921600"};
const std::vector<std::string> kAsks = {"sim:text=words,rate=3000,baud=921600"};

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

struct Counter {
  int passes = 0;
};

/// Detects and shows the window, with `call` made in pass number `pass` of the message queue. The passes
/// that there were.
int Live(FaultyDriver& driver, Inside call, int pass) {
  auto counter = std::make_shared<Counter>();
  std::function<void()> at_pass = [&, counter] {
    ++counter->passes;
    driver.sim.clock().Post(at_pass);
    if (counter->passes == pass) call(driver);
  };
  driver.adc = driver.apartment.CreateObject();
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
  return counter->passes;
}

TEST(Reentrancy, EveryCallInEveryPassOfTheQueueIsHarmless) {
  int runs = 0;
  for (const auto& devices : {kSpeaks, kAsks})
    for (const auto& call : kCalls)
      for (int pass = 1, passes = 1; pass <= passes && !testing::Test::HasFailure(); ++pass, ++runs) {
        SCOPED_TRACE(call.name + (" in pass " + std::to_string(pass)) + " of " + devices.back());
        FaultyDriver driver(devices);
        passes = Live(driver, call.call, pass);
        driver.adc.reset();
        EXPECT_EQ(driver.faults.OpenHandles(), 0u);
        driver.adc = driver.apartment.CreateObject();
        EXPECT_FALSE(driver.adc->Busy() || driver.adc->Detected());
        driver.AnswerDialog();
        EXPECT_TRUE(driver.adc->Test());
        EXPECT_TRUE(driver.adc->StartRecord());
        if (&devices.back() == &devices.front()) driver.sim.device(0).Feed("\r1;2\r3;4\r5;6\r");
        driver.sim.clock().RunFor(60);
        EXPECT_GE(driver.adc->InputCountKadrs(), 3);
      }
  std::printf("%d calls from inside\n", runs);
  EXPECT_GT(runs, 500);
}

}  // namespace
}  // namespace halden
