#include "platform/linux/tty_reader.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>

#include "platform/linux/tty_device.h"
#include "tests/pty.h"

namespace halden {
namespace {

std::string Numbered(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 2654435761u >> 13);
  return text;
}

std::string TakeUntil(TtyDevice& device, std::size_t size) {
  std::string text;
  std::string part(1000, '\0');
  std::uint32_t count = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (text.size() < size && std::chrono::steady_clock::now() < end &&
         device.Read(part.data(), 1000, &count) == FT_OK)
    text.append(part, 0, count);
  return text;
}

TEST(TtyReader, LosesNothingWhenNobodyTakesAndTheQueueIsFull) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  const std::string text = Numbered(ByteQueue::kCapacity * 3);
  std::thread writer([&] {
    for (std::size_t done = 0; done < text.size(); done += 1024) pty.Write(text.substr(done, 1024));
  });
  std::uint32_t queued = 0;
  while (queued < ByteQueue::kCapacity) ASSERT_EQ(device.GetQueueStatus(&queued), FT_OK);
  EXPECT_EQ(TakeUntil(device, text.size()), text);
  writer.join();
}

/// What may happen to an open port, in any order.
enum class Step { kSay, kTake, kPurge, kReopen, kUnplug };
constexpr int kSteps = 5;

void Do(Step step, Pty& pty, TtyDevice& device, char* next, std::string* taken) {
  std::uint32_t count = 0;
  char room[8];
  switch (step) {
    case Step::kSay:
      pty.Write(std::string{*next, static_cast<char>(*next + 1)});
      *next += 2;
      break;
    case Step::kTake:
      if (device.GetQueueStatus(&count) == FT_OK && device.Read(room, sizeof room, &count) == FT_OK)
        taken->append(room, count);
      break;
    case Step::kPurge:
      device.Purge(FT_PURGE_RX | FT_PURGE_TX);
      break;
    case Step::kReopen:
      device.Close();
      device.Open();
      break;
    case Step::kUnplug:
      pty.Hangup();
      break;
  }
}

TEST(TtyReader, KeepsOrderWhateverHappensWhileItReads) {
  for (int sequence = 0; sequence < kSteps * kSteps * kSteps * kSteps; ++sequence) {
    Pty pty;
    TtyDevice device(pty.path());
    ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
    std::set<Step> done;
    std::string taken;
    char next = 'a';
    for (int rest = sequence, i = 0; i < 4; ++i, rest /= kSteps) {
      const auto step = static_cast<Step>(rest % kSteps);
      done.insert(step);
      Do(step, pty, device, &next, &taken);
      if (device.OpenFailure() != "") break;  // it is closed for good
    }
    EXPECT_TRUE(std::is_sorted(taken.begin(), taken.end())) << sequence;
    if (done.contains(Step::kPurge) || done.contains(Step::kReopen) || done.contains(Step::kUnplug)) continue;
    taken += TakeUntil(device, static_cast<std::size_t>(next - 'a') - taken.size());
    EXPECT_EQ(taken, std::string("abcdefgh").substr(0, static_cast<std::size_t>(next - 'a'))) << sequence;
  }
}

}  // namespace
}  // namespace halden
