#include "backends/linux/serial/serial_device.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <thread>

#include "backends/text/fixed_number_rules.h"
#include "stream/receive_buffer.h"
#include "tests/pty.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

SerialPort At(const std::string& path) {
  return SerialPort::At(path, FixedNumberRules::Comma());
}

/// A device that is open on a pseudo-terminal.
struct OpenDevice {
  OpenDevice() { EXPECT_EQ(device.Open(), FT_OK) << device.OpenFailure(); }
  void Take(std::uint32_t most = 1000) {
    std::string part(most, '\0');
    std::uint32_t count = 0;
    if (device.Read(part.data(), most, &count) == FT_OK) taken += part.substr(0, count);
  }

  Pty pty;
  SerialDevice device{At(pty.path())};
  std::size_t said = 0;
  std::string taken;
};

TEST(LineSettings, TurnsEachFormatIntoFlagsAndBack) {
  constexpr unsigned kParity[] = {0, PARENB | PARODD, PARENB, PARENB | CMSPAR | PARODD, PARENB | CMSPAR};
  for (std::uint8_t parity = 0; parity < 5; ++parity)
    for (const auto& [bits, stop, flags] :
         {std::tuple{std::uint8_t{7}, std::uint8_t{2}, CS7 | CSTOPB}, {8, 0, CS8}}) {
      termios2 settings{};
      settings.c_cflag = ~0u;
      settings.c_ospeed = 1;
      EXPECT_TRUE(PutFormat(bits, stop, parity, &settings));
      EXPECT_EQ(settings.c_cflag, ~(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR) | flags | kParity[parity]);
      Dcb back;
      EXPECT_TRUE(LineOf(settings, &back));
      EXPECT_EQ(back, (Dcb{.BaudRate = 1, .ByteSize = bits, .Parity = parity, .StopBits = stop}));
    }
}

TEST(SerialDevice, SetsRateAndFormatAndPutsBackWhatItFound) {
  const Pty pty;
  const auto all = [&] {
    const termios2 s = pty.Settings();
    return std::vector<unsigned>{s.c_iflag, s.c_oflag, s.c_cflag, s.c_lflag & ~unsigned{ECHO}, s.c_ospeed};
  };
  const auto found = all();
  const ScratchDirectory folder;
  std::filesystem::create_symlink(pty.path(), folder / "link77");
  SerialDevice device(At(folder / "link77"));
  EXPECT_EQ(device.Identity().com, pty.number() + 1) << "of the name that links lead to";
  EXPECT_EQ(ComNumberOf("ttyX32767"), std::nullopt);
  EXPECT_EQ(At("/nowhere/Жук1").identity.serial,
            "/nowhere/\xC6\xF3\xEA"
            "1");
  Dcb line, line_while_open;
  EXPECT_TRUE(device.GetDefaultLineSettings(&line));
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  EXPECT_EQ(device.SetBaudRate(250000), FT_OK);
  EXPECT_EQ(pty.Settings().c_ospeed, 250000u);
  // A pseudo-terminal drops the data bits and the parity's switch, and keeps the rest.
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 3), FT_OK);
  EXPECT_EQ(pty.Settings().c_cflag & (CSTOPB | PARODD | CMSPAR), unsigned{CSTOPB | PARODD | CMSPAR});
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(8, 1, 0), FT_OK) << "one and a half stop bits";
  EXPECT_TRUE(device.GetDefaultLineSettings(&line_while_open));
  EXPECT_EQ(line_while_open, line);
  device.Close();
  EXPECT_EQ(all(), found);
  EXPECT_EQ(pty.Settings().c_lflag & ECHO, 0u);
}

TEST(SerialDevice, HandsOutWhatCameBeforeTheOtherEndWasClosedAndThenFails) {
  OpenDevice open;
  ASSERT_TRUE(open.pty.Write("last words"));
  std::uint32_t count = 0;
  while (count < 10) ASSERT_EQ(open.device.GetQueueStatus(&count), FT_OK);
  open.pty.Hangup();
  for (const std::uint32_t most : {4, 6}) open.Take(most);
  EXPECT_EQ(open.taken, "last words");
  while (open.device.GetQueueStatus(&count) == FT_OK) EXPECT_EQ(count, 0u);
  char byte = 0;
  EXPECT_NE(open.device.Read(&byte, 1, &count), FT_OK);
}

TEST(SerialDevice, KeepsOthersOutUntilItIsClosed) {
  OpenDevice first;
  const std::string path = first.pty.path();
  SerialDevice second(At(path));
  EXPECT_NE(second.Open(), FT_OK);
  EXPECT_EQ(second.OpenFailure(), path + ": held by another program");
  if (geteuid() != 0) return;  // nobody else can look past the hold
  const int other = open(path.c_str(), O_RDWR | O_NOCTTY);
  int exclusive = 0;
  ioctl(other, TIOCGEXCL, &exclusive);
  EXPECT_EQ(exclusive, 1) << "other programs ask by one of two ways";
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  first.device.Close();
  ioctl(other, TIOCGEXCL, &exclusive);
  EXPECT_EQ(exclusive, 0);
  ioctl(other, TIOCEXCL);
  EXPECT_NE(second.Open(), FT_OK);
  close(other);
}

TEST(SerialDevice, SaysWhyItCanNotBeOpened) {
  SerialDevice file(At("/dev/null"));
  EXPECT_NE(file.Open(), FT_OK);
  EXPECT_EQ(file.OpenFailure(), "/dev/null: not a serial device");
  const Pty pty;
  SerialDevice denied(At(pty.path()));
  std::filesystem::permissions(pty.path(), std::filesystem::perms(0600));
  if (seteuid(65534) != 0) return;  // only the superuser can be somebody else
  EXPECT_NE(denied.Open(), FT_OK);
  EXPECT_EQ(seteuid(0), 0);
  EXPECT_TRUE(denied.OpenFailure().starts_with(pty.path() + ": permission denied, it belongs to the group "));
}

TEST(SerialReader, LosesNothingWhenNobodyTakesAndTheQueueIsFull) {
  OpenDevice open;
  std::string text(SerialReader::kCapacity * 3, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 2654435761u >> 13);
  std::thread writer([&] {
    for (std::size_t done = 0; done < text.size(); done += 1024) open.pty.Write(text.substr(done, 1024));
  });
  std::uint32_t queued = 0;
  while (queued < SerialReader::kCapacity) ASSERT_EQ(open.device.GetQueueStatus(&queued), FT_OK);
  static_assert(2 * SerialReader::kCapacity <= ReceiveBuffer::kSize, "or a pause would cost a part line");
  while (open.taken.size() < text.size()) open.Take();
  EXPECT_EQ(open.taken, text);
  writer.join();
}

TEST(SerialReader, KeepsOrderWhateverHappensWhileItReads) {
  const std::vector<std::function<void(OpenDevice&)>> events = {
      [](OpenDevice& open) {
        open.pty.Write(std::string("abcdefgh").substr(open.said, 2));
        open.said += 2;
      },
      [](OpenDevice& open) { open.Take(); },
      [](OpenDevice& open) { open.device.Purge(FT_PURGE_RX | FT_PURGE_TX); },
      [](OpenDevice& open) { open.device.Close(), open.device.Open(); },
      [](OpenDevice& open) { open.pty.Hangup(); }};
  for (int sequence = 0; sequence < 5 * 5 * 5 * 5; ++sequence) {
    OpenDevice open;
    bool whole = true;
    for (int rest = sequence, i = 0; i < 4 && open.device.OpenFailure().empty(); ++i, rest /= 5) {
      events[rest % 5](open);
      whole = whole && rest % 5 < 2;
    }
    while (whole && open.taken.size() < open.said) open.Take();
    const auto wrong = std::adjacent_find(open.taken.begin(), open.taken.end(), std::greater_equal<>());
    EXPECT_EQ(wrong, open.taken.end()) << sequence;
  }
}

}  // namespace
}  // namespace halden
