#include "platform/linux/tty_device.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

#include "tests/pty.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

std::string Text(const Dcb& line) {
  return std::to_string(line.BaudRate) + " " + std::to_string(line.ByteSize) + std::to_string(line.Parity) +
         std::to_string(line.StopBits);
}

std::string Read(TtyDevice& device, std::uint32_t room) {
  std::string text(room, '\0');
  std::uint32_t count = 0;
  return device.Read(text.data(), room, &count) == FT_OK ? text.substr(0, count) : "failed";
}

TEST(TtyLine, TurnsEachFormatIntoFlagsAndBack) {
  const std::pair<Dcb, unsigned> cases[] = {
      {{.ByteSize = 8, .Parity = 0, .StopBits = 0}, CS8},
      {{.ByteSize = 7, .Parity = 2, .StopBits = 2}, CS7 | PARENB | CSTOPB},
      {{.ByteSize = 7, .Parity = 1, .StopBits = 0}, CS7 | PARENB | PARODD},
      {{.ByteSize = 8, .Parity = 3, .StopBits = 0}, CS8 | PARENB | CMSPAR | PARODD},
      {{.ByteSize = 8, .Parity = 4, .StopBits = 2}, CS8 | PARENB | CMSPAR | CSTOPB},
  };
  for (auto [line, flags] : cases) {
    for (const unsigned before : {0u, ~0u}) {
      termios2 settings{};
      settings.c_cflag = before;
      settings.c_ospeed = line.BaudRate = 250000;
      EXPECT_TRUE(PutFormat(line.ByteSize, line.StopBits, line.Parity, &settings));
      EXPECT_EQ(settings.c_cflag, (before & ~(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR)) | flags);
      Dcb back;
      ASSERT_TRUE(LineOf(settings, &back));
      EXPECT_EQ(Text(back), Text(line));
    }
  }
}

TEST(TtyDevice, SetsRateAndFormatAndPutsBackWhatItFound) {
  Pty pty;
  const auto all = [&] {
    const termios2 s = pty.Settings();
    return std::vector<unsigned>{s.c_iflag, s.c_oflag, s.c_cflag, s.c_lflag & ~unsigned{ECHO}, s.c_ospeed};
  };
  const auto found = all();
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  for (const std::uint32_t rate : {300u, 250000u, 3000000u}) {
    EXPECT_EQ(device.SetBaudRate(rate), FT_OK);
    EXPECT_EQ(pty.Settings().c_ospeed, rate);
    EXPECT_EQ(pty.Settings().c_ispeed, rate);
  }
  // A pseudo-terminal drops the data bits and the parity's switch, and keeps the rest.
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 3), FT_OK);
  EXPECT_EQ(pty.Settings().c_cflag & (CSTOPB | PARODD | CMSPAR), unsigned{CSTOPB | PARODD | CMSPAR});
  const auto set = all();
  EXPECT_NE(device.SetBaudRate(0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(8, 1, 0), FT_OK) << "one and a half stop bits";
  EXPECT_NE(device.SetDataCharacteristics(8, 0, 5), FT_OK);
  EXPECT_EQ(all(), set);
  std::uint32_t written = 0;
  EXPECT_EQ(device.Write("\n", 1, &written), FT_OK);
  EXPECT_EQ(pty.Read(), '\n');
  device.Close();
  EXPECT_EQ(all(), found);
  EXPECT_EQ(pty.Settings().c_lflag & ECHO, 0u);
}

TEST(TtyDevice, TellsTheLineOfThePortAndItsDefault) {
  Pty pty;
  termios2 settings = pty.Settings();
  settings.c_cflag = (settings.c_cflag & ~CBAUD) | BOTHER | CSTOPB;
  settings.c_ospeed = 12345;
  pty.Configure(settings);
  Dcb line;
  const auto text = [&](bool known) { return known ? Text(line) : "none"; };
  TtyDevice device(pty.path()), configured(pty.path(), 57600);
  EXPECT_EQ(text(configured.GetDefaultLine(&line)), "57600 800");
  EXPECT_EQ(text(device.GetDefaultLine(&line)), "12345 802");
  ASSERT_EQ(device.Open(), FT_OK);
  device.SetBaudRate(300);
  EXPECT_EQ(text(device.GetPortLine(&line)), "12345 802") << "as found, not as changed since";
  EXPECT_TRUE(device.SetDefaultLine({.BaudRate = 4800, .ByteSize = 8, .Parity = 2}));
  device.Close();
  EXPECT_EQ(text(device.GetDefaultLine(&line)), "4800 820");
  EXPECT_EQ(text(device.GetPortLine(&line)), "12345 802");
  pty.Hangup();
  EXPECT_EQ(text(device.GetPortLine(&line)), "none");
}

TEST(TtyDevice, HandsOutWhatCameBeforeTheOtherEndWasClosedAndThenFails) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  ASSERT_TRUE(pty.Write("last words"));
  std::uint32_t count = 0;
  while (count < 10) ASSERT_EQ(device.GetQueueStatus(&count), FT_OK);
  pty.Hangup();
  EXPECT_EQ(Read(device, 4), "last");
  EXPECT_EQ(Read(device, 10), " words");
  while (device.GetQueueStatus(&count) == FT_OK) EXPECT_EQ(count, 0u);
  EXPECT_EQ(Read(device, 10), "failed");
  EXPECT_NE(device.Write("x", 1, &count), FT_OK);
  EXPECT_NE(device.SetBaudRate(9600), FT_OK);
  EXPECT_NE(device.SetDtr(true), FT_OK);
  EXPECT_NE(device.Purge(FT_PURGE_RX), FT_OK);
  EXPECT_NE(device.GetTxQueueStatus(&count), FT_OK);
  device.Close();
  EXPECT_NE(device.Open(), FT_OK);
}

TEST(TtyDevice, KeepsOthersOutUntilItIsClosed) {
  Pty pty;
  TtyDevice first(pty.path()), second(pty.path());
  ASSERT_EQ(first.Open(), FT_OK);
  EXPECT_NE(second.Open(), FT_OK);
  EXPECT_EQ(second.OpenFailure(), pty.path() + ": held by another program");
  first.Close();
  EXPECT_EQ(second.Open(), FT_OK);

  if (geteuid() != 0) return;  // nobody else can look past the hold
  const int other = open(pty.path().c_str(), O_RDWR | O_NOCTTY);
  const auto held = [&] {
    int exclusive = 0;
    EXPECT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
    return exclusive != 0;
  };
  EXPECT_TRUE(held()) << "other programs ask by one of two ways";
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  second.Close();
  ioctl(other, TIOCEXCL);
  EXPECT_NE(first.Open(), FT_OK);
  EXPECT_EQ(first.OpenFailure(), pty.path() + ": held by another program");
  EXPECT_TRUE(held()) << "a failed open leaves the other program's hold alone";
  close(other);
}

TEST(TtyDevice, SaysWhyItCanNotBeOpened) {
  const Pty pty;
  chmod(pty.path().c_str(), 0600);
  const auto reason = [](const std::string& path) {
    TtyDevice device(path);
    EXPECT_NE(device.Open(), FT_OK);
    return device.OpenFailure();
  };
  EXPECT_EQ(reason("/dev/no-such-tty"), "/dev/no-such-tty: no such file");
  EXPECT_EQ(reason("/dev/null"), "/dev/null: not a serial device");
  EXPECT_EQ(reason("/tmp"), "/tmp: not a serial device");
  if (geteuid() != 0) return;  // only the superuser can be somebody else
  ASSERT_EQ(seteuid(65534), 0);
  const std::string denied = reason(pty.path());
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_NE(denied.find("permission denied, it belongs to the group "), std::string::npos) << denied;
}

TEST(TtyDevice, TakesItsComNumberFromTheNameThatLinksLeadTo) {
  const Pty pty;
  const ScratchDirectory folder;
  std::filesystem::create_symlink(pty.path(), folder / "link77");
  TtyDevice device(folder / "link77");
  EXPECT_EQ(device.Identity().com, pty.number() + 1);
  EXPECT_EQ(device.Identity().serial, "pts/" + std::to_string(pty.number()));
  EXPECT_EQ(device.Open(), FT_OK);
  EXPECT_EQ(ComNumberOf("ttyUSB0"), 1);
  EXPECT_EQ(ComNumberOf("ttyX32766"), 32767);
  for (const char* const name : {"ttyX32767", "ttyX99999999999999999999", "console"})
    EXPECT_EQ(ComNumberOf(name), std::nullopt);
}

}  // namespace
}  // namespace halden
