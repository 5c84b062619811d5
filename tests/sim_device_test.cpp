#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "platform/devices/device_options.h"
#include "platform/sim/sim_platform.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

/// Listens to the only device of an option, from its opening on.
struct Listening {
  explicit Listening(const std::string& option) : sim({option}) { EXPECT_EQ(device.Open(), FT_OK); }
  /// What it has said after so many milliseconds.
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

TEST(DeviceOptions, TakeValuesWithinTheirBordersAndNameTheRest) {
  const auto error_of = [](const std::string& option) {
    std::string error;
    return ParseDeviceOption(option, &error) ? "" : error;
  };
  for (const char* const good :
       {"sim:rate=0.1,baud=300,speaks_at=12000000,com=32767,serial=0123456789ABCDEF,busy,unplug_after=0",
        "sim:columns=1000,com=none,seed=18446744073709551615,label=a=b,text=numbers",
        "tty:/dev/pts/3,baud=250000", "linux,baud=230400", "d2xx", "replay:C:\\a=b c.txt,rate=10000,loop"})
    EXPECT_EQ(error_of(good), "");
  for (const std::string value : {"rate=0.09", "rate=nan", "columns=99999999999", "columns=4x", "columns=",
                                  "baud=299", "busy=1", "com=32768", "serial=12345678901234567", "label=U1"})
    EXPECT_TRUE(error_of("sim:" + value).ends_with(", not \"" + value.substr(value.find('=') + 1) + "\""));
  EXPECT_EQ(error_of("sim:signal=x"),
            "--device sim: key \"signal\" takes sine, ramp, noise or constant, not \"x\"");
  EXPECT_EQ(error_of("tty:/dev/ttyS0,rate=5"), "--device tty: no key \"rate\", the keys are baud");
  EXPECT_EQ(error_of("tty"), "--device tty: takes a path behind the colon");
}

TEST(SimDevice, SpeaksLinesInTheFormThatItsOptionNames) {
  const std::pair<std::string, std::string> cases[] = {
      {"columns=1,end=cr", "100.05\r100.05\r"},
      {"columns=2,separator=semicolon,decimal=comma,end=lf", "100,05;200,10\n100,05;200,10\n"},
      {"columns=2,separator=paren,label=T=,unit=mV", "T=100.05mV(T=200.10mV\r\n"},
      {"columns=2,signal=ramp", "-1000.00\t-749.85\r\n-994.95\t-744.80\r\n"},
      {"columns=2,signal=sine", "0.00\t0.00\r\n28.25\t-28.25\r\n"},
      {"columns=2,signal=noise,seed=2", "-304.90\t-513.70\r\n"},
      {"text=words", "warming up, please wait\nsensor not ready\n"},
  };
  for (const auto& [keys, said] : cases)
    EXPECT_EQ(Listening("sim:signal=constant," + keys).Hear(1000).substr(0, said.size()), said) << keys;
}

TEST(SimDevice, IsHeardAsNoiseWithoutALineEndUntilItsRateIsSet) {
  Listening sim("sim:baud=230400,speaks_at=250000,rate=200");
  for (const auto& [rate, lines] : {std::pair(245001u, 200), {244999u, 0}}) {
    ASSERT_EQ(sim.device.SetBaudRate(rate), FT_OK);
    const std::string said = sim.Hear(1000);
    EXPECT_NEAR(static_cast<double>(std::count(said.begin(), said.end(), '\r')), lines, 1) << rate;
    EXPECT_EQ(std::set<char>(said.begin(), said.end()).size() > 200, lines == 0);
  }
}

TEST(SimDevice, TalksOnWhileNobodyListensAndLeavesNoBacklog) {
  Listening sim("sim:columns=1,rate=2,signal=ramp,baud=300,silent=5");  // 30 bytes a second
  EXPECT_EQ(sim.Hear(4999), "");
  sim.OpenAfter(10101);
  EXPECT_EQ(sim.Hear(1000), "9.00\r\n-893.95\r\n-88") << "from the fourth byte of the line begun at 15000";
  sim.OpenAfter(4000);
  EXPECT_EQ(sim.Hear(500), "8.50\r\n-84");
}

TEST(ReplayDevice, KeepsThePaceThatItsOptionNames) {
  const struct {
    std::string bytes, keys;
    std::uint32_t step;
    std::vector<std::string> said;
  } cases[] = {{"1\r\n2\r\r3\n4", ",rate=10", 100, {"1\r\n", "2\r", "\r", "3\n", "4"}},
               {"1\r2\r3", ",rate=10,loop", 100, {"1\r", "2\r", "3", "1\r", "2\r"}},
               {"abcdefghij\rk", ",baud=300", 100, {"", "abc", "def", "ghi", "j\rk"}},
               {"abcdef\rgh", ",baud=300,rate=1", 200, {"", "abcdef", "\r", "", ""}},
               {"", ",loop", 100, {"", "", "", "", ""}}};
  for (const auto& c : cases) {
    const ScratchDirectory folder;
    SetFileText(folder / "file", c.bytes);
    Listening replay("replay:" + (folder / "file") + c.keys);
    replay.OpenAfter(12345);  // and it starts at the first byte again
    std::vector<std::string> said;
    for (int i = 0; i < 5; ++i) said.push_back(replay.Hear(i == 0 ? 0 : c.step));
    EXPECT_EQ(said, c.said) << c.keys;
  }
}

}  // namespace
}  // namespace halden
