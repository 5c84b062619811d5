#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "tests/faulty_driver.h"
#include "tests/framing_model.h"

namespace halden {
namespace {

/// A driver with a device that says just what it is given, detected.
struct FedDriver : FaultyDriver {
  FedDriver() : FaultyDriver({"sim:silent"}) { Detect(); }

  void Detect() {
    adc = apartment.CreateObject();
    std::string lines;
    for (int line = 0; line < 300; ++line) lines += "0;0\r\n";
    SayWhileProbed(lines);
    adc->Test();
    sim.clock().RunFor(60);
    machine.d2xx.received.clear();
  }

  void Record() {
    adc->InputSizeData(32768);
    adc->InputChannels({0});
    adc->ChannelRange(0, 9);
    EXPECT_TRUE(adc->StartRecord());
  }
};

enum State { kIdle, kRecording, kWindowShown };

TEST(DeviceLoss, AtEveryByteLeavesTheWholeLinesThatWereReceived) {
  const std::string bytes = "1;2\r\n-3.5;40\r\n5;6\r\r7;8\r\n9;10\r\n11";
  for (const State state : {kIdle, kRecording, kWindowShown})
    for (std::size_t byte = 0; byte <= bytes.size(); ++byte) {
      SCOPED_TRACE(std::to_string(state) + ", byte " + std::to_string(byte));
      FedDriver driver;
      PacedDevice& device = driver.sim.device(0);
      const auto speak = [&] {
        if (state != kIdle) driver.Record();
        device.Feed(bytes.substr(0, byte));
      };
      const auto leave = [&] {
        device.Feed(bytes.substr(byte));
        device.Unplug();
      };
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
      std::string received = driver.machine.d2xx.received;
      EXPECT_EQ(received, bytes.substr(0, byte));
      std::vector<std::string> lines = LinesOfPass(received);
      std::erase(lines, "");
      EXPECT_EQ(driver.adc->InputCountKadrs(), state == kIdle ? 0 : static_cast<int>(lines.size()));
      EXPECT_TRUE(driver.adc->Test());
      driver.adc.reset();
      EXPECT_EQ(driver.faults.OpenHandles(), 0u);
      device.Plug();
      driver.Detect();
      EXPECT_TRUE(driver.adc->Detected());
    }
}

/// A recording driver beside a model of what its buffer holds.
struct Soak : FedDriver {
  std::string pending;  ///< sent, not yet read
  std::string held;     ///< read, not yet taken
  std::vector<std::string> expected;
  std::uint64_t frames = 0;
  int number = 0;

  void Send(unsigned lines) {
    std::string bytes;
    for (; lines > 0; --lines, number = (number + 1) % 30000) bytes += std::to_string(number) + ";7\r\n";
    sim.device(0).Feed(bytes);
    // What comes while the queue is full is lost.
    pending = (pending + bytes).substr(0, ByteQueue::kCapacity);
  }

  void Tick() {
    constexpr std::size_t kBufferSize = 65536;
    sim.clock().Sleep(49);
    sim.clock().RunFor(1);
    if (pending.empty()) return;
    if (pending.size() > kBufferSize - held.size()) held.clear();
    held += pending.substr(0, kBufferSize);
    pending.erase(0, kBufferSize);
    for (std::string& line : LinesOfPass(held))
      if (!line.empty()) expected.push_back(std::move(line));
  }

  void Read() {
    std::vector<std::int16_t> codes(32768);
    std::int32_t size = 32768;
    std::int32_t left = 0;
    const std::int32_t count = adc->GetData(codes.data(), size, left);
    ASSERT_EQ(count, static_cast<std::int32_t>(expected.size()));
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const bool has_number = expected[i].find_first_not_of("0123456789;") == std::string::npos;
      if (!has_number || expected[i][0] == ';') continue;
      ASSERT_EQ(codes[i], std::min(std::atof(expected[i].c_str()), 32767.0)) << expected[i];
    }
    frames += expected.size();
    expected.clear();
    ASSERT_TRUE(adc->Rate() >= 0.01f && adc->Rate() <= adc->RateMax());
  }

  void Replug() {
    sim.device(0).Unplug();
    Tick();
    sim.device(0).Plug();
    adc.reset();
    pending.clear();
    held.clear();
    Detect();
    Record();
  }
};

/// HALDEN_SOAK_PAUSE in the environment asks for another mean pause, in milliseconds: the shorter, the more
/// happens in the fifty days.
TEST(Soak, FiftyDaysLoseNothingButWhatTheRulesDrop) {
  constexpr std::uint64_t kFiftyDays = 50ull * 24 * 3600 * 1000;
  const char* asked = std::getenv("HALDEN_SOAK_PAUSE");
  const unsigned pause = asked ? std::atoi(asked) : 1800 * 1000;
  std::mt19937 generator(7);
  const auto below = [&](unsigned bound) { return static_cast<unsigned>(generator() % bound); };
  Soak soak;
  soak.Record();
  std::uint32_t tick = soak.sim.clock().GetTickCount();
  for (std::uint64_t elapsed = 0; elapsed < kFiftyDays && !HasFailure();) {
    SCOPED_TRACE("after " + std::to_string(elapsed) + " ms");
    soak.sim.clock().Sleep(below(2 * pause));
    const unsigned kind = below(100);
    if (kind == 0) soak.Replug();
    const std::int64_t live = LiveAllocations();
    soak.Send(kind < 3 ? 8000 + below(8000) : below(150));
    for (unsigned ticks = 1 + below(4); ticks > 0; --ticks) soak.Tick();
    soak.Read();
    soak.machine.d2xx.received.clear();
    soak.faults.calls = {};
    soak.held.shrink_to_fit(), soak.pending.shrink_to_fit(), soak.expected.shrink_to_fit();
    EXPECT_LE(LiveAllocations() - live, 2) << "but for the strings of the model";
    elapsed += soak.sim.clock().GetTickCount() - tick;
    tick = soak.sim.clock().GetTickCount();
  }
  std::printf("%llu frames\n", static_cast<unsigned long long>(soak.frames));
  EXPECT_GT(soak.frames, 10000u);
}

}  // namespace
}  // namespace halden
