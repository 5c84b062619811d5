#include "platform/linux/tty_reader.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "platform/linux/tty_device.h"
#include "tests/pty.h"

namespace halden {
namespace {

/// Takes what comes until there are `size` bytes or the device is lost.
void TakeUntil(TtyDevice& device, std::size_t size, std::string* text) {
  std::string part(1000, '\0');
  std::uint32_t count = 0;
  while (text->size() < size && device.Read(part.data(), 1000, &count) == FT_OK) text->append(part, 0, count);
}

TEST(TtyReader, LosesNothingWhenNobodyTakesAndTheQueueIsFull) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  std::string text(ByteQueue::kCapacity * 3, '\0'), taken;
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 2654435761u >> 13);
  std::thread writer([&] {
    for (std::size_t done = 0; done < text.size(); done += 1024) pty.Write(text.substr(done, 1024));
  });
  std::uint32_t queued = 0;
  while (queued < ByteQueue::kCapacity) ASSERT_EQ(device.GetQueueStatus(&queued), FT_OK);
  TakeUntil(device, text.size(), &taken);
  EXPECT_EQ(taken, text);
  writer.join();
}

/// What may happen to an open port, in any order.
enum Step { kSay, kTake, kPurge, kReopen, kUnplug, kSteps };

TEST(TtyReader, KeepsOrderWhateverHappensWhileItReads) {
  for (int sequence = 0; sequence < kSteps * kSteps * kSteps * kSteps; ++sequence) {
    Pty pty;
    TtyDevice device(pty.path());
    ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
    std::string said, taken, room(8, '\0');
    bool whole = true;
    for (int rest = sequence, i = 0; i < 4 && device.OpenFailure() == ""; ++i, rest /= kSteps) {
      const int step = rest % kSteps;
      whole = whole && (step == kSay || step == kTake);
      std::uint32_t count = 0;
      if (step == kSay) {
        const std::string two = std::string("abcdefgh").substr(said.size(), 2);
        pty.Write(two);
        said += two;
      } else if (step == kTake) {
        if (device.Read(room.data(), 8, &count) == FT_OK) taken += room.substr(0, count);
      } else if (step == kPurge) {
        device.Purge(FT_PURGE_RX | FT_PURGE_TX);
      } else if (step == kReopen) {
        device.Close();
        device.Open();
      } else {
        pty.Hangup();
      }
    }
    EXPECT_TRUE(std::is_sorted(taken.begin(), taken.end())) << sequence;
    if (!whole) continue;
    TakeUntil(device, said.size(), &taken);
    EXPECT_EQ(taken, said) << sequence;
  }
}

}  // namespace
}  // namespace halden
