#include <gtest/gtest.h>

#include "tests/allocations.h"
#include "tests/driver_fixture.h"
#include "tests/faulty_driver.h"

namespace halden {
namespace {

TEST(SteadyState, TicksFramesAndReadsAllocateNothing) {
  for (const char* device :
       {"sim:columns=4,separator=semicolon,rate=500", "sim:columns=1,rate=500",
        "sim:columns=16,unit=mV,label=T=,rate=200,baud=921600", "sim:decimal=comma,unit=V,rate=200"}) {
    Driver driver({device});
    driver.adc->Test();
    driver.adc->InputChannels({0, 0, 99});
    driver.adc->StartRecord();
    driver.sim.clock().RunFor(500);
    std::vector<std::int16_t> data(3000);
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

constexpr char kSpeaks[] = "sim:columns=2,rate=2000,baud=921600";

/// A driver that has recorded, unread frames with it.
struct RecordedDriver : FaultyDriver {
  RecordedDriver() : FaultyDriver({kSpeaks}) { Record(); }

  void Record() {
    if (!adc) adc = apartment.CreateObject();
    ASSERT_TRUE(adc->Test());
    adc->StopRecord();
    adc->InputSizeData(1024);
    adc->InputChannels({0, 1});
    ASSERT_TRUE(adc->StartRecord());
    sim.clock().RunFor(60);
    adc->StopRecord();
    EXPECT_GT(adc->InputCountKadrs(), 0);
  }
};

// Made before any allocation may fail.
const std::vector<std::int16_t> kOther = {0, 1, 0};
const std::vector<std::int16_t> kNone = {};

TEST(LackOfMemory, NothingEscapesAndTheNextTryWorks) {
  using Call = void (*)(FaultyDriver&);
  const std::pair<const char*, Call> calls[] = {
      {"ADCName", [](FaultyDriver& d) { d.adc->ADCName(); }},
      {"Ranges", [](FaultyDriver& d) { d.adc->Ranges(); }},
      {"ChannelName", [](FaultyDriver& d) { d.adc->ChannelName(1); }},
      {"InputChannels", [](FaultyDriver& d) { d.adc->InputChannels(); }},
      {"InputChannels set", [](FaultyDriver& d) { d.adc->InputChannels(kOther); }},
      {"GetKadr", [](FaultyDriver& d) { d.adc->GetKadr(); }},
      {"InputData", [](FaultyDriver& d) { d.adc->InputData(); }},
      {"StartRecord", [](FaultyDriver& d) { d.adc->StartRecord(); }},
      {"StartRecord refused", [](FaultyDriver& d) { d.adc->InputChannels(kNone), d.adc->StartRecord(); }},
      {"LastError", [](FaultyDriver& d) { d.adc->LastError(); }},
      {"ShowSetting", [](FaultyDriver& d) { d.adc->ShowSetting(); }},
      {"tick",
       [](FaultyDriver& d) { d.adc->InputChannels(kOther), d.adc->StartRecord(), d.sim.clock().RunFor(60); }},
      {"second object", [](FaultyDriver& d) { d.apartment.CreateObject(); }},
      {"new life",
       [](FaultyDriver& d) {
         d.adc.reset(), d.adc = d.apartment.CreateObject();
         if (d.adc) d.adc->Test();
       }},
  };
  int runs = 0;
  for (const auto& [name, call] : calls)
    for (const bool all : {false, true})
      for (int first = 1, more = true; more && !testing::Test::HasFailure(); ++first, ++runs) {
        SCOPED_TRACE(std::string(name) + ", allocation " + std::to_string(first) + (all ? " on" : ""));
        RecordedDriver driver;
        FailAllocations(first, all);
        call(driver);
        more = AllocationFailed();
        FailAllocations(0);
        EXPECT_EQ(driver.faults.OpenHandles(), driver.adc && driver.adc->Detected() ? 1u : 0u);
        driver.Record();
        driver.adc.reset();
        EXPECT_EQ(driver.faults.OpenHandles(), 0u);
        EXPECT_EQ(driver.faults.WrongCloses(), 0);
      }
  std::printf("%d lacks of memory\n", runs);
}

TEST(LackOfMemory, ARecordingThatCanNotStartSaysSoAndLeavesTheLastOne) {
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
    driver.Record();
  }
}

}  // namespace
}  // namespace halden
