#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "tests/faulty_driver.h"

namespace halden {
namespace {

constexpr std::size_t kBufferSize = 65536;

/// A recording driver beside a model of what its buffer holds.
struct Soak : FedDriver {
  std::string pending;  ///< sent, not yet read
  std::string held;     ///< read, not yet taken
  std::vector<std::string> expected;
  std::uint64_t frames = 0;
  int line = 0;

  void Record() {
    pending.clear();
    held.clear();
    adc->InputSizeData(32768);
    adc->InputChannels({0});
    adc->ChannelRange(0, 9);
    ASSERT_TRUE(adc->StartRecord());
  }

  void Send(unsigned lines) {
    std::string bytes;
    for (unsigned i = 0; i < lines; ++i, line = (line + 1) % 30000) bytes += std::to_string(line) + ";7\r\n";
    pending =
        (pending + bytes).substr(0, ByteQueue::kCapacity);  // what comes while the queue is full is lost
    sim.device(0).Feed(bytes);
  }

  void Tick() {
    sim.clock().Sleep(49);
    sim.clock().RunFor(1);
    if (pending.empty()) return;
    if (pending.size() > kBufferSize - held.size()) held.clear();
    held += pending.substr(0, kBufferSize);
    pending.erase(0, std::min(pending.size(), kBufferSize));
    std::size_t begin = 0;
    for (std::size_t cr; (cr = held.find('\r', begin)) != std::string::npos;) {
      if (cr > begin) expected.push_back(held.substr(begin, cr - begin));
      begin = cr + 1;
      if (begin < held.size() && held[begin] == '\n') ++begin;
    }
    if (begin != 1 || held.size() == 1) held.erase(0, begin);
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
  std::uint64_t elapsed = 0;
  std::uint32_t tick = soak.sim.clock().GetTickCount();
  for (int action = 0; elapsed < kFiftyDays && !HasFailure(); ++action) {
    SCOPED_TRACE("action " + std::to_string(action));
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
    const std::uint32_t now = soak.sim.clock().GetTickCount();
    elapsed += now - tick;
    tick = now;
  }
  std::printf("%llu frames\n", static_cast<unsigned long long>(soak.frames));
  EXPECT_GT(soak.frames, 10000u);
}

}  // namespace
}  // namespace halden
