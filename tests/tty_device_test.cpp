#include "platform/linux/tty_device.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <tuple>

#include "tests/pty.h"

namespace halden {
namespace {

std::string Text(const Dcb& line) {
  return std::to_string(line.BaudRate) + " " + std::to_string(line.ByteSize) + std::to_string(line.Parity) +
         std::to_string(line.StopBits);
}

/// Waits until `count` bytes have come or the device is lost, which takes the kernel a moment.
std::uint32_t AwaitQueue(TtyDevice& device, std::uint32_t count) {
  std::uint32_t queued = 0;
  while (device.GetQueueStatus(&queued) == FT_OK && queued < count) {
  }
  return queued;
}

std::string ReadAll(TtyDevice& device, std::uint32_t room = 4096) {
  std::string text(room, '\0');
  std::uint32_t count = 0;
  return device.Read(text.data(), room, &count) == FT_OK ? text.substr(0, count) : "failed";
}

TEST(TtyLine, TurnsEachFormatIntoFlagsAndBack) {
  const struct {
    std::uint8_t word_length, stop_bits, parity;
    unsigned flags;
    const char* text;
  } cases[] = {
      {8, 0, 0, CS8, "250000 800"},
      {7, 2, 2, CS7 | PARENB | CSTOPB, "250000 722"},
      {7, 0, 1, CS7 | PARENB | PARODD, "250000 710"},
      {8, 0, 3, CS8 | PARENB | CMSPAR | PARODD, "250000 830"},
      {8, 2, 4, CS8 | PARENB | CMSPAR | CSTOPB, "250000 842"},
  };
  for (const auto& c : cases) {
    for (const unsigned before : {0u, ~0u}) {
      termios2 settings{};
      settings.c_cflag = before;
      settings.c_ospeed = 250000;
      EXPECT_TRUE(PutFormat(c.word_length, c.stop_bits, c.parity, &settings));
      EXPECT_EQ(settings.c_cflag, (before & ~(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR)) | c.flags);
      Dcb line;
      ASSERT_TRUE(LineOf(settings, &line));
      EXPECT_EQ(Text(line), c.text);
    }
  }
}

TEST(TtyDevice, SetsRateAndFormatAndPutsBackWhatItFound) {
  using Settings = std::tuple<unsigned, unsigned, unsigned, unsigned, unsigned>;
  Pty pty;
  const auto all = [&](unsigned without) {
    const termios2 s = pty.Settings();
    return Settings{s.c_iflag, s.c_oflag, s.c_cflag, s.c_lflag & ~without, s.c_ospeed};
  };
  const Settings found = all(ECHO);
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
  const Settings set = all(0);
  EXPECT_NE(device.SetBaudRate(0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(8, 1, 0), FT_OK) << "one and a half stop bits";
  EXPECT_NE(device.SetDataCharacteristics(8, 0, 5), FT_OK);
  EXPECT_EQ(all(0), set);
  device.Close();
  EXPECT_EQ(all(0), found) << "but for the echo";
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

TEST(TtyDevice, CarriesEveryByteUnchangedBothWays) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  std::string text = "odd";
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  ASSERT_TRUE(pty.Write(text));
  ASSERT_EQ(AwaitQueue(device, 259), 259u);
  EXPECT_EQ(ReadAll(device), text);
  std::uint32_t written = 0;
  ASSERT_EQ(device.Write(text.data(), 259, &written), FT_OK);
  EXPECT_EQ(written, 259u);
  EXPECT_EQ(pty.Read(), text);
}

TEST(TtyDevice, HandsOutWhatCameBeforeTheOtherEndWasClosedAndThenFails) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  ASSERT_TRUE(pty.Write("last words"));
  ASSERT_EQ(AwaitQueue(device, 10), 10u);
  pty.Hangup();
  EXPECT_EQ(ReadAll(device, 4), "last");
  EXPECT_EQ(ReadAll(device), " words");
  AwaitQueue(device, 1);
  std::uint32_t count = 0;
  EXPECT_EQ(ReadAll(device), "failed");
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
  Pty pty;
  const std::pair<std::string, std::string> cases[] = {{"/dev/no-such-tty", "no such file"},
                                                       {"/dev/null", "not a serial device"},
                                                       {"/tmp", "not a serial device"},
                                                       {pty.path() + "/x", "no such file"}};
  for (const auto& [path, reason] : cases) {
    TtyDevice device(path);
    EXPECT_NE(device.Open(), FT_OK);
    EXPECT_EQ(device.OpenFailure(), path + ": " + reason);
  }
  if (geteuid() != 0) return;  // only the superuser can be somebody else
  chmod(pty.path().c_str(), 0600);
  ASSERT_EQ(seteuid(65534), 0);
  TtyDevice device(pty.path());
  EXPECT_NE(device.Open(), FT_OK);
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_NE(device.OpenFailure().find("permission denied, it belongs to the group "), std::string::npos);
}

TEST(TtyDevice, TakesItsComNumberFromTheNameThatLinksLeadTo) {
  Pty pty;
  const std::string link = testing::TempDir() + "/tty-link-77-" + std::to_string(getpid());
  std::filesystem::create_symlink(pty.path(), link);
  EXPECT_EQ(TtyDevice(link).Identity().com, pty.number() + 1);
  EXPECT_EQ(TtyDevice(link).Identity().serial, "pts/" + std::to_string(pty.number()));
  EXPECT_EQ(TtyDevice(link).Open(), FT_OK);
  std::filesystem::remove(link);
  EXPECT_EQ(ComNumberOf("ttyUSB0"), 1);
  EXPECT_EQ(ComNumberOf("ttyX32766"), 32767);
  for (const char* const name : {"ttyX32767", "ttyX99999999999999999999", "console"})
    EXPECT_EQ(ComNumberOf(name), std::nullopt);
}

}  // namespace
}  // namespace halden
