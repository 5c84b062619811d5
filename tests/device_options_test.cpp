#include "platform/devices/device_options.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/sim/virtual_clock.h"

namespace halden {
namespace {

TEST(DeviceOptions, SayInOneLineWhatIsWrongAndWhatIsAllowed) {
  const struct {
    std::string option, error;
  } cases[] = {
      {"", "--device : no such kind of device, the kinds are sim, replay:FILE, tty:PATH, linux and d2xx"},
      {"Sim",
       "--device Sim: no such kind of device, the kinds are sim, replay:FILE, tty:PATH, linux and d2xx"},
      {"sim:rate=abc", "--device sim: key \"rate\" takes 0.1 to 10000, not \"abc\""},
      {"sim:rate=0.09", "--device sim: key \"rate\" takes 0.1 to 10000, not \"0.09\""},
      {"sim:rate=1,5",
       "--device sim: no key \"5\", the keys are columns, separator, decimal, unit, label, rate, "
       "baud, speaks_at, signal, end, text, seed, silent, busy, com, serial, unplug_after"},
      {"sim:rate=nan", "--device sim: key \"rate\" takes 0.1 to 10000, not \"nan\""},
      {"sim:columns=0", "--device sim: key \"columns\" takes 1 to 1000, not \"0\""},
      {"sim:columns=99999999999", "--device sim: key \"columns\" takes 1 to 1000, not \"99999999999\""},
      {"sim:columns=4x", "--device sim: key \"columns\" takes 1 to 1000, not \"4x\""},
      {"sim:columns", "--device sim: key \"columns\" takes 1 to 1000, not \"\""},
      {"sim:baud=299", "--device sim: key \"baud\" takes 300 to 12000000, not \"299\""},
      {"sim:signal=square",
       "--device sim: key \"signal\" takes sine, ramp, noise or constant, not \"square\""},
      {"sim:busy=1", "--device sim: key \"busy\" takes no value, not \"1\""},
      {"sim:com=0", "--device sim: key \"com\" takes 1 to 32767 or none, not \"0\""},
      {"sim:silent=-1",
       "--device sim: key \"silent\" takes 0 to 86400 seconds, or no value for good, not \"-1\""},
      {"sim:serial=12345678901234567",
       "--device sim: key \"serial\" takes up to 16 characters, not \"12345678901234567\""},
      {"sim:label=U1",
       "--device sim: key \"label\" takes up to 16 characters without digits, blanks and any of + - . ; (, "
       "not "
       "\"U1\""},
      {"replay:", "--device replay: takes a path behind the colon"},
      {"tty", "--device tty: takes a path behind the colon"},
      {"tty:/dev/ttyS0,rate=5", "--device tty: no key \"rate\", the keys are baud"},
      {"linux,all", "--device linux: no key \"all\", the keys are baud"},
      {"d2xx:all", "--device d2xx: takes no keys, not \"all\""},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_FALSE(ParseDeviceOption(c.option, &error)) << c.option;
    EXPECT_EQ(error, c.error);
  }
}

template <typename Settings>
Settings Parsed(const std::string& option) {
  std::string error;
  const auto parsed = ParseDeviceOption(option, &error);
  EXPECT_EQ(error, "");
  return parsed ? std::get<Settings>(*parsed) : Settings{};
}

TEST(DeviceOptions, EachKeyReachesItsSetting) {
  const auto sim = Parsed<SimSettings>(
      "sim:columns=1000,separator=paren,decimal=comma,unit=V,label=a=b,rate=0.1,baud=300,speaks_at=12000000,"
      "signal=noise,end=lf,text=words,seed=18446744073709551615,silent=1.5,busy,com=32767,serial=X,"
      "unplug_after=0");
  EXPECT_EQ(sim.columns, 1000);
  EXPECT_EQ(std::string({sim.separator, sim.decimal}) + sim.unit + sim.label + sim.end, "(,Va=b\n");
  EXPECT_EQ(sim.rate, 0.1);
  EXPECT_EQ(sim.baud, 300u);
  EXPECT_EQ(sim.speaks_at, 12000000u);
  EXPECT_EQ(sim.signal, SimSignal::Noise);
  EXPECT_EQ(sim.seed, 18446744073709551615u);
  EXPECT_TRUE(sim.words && sim.busy);
  EXPECT_EQ(sim.com, 32767);
  EXPECT_EQ(sim.serial, "X");
  EXPECT_EQ(sim.silent, 1.5);
  EXPECT_EQ(sim.unplug_after, 0);
  EXPECT_TRUE(std::isinf(Parsed<SimSettings>("sim:silent").silent));
  EXPECT_EQ(Parsed<SimSettings>("sim:com=none").com, -1);
  EXPECT_EQ(Parsed<SimSettings>("sim:columns=2,columns=3").columns, 3);
  EXPECT_EQ(Parsed<SimSettings>("sim").com, std::nullopt);

  const auto replay = Parsed<ReplaySettings>("replay:C:\\a=b c.txt,rate=12.5,loop");
  EXPECT_EQ(replay.path, "C:\\a=b c.txt");
  EXPECT_EQ(replay.rate, 12.5);
  EXPECT_EQ(replay.baud, std::nullopt);
  EXPECT_TRUE(replay.loop);
  EXPECT_EQ(Parsed<TtySettings>("tty:/dev/pts/3,baud=250000").baud, 250000u);
  EXPECT_EQ(Parsed<TtySettings>("tty:/dev/pts/3").path, "/dev/pts/3");
  EXPECT_EQ(Parsed<KernelSettings>("linux").baud, std::nullopt);
  EXPECT_EQ(Parsed<KernelSettings>("linux,baud=230400").baud, 230400u);
  Parsed<VendorDevices>("d2xx");
}

/// What a replayed file of these bytes says in steps of so many milliseconds.
std::vector<std::string> Replayed(const std::string& bytes, const std::string& keys, std::uint32_t step) {
  VirtualClock clock;
  ReplayDevice device(clock, Parsed<ReplaySettings>("replay:file" + keys), "R", bytes);
  clock.Sleep(12345);
  EXPECT_EQ(device.Open(), FT_OK);
  std::vector<std::string> steps;
  for (int i = 0; i < 5; ++i) {
    std::string said(100, '\0');
    std::uint32_t read = 0;
    device.Read(said.data(), 100, &read);
    steps.push_back(said.substr(0, read));
    clock.Sleep(step);
  }
  return steps;
}

TEST(ReplayDevice, KeepsThePaceThatItsOptionNames) {
  using Steps = std::vector<std::string>;
  EXPECT_EQ(Replayed("1\r\n2\r\r3\n4", ",rate=10", 100), (Steps{"1\r\n", "2\r", "\r", "3\n", "4"}));
  EXPECT_EQ(Replayed("1\r\n2\r", ",rate=20", 100), (Steps{"1\r\n", "2\r", "", "", ""}));
  EXPECT_EQ(Replayed("1\r2\r3", ",rate=10,loop", 100), (Steps{"1\r", "2\r", "3", "1\r", "2\r"}));
  EXPECT_EQ(Replayed("abcdefghij\rk", ",baud=300", 100), (Steps{"", "abc", "def", "ghi", "j\rk"}));
  EXPECT_EQ(Replayed("abcdef\rgh", ",baud=300,rate=1", 200), (Steps{"", "abcdef", "\r", "", ""}));
  EXPECT_EQ(Replayed("", ",loop", 100), (Steps{"", "", "", "", ""}));
  EXPECT_EQ(Replayed(std::string(30, 'x'), "", 1),
            (Steps{"", std::string(11, 'x'), std::string(12, 'x'), std::string(7, 'x'), ""}));
}

TEST(ReplayDevice, StartsAtTheFirstByteOnEachOpening) {
  VirtualClock clock;
  ReplayDevice device(clock, Parsed<ReplaySettings>("replay:file,rate=10"), "R", "first\rsecond\r");
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(device.Open(), FT_OK);
    std::uint32_t queued = 0;
    device.GetQueueStatus(&queued);
    EXPECT_EQ(queued, 6u);
    clock.Sleep(150);
    device.Close();
  }
}

TEST(ReplayDevice, HoldsEveryByteOfItsFile) {
  std::string bytes;
  for (int i = 0; i < 20000; ++i) bytes += static_cast<char>(i * 31);
  const std::string path = testing::TempDir() + "/every_byte.bin";
  std::ofstream(path, std::ios::binary) << bytes;
  VirtualClock clock;
  std::string error;
  const auto device = MakeDevice(Parsed<ReplaySettings>("replay:" + path), 7, clock, &error);
  ASSERT_NE(device, nullptr) << error;
  EXPECT_EQ(device->Identity().serial, "REPLAY7");
  ASSERT_EQ(device->Open(), FT_OK);
  clock.Sleep(2000);
  std::string said(bytes.size() + 1, '\0');
  std::uint32_t read = 0;
  device->Read(said.data(), 20001, &read);
  EXPECT_TRUE(said.substr(0, read) == bytes);
  std::remove(path.c_str());
}

TEST(ReplayDevice, AFileThatCanNotBeReadIsNamed) {
  VirtualClock clock;
  for (const std::string path : {"/no/such/file", "/"}) {
    std::string error;
    EXPECT_EQ(MakeDevice(Parsed<ReplaySettings>("replay:" + path), 1, clock, &error), nullptr);
    EXPECT_EQ(error, "--device replay: takes a file that can be read, not \"" + path + "\"");
  }
}

}  // namespace
}  // namespace halden
