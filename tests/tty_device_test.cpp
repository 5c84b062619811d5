#include "platform/linux/tty_device.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <tuple>

#include "tests/pty.h"

namespace halden {
namespace {

using Settings = std::tuple<unsigned, unsigned, unsigned, unsigned, unsigned>;

Settings AllOf(const termios2& s) {
  return {s.c_iflag, s.c_oflag, s.c_cflag, s.c_lflag, s.c_ospeed};
}

std::string Text(const Dcb& line) {
  return std::to_string(line.BaudRate) + " " + std::to_string(line.ByteSize) + std::to_string(line.Parity) +
         std::to_string(line.StopBits);
}

/// Waits until `count` bytes have come, which takes the kernel a moment.
std::uint32_t AwaitQueue(TtyDevice& device, std::uint32_t count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  std::uint32_t queued = 0;
  while (device.GetQueueStatus(&queued) == FT_OK && queued < count) {
    if (std::chrono::steady_clock::now() > end) break;
  }
  return queued;
}

/// Waits until the device has noticed that the other end is gone.
void AwaitLoss(TtyDevice& device) {
  AwaitQueue(device, 1);
}

std::string ReadAll(TtyDevice& device, std::uint32_t room = 4096) {
  std::string text(room, '\0');
  std::uint32_t count = 0;
  if (device.Read(text.data(), room, &count) != FT_OK) return "failed";
  return text.substr(0, count);
}

TEST(TtyLine, TurnsEachFormatIntoFlagsAndBack) {
  struct {
    std::uint8_t word_length, stop_bits, parity;
    unsigned flags;
  } const cases[] = {
      {8, 0, 0, CS8},
      {7, 2, 2, CS7 | PARENB | CSTOPB},
      {7, 0, 1, CS7 | PARENB | PARODD},
      {8, 0, 3, CS8 | PARENB | CMSPAR | PARODD},
      {8, 2, 4, CS8 | PARENB | CMSPAR | CSTOPB},
  };
  for (const auto& c : cases) {
    for (const unsigned before : {0u, ~0u}) {
      termios2 settings{};
      settings.c_cflag = before;
      settings.c_ospeed = 250000;
      EXPECT_TRUE(PutFormat(c.word_length, c.stop_bits, c.parity, &settings));
      const unsigned format = CSIZE | CSTOPB | PARENB | PARODD | CMSPAR;
      EXPECT_EQ(settings.c_cflag, (before & ~format) | c.flags);
      Dcb line;
      ASSERT_TRUE(LineOf(settings, &line));
      EXPECT_EQ(line.BaudRate, 250000u);
      EXPECT_EQ(line.ByteSize, c.word_length);
      EXPECT_EQ(line.StopBits, c.stop_bits);
      EXPECT_EQ(line.Parity, c.parity);
    }
  }
}

TEST(TtyDevice, SetsRateAndFormatAndPutsBackWhatItFound) {
  Pty pty;
  const Settings found = AllOf(pty.Settings());
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  EXPECT_EQ(device.OpenFailure(), "");
  for (const std::uint32_t rate : {300u, 9600u, 250000u, 921600u, 3000000u}) {
    EXPECT_EQ(device.SetBaudRate(rate), FT_OK);
    EXPECT_EQ(pty.Settings().c_ospeed, rate);
    EXPECT_EQ(pty.Settings().c_ispeed, rate);
  }
  // A pseudo-terminal drops the data bits and the parity's switch, and keeps the rest.
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 3), FT_OK);
  EXPECT_EQ(pty.Settings().c_cflag & (CSTOPB | PARODD | CMSPAR), unsigned{CSTOPB | PARODD | CMSPAR});
  EXPECT_EQ(device.SetDataCharacteristics(7, 0, 2), FT_OK);
  EXPECT_EQ(pty.Settings().c_cflag & (CSTOPB | PARODD | CMSPAR), 0u);

  const Settings set = AllOf(pty.Settings());
  EXPECT_NE(device.SetBaudRate(0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(8, 1, 0), FT_OK) << "one and a half stop bits";
  EXPECT_NE(device.SetDataCharacteristics(8, 0, 5), FT_OK);
  EXPECT_EQ(AllOf(pty.Settings()), set);

  EXPECT_EQ(device.SetDtr(true), FT_OK) << "no modem lines are no failure";
  EXPECT_EQ(device.SetRts(false), FT_OK);
  device.Close();
  Settings without_echo = found;
  std::get<3>(without_echo) &= ~unsigned{ECHO};
  EXPECT_EQ(AllOf(pty.Settings()), without_echo);
}

TEST(TtyDevice, TellsTheLineOfThePortAndItsDefault) {
  Pty pty;
  termios2 settings = pty.Settings();
  settings.c_cflag = (settings.c_cflag & ~CBAUD) | BOTHER | CSTOPB;
  settings.c_ospeed = 12345;
  pty.Configure(settings);
  TtyDevice device(pty.path());
  Dcb line;
  ASSERT_TRUE(device.GetDefaultLine(&line));
  EXPECT_EQ(Text(line), "12345 802");
  ASSERT_EQ(device.Open(), FT_OK);
  device.SetBaudRate(300);
  ASSERT_TRUE(device.GetPortLine(&line));
  EXPECT_EQ(Text(line), "12345 802") << "as found, not as changed since";
  line.BaudRate = 4800;
  line.Parity = 2;
  EXPECT_TRUE(device.SetDefaultLine(line));
  device.Close();
  ASSERT_TRUE(device.GetDefaultLine(&line));
  EXPECT_EQ(Text(line), "4800 822");

  TtyDevice configured(pty.path(), 57600);
  ASSERT_TRUE(configured.GetDefaultLine(&line));
  EXPECT_EQ(Text(line), "57600 800");
  ASSERT_TRUE(configured.GetPortLine(&line));
  EXPECT_EQ(Text(line), "12345 802");
  pty.Hangup();
  EXPECT_FALSE(device.GetPortLine(&line));
}

TEST(TtyDevice, CarriesEveryByteUnchangedBothWays) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  std::string text = "odd";
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  for (std::size_t sent = 0; sent < 100000; sent += text.size()) {  // the device's own queue wraps
    ASSERT_TRUE(pty.Write(text));
    ASSERT_EQ(AwaitQueue(device, 259), 259u);
    ASSERT_EQ(ReadAll(device), text);
  }
  EXPECT_EQ(ReadAll(device), "") << "nothing yet is no failure";

  std::uint32_t written = 0;
  ASSERT_EQ(device.Write(text.data(), 259, &written), FT_OK);
  EXPECT_EQ(written, 259u);
  EXPECT_EQ(pty.Read(), text);
}

TEST(TtyDevice, PurgesOnlyTheQueuesThatAreNamed) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  ASSERT_TRUE(pty.Write("old"));
  ASSERT_EQ(AwaitQueue(device, 3), 3u);
  EXPECT_EQ(device.Purge(FT_PURGE_TX), FT_OK);
  EXPECT_EQ(AwaitQueue(device, 3), 3u);
  EXPECT_EQ(device.Purge(FT_PURGE_RX | FT_PURGE_TX), FT_OK);
  ASSERT_TRUE(pty.Write("new"));
  ASSERT_EQ(AwaitQueue(device, 3), 3u);
  EXPECT_EQ(ReadAll(device), "new");
}

TEST(TtyDevice, HandsOutWhatCameBeforeTheOtherEndWasClosedAndThenFails) {
  Pty pty;
  TtyDevice device(pty.path());
  ASSERT_EQ(device.Open(), FT_OK);
  ASSERT_TRUE(pty.Write("last words"));
  ASSERT_EQ(AwaitQueue(device, 10), 10u);
  pty.Hangup();
  std::uint32_t count = 0;
  EXPECT_EQ(device.GetQueueStatus(&count), FT_OK);
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(ReadAll(device, 4), "last");
  EXPECT_EQ(ReadAll(device), " words");
  AwaitLoss(device);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(device.GetQueueStatus(&count), FT_OK);
    EXPECT_EQ(ReadAll(device), "failed");
    EXPECT_NE(device.Write("x", 1, &count), FT_OK);
    EXPECT_NE(device.SetBaudRate(9600), FT_OK);
    EXPECT_NE(device.SetDtr(true), FT_OK);
    EXPECT_NE(device.Purge(FT_PURGE_RX), FT_OK);
    EXPECT_NE(device.GetTxQueueStatus(&count), FT_OK);
  }
  device.Close();
  EXPECT_NE(device.Open(), FT_OK);
}

TEST(TtyDevice, KeepsOthersOutUntilItIsClosed) {
  Pty pty;
  TtyDevice first(pty.path());
  TtyDevice second(pty.path());
  ASSERT_EQ(first.Open(), FT_OK);
  EXPECT_NE(second.Open(), FT_OK);
  EXPECT_EQ(second.OpenFailure(), pty.path() + ": held by another program");
  first.Close();
  EXPECT_EQ(second.Open(), FT_OK);
  second.Close();

  if (geteuid() != 0) return;  // nobody else can look past the hold
  // Other programs ask by one of two ways, and hold by one of them.
  ASSERT_EQ(first.Open(), FT_OK);
  const int other = open(pty.path().c_str(), O_RDWR | O_NOCTTY);  // which the superuser may
  ASSERT_GE(other, 0);
  int exclusive = 0;
  EXPECT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
  EXPECT_EQ(exclusive, 1);
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  first.Close();
  ioctl(other, TIOCEXCL);
  EXPECT_NE(first.Open(), FT_OK);
  EXPECT_EQ(first.OpenFailure(), pty.path() + ": held by another program");
  exclusive = 0;
  EXPECT_EQ(ioctl(other, TIOCGEXCL, &exclusive), 0);
  EXPECT_EQ(exclusive, 1) << "a failed open leaves the other program's hold alone";
  close(other);
}

TEST(TtyDevice, SaysWhyItCanNotBeOpened) {
  Pty pty;
  struct {
    std::string path, reason;
  } const cases[] = {
      {"/dev/no-such-tty", "no such file"},
      {"/dev/null", "not a serial device"},
      {"/tmp", "not a serial device"},
      {pty.path() + "/x", "no such file"},
  };
  for (const auto& c : cases) {
    TtyDevice device(c.path);
    EXPECT_TRUE(device.Present());
    EXPECT_NE(device.Open(), FT_OK);
    EXPECT_EQ(device.OpenFailure(), c.path + ": " + c.reason);
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
  const int number = std::stoi(pty.path().substr(pty.path().rfind('/') + 1));
  const auto link = std::filesystem::path(::testing::TempDir()) / "tty-link-77";
  std::filesystem::remove(link);
  std::filesystem::create_symlink(pty.path(), link);
  TtyDevice device(link.string());
  EXPECT_EQ(device.Identity().com, number + 1);
  EXPECT_EQ(device.Identity().serial, "pts/" + std::to_string(number));
  EXPECT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  std::filesystem::remove(link);

  EXPECT_EQ(TtyDevice("/dev/ttyUSB0").Identity().com, 1);
  EXPECT_EQ(TtyDevice("/dev/ttyX32766").Identity().com, 32767);
  EXPECT_EQ(TtyDevice("/dev/ttyX32767").Identity().com, std::nullopt);
  EXPECT_EQ(TtyDevice("/dev/ttyX99999999999999999999").Identity().com, std::nullopt);
  EXPECT_EQ(TtyDevice("/dev/console").Identity().com, std::nullopt);
}

}  // namespace
}  // namespace halden
