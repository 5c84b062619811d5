#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "backends/devices/device_options.h"
#include "backends/sim/sim_platform.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

/// Opens the only device of an option and reads what it sends.
struct Listening {
  explicit Listening(const std::string& option) : sim({option}) { EXPECT_EQ(device.Open(), FT_OK); }
  /// The bytes that it sends in the next `milliseconds`.
  std::string Hear(std::uint32_t milliseconds) {
    clock.Sleep(milliseconds);
    std::string said(ByteQueue::kCapacity, '\0');
    std::uint32_t read = 0;
    return device.Read(said.data(), ByteQueue::kCapacity, &read) == FT_OK ? said.substr(0, read) : "failed";
  }
  void OpenAfter(std::uint32_t milliseconds) {
    device.Close();
    clock.Sleep(milliseconds);
    EXPECT_EQ(device.Open(), FT_OK);
  }

  SimPlatform sim;
  VirtualClock& clock = sim.clock();
  PacedDevice& device = sim.device(0);
};

TEST(DeviceOptions, AcceptValuesWithinLimitsAndExplainOthers) {
  std::string error;
  for (const char* const good :
       {"sim:rate=0.1,baud=300,speaks_at=12000000,com=32767,serial=0123456789ABCDEF,unplug_after=0",
        "sim:columns=1000,com=none,seed=18446744073709551615,label=a=b,text=numbers", "linux,baud=230400",
        "replay:C:\\a=b c.txt,rate=10000,loop", "linux,eol=crlf"})
    EXPECT_TRUE(ParseDeviceOption(good, &error)) << error;
  for (const std::string bad : {"rate=0.09", "rate=nan", "columns=99999999999", "columns=4x", "columns=",
                                "baud=299", "com=32768", "serial=12345678901234567", "label=U1"}) {
    EXPECT_FALSE(ParseDeviceOption("sim:" + bad, &error));
    EXPECT_TRUE(error.ends_with(", not \"" + bad.substr(bad.find('=') + 1) + "\"")) << error;
  }
  const auto serial = ParseDeviceOption("/dev/ttyUSB0,baud=9600,eol=lf", &error);
  ASSERT_TRUE(serial && std::holds_alternative<SerialDeviceSettings>(*serial)) << error;
  EXPECT_EQ(std::get<SerialDeviceSettings>(*serial).path, "/dev/ttyUSB0");
  EXPECT_EQ(std::get<SerialDeviceSettings>(*serial).baud, 9600u);
  EXPECT_EQ(std::get<SerialDeviceSettings>(*serial).line_end, LineEnd::kLf);
  EXPECT_FALSE(ParseDeviceOption("tty:/dev/ttyUSB0,9600", &error));
  EXPECT_EQ(error, "--device tty: write baud=9600, not \"9600\"");
}

TEST(SimDevice, SendsLinesInTheFormOfItsOptions) {
  const std::pair<std::string, std::string> cases[] = {
      {"columns=1,end=cr", "100.05\r100.05\r"},
      {"columns=2,separator=semicolon,decimal=comma,end=lf,label=T=,unit=mV", "T=100,05mV;T=200,10mV\nT="},
      {"columns=2,signal=ramp", "-1000.00\t-749.85\r\n-994.95\t-744.80\r\n"},
      {"columns=2,signal=sine", "0.00\t0.00\r\n28.25\t-28.25\r\n"},
      {"columns=2,signal=noise,seed=2", "-304.90\t-513.70\r\n"}};
  for (const auto& [keys, said] : cases)
    EXPECT_EQ(Listening("sim:signal=constant," + keys).Hear(1000).substr(0, said.size()), said) << keys;
}

TEST(SimDevice, SendsWhileClosedAndLeavesNoBacklog) {
  Listening sim("sim:columns=1,rate=2,signal=ramp,baud=300,silent=5");  // 30 bytes a second
  EXPECT_EQ(sim.Hear(4999), "");
  sim.OpenAfter(10101);
  EXPECT_EQ(sim.Hear(1000), "9.00\r\n-893.95\r\n-88") << "from the fourth byte of the line begun at 15000";
}

TEST(SimDevice, RestartsItsSilenceOnlyWhenDtrRises) {
  Listening sim("sim:columns=1,rate=10,signal=constant,end=lf,resets=2.5");
  EXPECT_EQ(sim.Hear(50), "100.05\n") << "it doesn't restart before DTR rises";
  const auto raise_dtr = [&sim] { EXPECT_EQ(sim.device.SetDtr(true), FT_OK); };
  raise_dtr();
  EXPECT_EQ(sim.Hear(2499), "");
  EXPECT_EQ(sim.Hear(2), "100.05\n");
  raise_dtr();
  EXPECT_EQ(sim.Hear(100), "100.05\n") << "DTR was up already";
  sim.OpenAfter(100);
  raise_dtr();
  EXPECT_EQ(sim.Hear(100), "100.05\n") << "closing the port left DTR up";
  sim.device.SetDtr(false);
  raise_dtr();
  EXPECT_EQ(sim.Hear(2499), "") << "a second rise restarts it again";
  sim.device.Unplug();
  sim.device.Plug();
  sim.OpenAfter(100);
  raise_dtr();
  EXPECT_EQ(sim.Hear(2499), "") << "plugging it in again left DTR low";
}

TEST(ReplayDevice, KeepsThePaceThatItsOptionNames) {
  const std::tuple<std::string, std::string, std::vector<std::string>> cases[] = {
      {"1\r\n2\r\r3", ",rate=10", {"1\r\n", "2\r", "\r", "3", ""}},
      {"1\n2\r3", ",rate=10,loop", {"1\n", "2\r", "3", "1\n", "2\r"}},
      {"abcdefghij\rk", ",baud=300", {"", "abc", "def", "ghi", "j\rk"}},
      {"", ",loop", {"", "", "", "", ""}}};
  for (const auto& [bytes, keys, expected] : cases) {
    const ScratchDirectory folder;
    SetFileText(folder / "file", bytes);
    Listening replay("replay:" + (folder / "file") + keys);
    replay.Hear(150);
    replay.OpenAfter(12345);  // and it starts at the first byte again
    std::vector<std::string> said;
    for (const std::uint32_t wait : {0, 100, 100, 100, 100}) said.push_back(replay.Hear(wait));
    EXPECT_EQ(said, expected) << keys;
  }
}

TEST(ReplayDevice, SendsDetectionTheSameBytesOnAnyMachine) {
  const ScratchDirectory folder;
  std::string bytes;
  for (int i = 0; i < 1000; ++i) bytes += std::to_string(i) + "\r";
  SetFileText(folder / "file", bytes);
  Listening replay("replay:" + (folder / "file"));
  replay.clock.Sleep(10);
  replay.device.Purge(FT_PURGE_RX);
  const std::string first = replay.Hear(1000);
  EXPECT_EQ(first.size(), ReplayDevice::kHeldBack);
  EXPECT_EQ(first.substr(0, 8), bytes.substr(0, 8)) << "the purge starts the file anew";
  EXPECT_TRUE(first + replay.Hear(0) == bytes) << "what was held back follows";
}

}  // namespace
}  // namespace halden
