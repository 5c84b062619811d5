#include "platform/linux/tty_reader.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/tty_device.h"
#include "stream/receive_buffer.h"
#include "tests/pty.h"

namespace halden {
namespace {

/// A device that is open on a pseudo-terminal.
struct OpenDevice {
  OpenDevice() { EXPECT_EQ(device.Open(), FT_OK) << device.OpenFailure(); }
  void Take() {
    std::string part(1000, '\0');
    std::uint32_t count = 0;
    if (device.Read(part.data(), 1000, &count) == FT_OK) taken += part.substr(0, count);
  }

  Pty pty;
  TtyDevice device{pty.path()};
  std::string taken;
};

TEST(TtyReader, LosesNothingWhenNobodyTakesAndTheQueueIsFull) {
  OpenDevice open;
  std::string text(TtyReader::kCapacity * 3, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 2654435761u >> 13);
  std::thread writer([&] {
    for (std::size_t done = 0; done < text.size(); done += 1024) open.pty.Write(text.substr(done, 1024));
  });
  std::uint32_t queued = 0;
  while (queued < TtyReader::kCapacity) ASSERT_EQ(open.device.GetQueueStatus(&queued), FT_OK);
  EXPECT_LE(2 * queued, static_cast<std::uint32_t>(ReceiveBuffer::kSize))
      << "or a pause would cost a part line";
  while (open.taken.size() < text.size()) open.Take();
  EXPECT_EQ(open.taken, text);
  writer.join();
}

TEST(TtyReader, KeepsOrderWhateverHappensWhileItReads) {
  std::string said;
  const std::vector<std::function<void(OpenDevice&)>> events = {
      [&](OpenDevice& open) {
        const std::string two = std::string("abcdefgh").substr(said.size(), 2);
        open.pty.Write(two);
        said += two;
      },
      [](OpenDevice& open) { open.Take(); },
      [](OpenDevice& open) { open.device.Purge(FT_PURGE_RX | FT_PURGE_TX); },
      [](OpenDevice& open) { open.device.Close(), open.device.Open(); },
      [](OpenDevice& open) { open.pty.Hangup(); }};
  for (int sequence = 0; sequence < 5 * 5 * 5 * 5; ++sequence) {
    OpenDevice open;
    said.clear();
    bool whole = true;
    for (int rest = sequence, i = 0; i < 4 && open.device.OpenFailure().empty(); ++i, rest /= 5) {
      events[rest % 5](open);
      whole = whole && rest % 5 < 2;
    }
    while (whole && open.taken.size() < said.size()) open.Take();
    EXPECT_TRUE(std::is_sorted(open.taken.begin(), open.taken.end())) << sequence;
    EXPECT_TRUE(!whole || open.taken == said) << sequence;
  }
}

}  // namespace
}  // namespace halden
