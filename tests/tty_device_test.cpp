#include "platform/linux/tty_device.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "tests/pty.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

std::string ReasonOf(const std::string& path) {
  TtyDevice device(path);
  EXPECT_NE(device.Open(), FT_OK);
  return device.OpenFailure();
}

TEST(TtyLine, TurnsEachFormatIntoFlagsAndBack) {
  const std::pair<Dcb, unsigned> cases[] = {
      {{.BaudRate = 1, .ByteSize = 7, .Parity = 2, .StopBits = 2}, CS7 | PARENB | CSTOPB},
      {{.BaudRate = 1, .ByteSize = 7, .Parity = 1}, CS7 | PARENB | PARODD},
      {{.BaudRate = 1, .ByteSize = 8, .Parity = 3}, CS8 | PARENB | CMSPAR | PARODD},
      {{.BaudRate = 1, .ByteSize = 8, .Parity = 4, .StopBits = 2}, CS8 | PARENB | CMSPAR | CSTOPB}};
  for (const auto& [line, flags] : cases) {
    termios2 settings{};
    settings.c_cflag = ~0u;
    settings.c_ospeed = 1;
    EXPECT_TRUE(PutFormat(line.ByteSize, line.StopBits, line.Parity, &settings));
    EXPECT_EQ(settings.c_cflag, ~(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR) | flags);
    Dcb back;
    EXPECT_TRUE(LineOf(settings, &back));
    EXPECT_EQ(back, line);
  }
}

TEST(TtyDevice, SetsRateAndFormatAndPutsBackWhatItFound) {
  const Pty pty;
  const auto all = [&] {
    const termios2 s = pty.Settings();
    return std::vector<unsigned>{s.c_iflag, s.c_oflag, s.c_cflag, s.c_lflag & ~unsigned{ECHO}, s.c_ospeed};
  };
  const auto found = all();
  TtyDevice device(pty.path());
  Dcb line, line_while_open;
  EXPECT_TRUE(device.GetDefaultLine(&line));
  EXPECT_EQ(line.BaudRate, pty.Settings().c_ospeed);
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  EXPECT_EQ(device.SetBaudRate(250000), FT_OK);
  EXPECT_EQ(pty.Settings().c_ospeed, 250000u);
  // A pseudo-terminal drops the data bits and the parity's switch, and keeps the rest.
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 3), FT_OK);
  EXPECT_EQ(pty.Settings().c_cflag & (CSTOPB | PARODD | CMSPAR), unsigned{CSTOPB | PARODD | CMSPAR});
  const auto set = all();
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(8, 1, 0), FT_OK) << "one and a half stop bits";
  EXPECT_NE(device.SetDataCharacteristics(8, 0, 5), FT_OK);
  EXPECT_EQ(all(), set);
  EXPECT_TRUE(device.GetDefaultLine(&line_while_open));
  EXPECT_EQ(line_while_open, line);
  std::uint32_t written = 0;
  EXPECT_EQ(device.Write("\n", 1, &written), FT_OK);
  EXPECT_EQ(pty.Read(), '\n');
  device.Close();
  EXPECT_EQ(all(), found);
  EXPECT_EQ(pty.Settings().c_lflag & ECHO, 0u);
}

TEST(TtyDevice, HandsOutWhatCameBeforeTheOtherEndWasClosedAndThenFails) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  ASSERT_TRUE(pty.Write("last words"));
  std::uint32_t count = 0;
  while (count < 10) ASSERT_EQ(device.GetQueueStatus(&count), FT_OK);
  pty.Hangup();
  char words[11] = "";
  EXPECT_EQ(device.Read(words, 4, &count), FT_OK);
  EXPECT_EQ(device.Read(words + 4, 6, &count), FT_OK);
  EXPECT_STREQ(words, "last words");
  while (device.GetQueueStatus(&count) == FT_OK) EXPECT_EQ(count, 0u);
  EXPECT_NE(device.Read(words, 10, &count), FT_OK);
  EXPECT_NE(device.Write("x", 1, &count), FT_OK);
  EXPECT_NE(device.SetBaudRate(9600), FT_OK);
  EXPECT_NE(device.SetDtr(true), FT_OK);
  EXPECT_NE(device.Purge(FT_PURGE_RX), FT_OK);
}

TEST(TtyDevice, KeepsOthersOutUntilItIsClosed) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  EXPECT_EQ(ReasonOf(pty.path()), pty.path() + ": held by another program");

  if (geteuid() != 0) return;  // nobody else can look past the hold
  const int other = open(pty.path().c_str(), O_RDWR | O_NOCTTY);
  const auto held = [other] {
    int exclusive = -1;
    ioctl(other, TIOCGEXCL, &exclusive);
    return exclusive;
  };
  EXPECT_EQ(held(), 1) << "other programs ask by one of two ways";
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  device.Close();
  EXPECT_EQ(held(), 0);
  ioctl(other, TIOCEXCL);
  EXPECT_EQ(ReasonOf(pty.path()), pty.path() + ": held by another program");
  EXPECT_EQ(held(), 1) << "a failed open leaves the other program's hold alone";
  close(other);
}

TEST(TtyDevice, SaysWhyItCanNotBeOpened) {
  const Pty pty;
  chmod(pty.path().c_str(), 0600);
  EXPECT_EQ(ReasonOf("/dev/null"), "/dev/null: not a serial device");
  EXPECT_EQ(ReasonOf("/tmp"), "/tmp: not a serial device");
  if (geteuid() != 0) return;  // only the superuser can be somebody else
  ASSERT_EQ(seteuid(65534), 0);
  const std::string denied = ReasonOf(pty.path());
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_NE(denied.find("permission denied, it belongs to the group "), std::string::npos) << denied;
}

TEST(TtyDevice, TakesItsComNumberFromTheNameThatLinksLeadTo) {
  const Pty pty;
  const ScratchDirectory folder;
  std::filesystem::create_symlink(pty.path(), folder / "link77");
  const DeviceIdentity identity = TtyDevice(folder / "link77").Identity();
  EXPECT_EQ(identity.com, pty.number() + 1);
  EXPECT_EQ(ComNumberOf("ttyX32766"), 32767);
  for (const char* const name : {"ttyX32767", "ttyX99999999999999999999", "console"})
    EXPECT_EQ(ComNumberOf(name), std::nullopt);
}

}  // namespace
}  // namespace halden
