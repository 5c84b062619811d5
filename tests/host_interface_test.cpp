#include <gtest/gtest.h>
#include <limits>

#include "tests/driver_fixture.h"

namespace halden {
namespace {

using Table = std::vector<std::int16_t>;

TEST(HostInterface, AnswersBeforeAndAfterDetection) {
  Driver driver({"sim:columns=3,com=5,signal=constant"});
  IADC3& adc = *driver.adc;
  EXPECT_EQ(adc.ADCName(), "Halden-Text");
  EXPECT_EQ(adc.Resolution(), 16);
  EXPECT_EQ(adc.Ranges().at(0), "±1000");
  EXPECT_FALSE(adc.Detected());
  EXPECT_EQ(adc.BasePort(), 0);
  EXPECT_EQ(adc.ChannelName(0), "");
  EXPECT_EQ(adc.Rate(), 10);
  EXPECT_EQ(adc.RateMax(), 1000);
  EXPECT_EQ(adc.InputChannels(), Table{0});
  EXPECT_EQ(adc.InputSizeKadrs(), 0);
  ASSERT_TRUE(adc.Test());
  EXPECT_TRUE(adc.Detected());
  EXPECT_EQ(adc.BasePort(), 5);
  EXPECT_EQ(adc.ChannelName(0), "Column1");
  EXPECT_EQ(adc.ChannelName(2), "Column3");
  EXPECT_EQ(adc.ChannelName(3) + adc.ChannelName(-1) + adc.ChannelUnitName(0), "");
  adc.Rate(5);
  EXPECT_NE(adc.Rate(), 5);
  adc.ChannelRange(2, 10);
  EXPECT_EQ(adc.ChannelRange(2), 10);
  EXPECT_EQ(adc.ChannelUnitScale(2), 255);
  EXPECT_EQ(adc.ChannelUnitOffset(2), 128.0f / 255);
  EXPECT_EQ(adc.ChannelUnitScale(3) + adc.ChannelUnitOffset(3), 0);
  EXPECT_EQ(adc.Parent(), driver.adc);
}

TEST(HostInterface, RecordsFromTheNextLineUntilItIsStopped) {
  Driver driver({"sim:columns=2,signal=ramp,rate=100"});
  IADC3& adc = *driver.adc;
  ASSERT_TRUE(adc.Test());
  driver.sim.clock().RunFor(2100);
  EXPECT_NEAR(adc.Rate(), 100, 5);
  adc.InputSizeData(2048);
  EXPECT_EQ(adc.InputSizeKadrs(), 0);
  adc.InputChannels({1, 0, 7});
  EXPECT_EQ(adc.InputSizeKadrs(), 2048);
  EXPECT_EQ(adc.InputSizeData(), 3 * 2048);
  ASSERT_TRUE(adc.StartRecord());
  EXPECT_FALSE(adc.StartRecord());
  EXPECT_EQ(adc.LastError(), "");
  adc.InputChannels({0});
  EXPECT_EQ(adc.InputCountChannels(), 3);
  driver.sim.clock().RunFor(1000);
  EXPECT_NEAR(adc.InputCountKadrs(), 100, 6);
  EXPECT_EQ(adc.InputCountData(), adc.InputCountKadrs() * 3);
  EXPECT_EQ(driver.TimeOf([&] { adc.StopRecord(); }), 50u);
  const std::int32_t stopped = adc.InputCountKadrs();
  driver.sim.clock().RunFor(500);
  const Table live = adc.GetKadr();
  EXPECT_EQ(live.at(0), adc.GetChannel(1));
  EXPECT_EQ(live.at(2), 0);
  const KadrTable all = adc.InputData();
  EXPECT_EQ(all.Rows(), stopped + 1);
  EXPECT_EQ(all.At(0, 0), 1);
  EXPECT_EQ(adc.InputCountKadrs(), 0);
  EXPECT_TRUE(adc.StartRecord());
  EXPECT_EQ(adc.InputCountKadrs(), 0);
}

TEST(HostInterface, RefusalsOfARecordingSayWhy) {
  Driver driver({"sim"});
  driver.adc->InputChannels({});
  EXPECT_FALSE(driver.adc->StartRecord());
  EXPECT_EQ(driver.adc->LastError(), "Any channel is not selected!");
  EXPECT_FALSE(driver.adc->Busy());
  driver.adc->InputSizeData(std::numeric_limits<std::int32_t>::max());
  driver.adc->InputChannels(Table(32767, 0));
  EXPECT_FALSE(driver.adc->StartRecord());
  EXPECT_EQ(driver.adc->LastError().find("Buffer Error 12: \r\n"), 0u);
  driver.adc->InputSizeData(1024);
  EXPECT_TRUE(driver.adc->StartRecord());
  EXPECT_EQ(driver.adc->LastError(), "");
}

TEST(HostInterface, ObjectsShareOneDriverAndTheLastOneTakesItDown) {
  Driver driver({"sim:columns=2"});
  ASSERT_TRUE(driver.adc->Test());
  driver.adc->ChannelRange(1, 4);
  auto second = driver.apartment.CreateObject();
  EXPECT_EQ(second->ChannelsCount(), 2);
  EXPECT_EQ(second->ChannelRange(1), 4);
  ASSERT_TRUE(driver.adc->StartRecord());
  driver.sim.clock().RunFor(500);
  EXPECT_EQ(driver.TimeOf([&] { second.reset(); }), 50u);
  EXPECT_FALSE(driver.adc->Busy());
  EXPECT_GT(driver.adc->InputCountKadrs(), 0);
  EXPECT_EQ(driver.sim.calls(0).back(), "rts 1");
  driver.adc.reset();
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  driver.adc = driver.apartment.CreateObject();
  EXPECT_FALSE(driver.adc->Detected());
  EXPECT_EQ(driver.adc->ChannelRange(1), 0);
  EXPECT_TRUE(driver.adc->Test());
}

/// Every member with every kind of bad argument; ends as it began but for what a member is told to do.
void AbuseEveryMember(IADC3& adc) {
  constexpr std::int16_t kIndexes[] = {-32768, -1, 0, 1, 39, 40, 32767};
  const bool busy = adc.Busy();
  for (std::int16_t index : kIndexes) {
    for (std::int16_t row : kIndexes) adc.ChannelRange(index, row);
    EXPECT_LE(adc.ChannelRange(index), 14);
    EXPECT_EQ(adc.ChannelName(index).empty(), index < 0 || index >= adc.ChannelsCount());
    EXPECT_EQ(adc.ChannelUnitScale(index) > 0, index >= 0 && index < adc.ChannelsCount());
    adc.ChannelUnitOffset(index);
    adc.ChannelUnitName(index);
    adc.GetChannel(index);
  }
  for (const Table& table : {Table{}, Table{-32768, 32767, 0}, Table(32768, 1), Table(40, 39), Table{1, 0}}) {
    adc.InputChannels(table);
    for (std::int32_t size : {-2147483647 - 1, -1, 0, 1, 1023, 1024, 2147483647}) {
      adc.InputSizeData(size);
      EXPECT_GE(adc.InputSizeData(), adc.InputSizeKadrs());
      Table data(std::size_t(size > 0 && size < 5000 ? size : 0), 77);
      std::int32_t room = static_cast<std::int32_t>(data.size());
      std::int32_t left = -1;
      const std::int32_t frames = adc.GetData(data.data(), room, left);
      EXPECT_EQ(room, frames * adc.InputCountChannels());
      EXPECT_EQ(left, adc.InputCountData());
      room = size > 0 ? -size : 0;
      EXPECT_EQ(adc.GetData(data.data(), room, left), 0);
    }
    adc.InputSizeData(1024);
    EXPECT_EQ(adc.GetKadr().size(), static_cast<std::size_t>(adc.InputCountChannels()));
    const KadrTable all = adc.InputData();
    EXPECT_GE(all.Rows(), 1);
    EXPECT_EQ(adc.InputCountData(), 0);
    EXPECT_EQ(adc.Busy(), busy);
  }
  adc.Rate(-1);
  EXPECT_EQ(adc.ADCName() + adc.LastError(), "Halden-Text");
  EXPECT_EQ(adc.Ranges().size(), 15u);
  EXPECT_FALSE(adc.ShowSetting());
  EXPECT_EQ(adc.Detected(), adc.ChannelsCount() > 0);
}

TEST(HostInterface, AnyOrderAndAnyArgumentIsHarmlessInEveryState) {
  Driver driver({"sim:columns=40,rate=20"});
  IADC3* adc = driver.adc.get();
  AbuseEveryMember(*adc);
  EXPECT_TRUE(adc->StartRecord());  // without a device: no frame comes
  AbuseEveryMember(*adc);
  adc->StopRecord();
  adc->StopRecord();
  ASSERT_TRUE(adc->Test());
  AbuseEveryMember(*adc);
  for (int run = 0; run < 2; ++run) {
    EXPECT_TRUE(adc->StartRecord());
    driver.sim.clock().RunFor(1000);
    AbuseEveryMember(*adc);
    driver.sim.clock().RunFor(1000);
    EXPECT_GT(adc->InputCountKadrs(), 0);
    adc->StopRecord();
    AbuseEveryMember(*adc);
  }
  adc->StartRecord();
  driver.sim.clock().RunFor(1000);
  driver.adc.reset();
  driver.adc = driver.apartment.CreateObject();
  AbuseEveryMember(*driver.adc);
}

}  // namespace
}  // namespace halden
