#include "backends/linux/serial/serial_device.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

#include "backends/linux/terminal/posix_terminal.h"
#include "backends/text/fixed_number_rules.h"
#include "stream/receive_buffer.h"
#include "tests/faults.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

SerialPort PortAt(const std::string& path) {
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
  SerialDevice device{PortAt(pty.path())};
  std::size_t written = 0;
  std::string taken;
};

TEST(LineSettings, EachFormatSurvivesConversionToFlags) {
  constexpr unsigned kParity[] = {0, PARENB | PARODD, PARENB, PARENB | CMSPAR | PARODD, PARENB | CMSPAR};
  struct Format {
    std::uint8_t bits, stop;
    unsigned flags;
  };
  for (std::uint8_t parity = 0; parity < 5; ++parity)
    for (const Format& format :
         {Format{.bits = 7, .stop = 2, .flags = CS7 | CSTOPB}, Format{.bits = 8, .stop = 0, .flags = CS8}}) {
      termios2 settings{};
      settings.c_cflag = ~0u;
      settings.c_ospeed = 1;
      EXPECT_TRUE(ApplyFormat(format.bits, format.stop, parity, &settings));
      EXPECT_EQ(settings.c_cflag,
                ~(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR) | format.flags | kParity[parity]);
      Dcb back;
      EXPECT_TRUE(ReadLineSettings(settings, &back));
      const Dcb expected{.BaudRate = 1, .ByteSize = format.bits, .Parity = parity, .StopBits = format.stop};
      EXPECT_EQ(back, expected) << "parity " << int{parity};
    }
}

TEST(SerialPort, IsNamedAfterTheTargetOfALink) {
  const Pty pty;
  const ScratchDirectory folder;
  std::filesystem::create_symlink(pty.path(), folder / "link77");
  EXPECT_EQ(PortAt(folder / "link77").identity.com, pty.number() + 1);
  EXPECT_EQ(ComNumberOf("ttyX32766"), 32767);
  EXPECT_EQ(ComNumberOf("ttyX32767"), std::nullopt);
  EXPECT_EQ(PortAt("/nowhere/Жук1").identity.serial,
            "/nowhere/\xC6\xF3\xEA"
            "1");
}

TEST(SerialDevice, SetsRateAndFormatAndRestoresWhatItFound) {
  const Pty pty;
  const termios2 found = pty.Settings();
  SerialDevice device(PortAt(pty.path()));
  Dcb before, while_open;
  EXPECT_TRUE(device.GetDefaultLineSettings(&before));
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  EXPECT_EQ(device.SetBaudRate(250000), FT_OK);
  EXPECT_EQ(pty.Settings().c_ospeed, 250000u);
  // A pseudo-terminal drops the data bits and the parity's switch, and keeps the rest.
  EXPECT_EQ(device.SetDataCharacteristics(7, 2, 3), FT_OK);
  EXPECT_EQ(pty.Settings().c_cflag & (CSTOPB | PARODD | CMSPAR), unsigned{CSTOPB | PARODD | CMSPAR});
  EXPECT_NE(device.SetDataCharacteristics(6, 0, 0), FT_OK);
  EXPECT_NE(device.SetDataCharacteristics(8, 1, 0), FT_OK) << "one and a half stop bits";
  EXPECT_TRUE(device.GetDefaultLineSettings(&while_open));
  EXPECT_EQ(while_open, before);
  device.Close();
  const termios2 after = pty.Settings();
  EXPECT_EQ(after.c_iflag, found.c_iflag);
  EXPECT_EQ(after.c_oflag, found.c_oflag);
  EXPECT_EQ(after.c_cflag, found.c_cflag);
  EXPECT_EQ(after.c_ospeed, found.c_ospeed);
  EXPECT_EQ(after.c_lflag, found.c_lflag & ~unsigned{ECHO}) << "a device must not hear itself";
}

TEST(SerialDevice, BytesBeforeAHangupAreReadBeforeCallsFail) {
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

/// Another process, which is killed with the object unless it has ended. `run` reports through the pipe that
/// it is ready, by closing it, and the constructor waits for that.
class Child {
 public:
  explicit Child(const std::function<void(int pipe)>& run) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    id_ = fork();
    if (id_ == 0) {
      close(ends[0]);
      alarm(60);  // a child that can't be ended otherwise must not block the test
      run(ends[1]);
      for (;;) pause();
    }
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0);
    close(ends[0]);
  }
  ~Child() { End(SIGKILL); }
  /// Waits for the end, after sending a signal if it isn't 0. Returns the number of the signal that ended the
  /// process, or else its exit code.
  int End(int signal) {
    int status = 0;
    if (id_ > 0 && signal != 0) kill(id_, signal);
    if (id_ > 0) waitpid(std::exchange(id_, -1), &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
  }
  std::string Name() const { return "child (process " + std::to_string(id_) + ")"; }

 private:
  pid_t id_ = -1;
};

TEST(SerialDevice, NamesWhoHoldsThePortAndWhoMayTakeItsBytes) {
  Pty pty;
  const std::string path = pty.path();
  const auto open_and_lock = [&](int operation) {
    return [&pty, &path, operation](int pipe) {
      prctl(PR_SET_NAME, "child");
      pty.Hangup();  // only here: the program at the other end isn't named
      flock(open(path.c_str(), O_RDWR | O_NOCTTY), operation);
      close(pipe);
    };
  };
  const Child other_end([&](int pipe) { open(path.c_str(), O_RDWR | O_NOCTTY), close(pipe); });
  const Child opener(open_and_lock(LOCK_UN));
  SerialDevice device(PortAt(path)), second(PortAt(path));
  ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
  EXPECT_EQ(device.TakeNotices(),
            std::vector{path + ": also open in " + opener.Name() + ", which may take bytes from it"});
  EXPECT_NE(second.Open(), FT_OK);
  EXPECT_EQ(second.OpenFailure(), path + ": held by another program") << "the holder is this process";
  device.Close();
  ASSERT_EQ(device.Open(), FT_OK) << "closing has not released the lock";
  EXPECT_EQ(device.TakeNotices(), std::vector<std::string>()) << "this has been reported";
  device.Close();
  EXPECT_EQ(second.Probe(), FT_OK);
  EXPECT_EQ(second.TakeNotices().size(), 1u);
  const Child holder(open_and_lock(LOCK_EX));
  EXPECT_NE(device.Open(), FT_OK);
  EXPECT_NE(second.Probe(), FT_OK);
  EXPECT_EQ(second.OpenFailure(), path + ": held by another program, " + holder.Name());
  EXPECT_EQ(device.OpenFailure(), path + ": held by another program, " + holder.Name());
}

TEST(SerialDevice, IsRestoredAndCanBeOpenedAgainHoweverTheProcessEnds) {
  constexpr int kExit = 0;
  const auto open_as_user = [](const Pty& pty, SerialDevice& device) {
    std::filesystem::permissions(pty.path(), std::filesystem::perms(0666));
    if (geteuid() == 0 && setuid(65534) != 0) _exit(1);
    prctl(PR_SET_DUMPABLE, 1);  // the leak checker at the process's end needs it
    if (device.Open() != FT_OK || device.SetBaudRate(250000) != FT_OK) _exit(1);
  };
  for (const int ending : {SIGINT, SIGTERM, SIGABRT, SIGALRM, SIGXFSZ, SIGRTMIN, SIGKILL, kExit}) {
    const Pty pty;
    const termios2 found = pty.Settings();
    Child child([&](int pipe) {
      if (ending != kExit) signal(ending, SIG_DFL);  // it may be ignored, by nohup for instance
      SerialDevice device(PortAt(pty.path()));
      open_as_user(pty, device);
      close(pipe);
      if (ending == kExit) std::exit(0);
      for (;;) pause();
    });
    EXPECT_EQ(child.End(ending), ending);
    if (ending != SIGKILL) {
      EXPECT_EQ(pty.Settings().c_ospeed, found.c_ospeed) << "after signal " << ending;
      EXPECT_EQ(pty.Settings().c_lflag, found.c_lflag & ~unsigned{ECHO}) << "after signal " << ending;
    }
    Child again([&](int) {
      SerialDevice device(PortAt(pty.path()));
      open_as_user(pty, device);
      _exit(0);
    });
    EXPECT_EQ(again.End(0), 0) << "the port stays locked after signal " << ending;
  }
}

void (*HandlerOf(int signal))(int) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler;
}
void OwnHandler(int) {}

/// The first signal that would end the process without a handler and has none; 0 if there is none.
int FirstUnhandledEnding() {
  for (int number = 1; number < NSIG; ++number) {
    const bool ends = number != SIGKILL && number != SIGSTOP && number != SIGTSTP && number != SIGTTIN &&
                      number != SIGTTOU && number != SIGCHLD && number != SIGCONT && number != SIGURG &&
                      number != SIGWINCH && (number < 32 || number >= SIGRTMIN) && number != SIGXFSZ;
    if (ends && HandlerOf(number) == SIG_DFL) return number;
  }
  return 0;
}

TEST(SerialDevice, IsRestoredTogetherWithTheTerminal) {
  enum Order { kPortFirst, kTerminalFirst, kTerminalClosed };
  for (const Order order : {kPortFirst, kTerminalFirst, kTerminalClosed}) {
    const Pty pty, screen;
    const termios2 found = screen.Settings();
    Child child([&](int pipe) {
      setsid();
      setenv("TERM", "xterm", 1);
      signal(SIGTERM, OwnHandler);
      signal(SIGHUP, SIG_IGN);
      SerialDevice device(PortAt(pty.path()));
      PosixTerminal terminal;
      if (order == kPortFirst && device.Open() != FT_OK) _exit(1);
      if (open(screen.path().c_str(), O_RDWR) < 0 || !terminal.Open()) _exit(2);  // the controlling terminal
      if (const int unhandled = FirstUnhandledEnding()) _exit(100 + unhandled);
      if (order != kPortFirst && device.Open() != FT_OK) _exit(3);
      if (device.SetBaudRate(250000) != FT_OK) _exit(4);
      if (HandlerOf(SIGHUP) != SIG_IGN) _exit(7);
      if (order == kTerminalClosed) terminal.Close();
      if (order == kTerminalClosed && HandlerOf(SIGTERM) != OwnHandler) _exit(5);
      if (order == kTerminalClosed && HandlerOf(SIGCONT) != SIG_DFL) _exit(6);
      close(pipe);
      for (;;) pause();
    });
    EXPECT_EQ(child.End(SIGALRM), SIGALRM) << "order " << order;
    EXPECT_EQ(pty.Settings().c_ospeed, found.c_ospeed) << "order " << order;
    EXPECT_EQ(screen.Settings().c_lflag, found.c_lflag) << "order " << order;
  }
}

TEST(SerialDevice, HandlesOnlySignalsThatWouldEndTheProcessAndOnlyWhileItIsOpen) {
  signal(SIGTERM, SIG_DFL);  // it may be ignored, or have another handler
  signal(SIGUSR1, OwnHandler);
  signal(SIGUSR2, SIG_IGN);
  {
    OpenDevice first, second;
    first.device.Close();
    EXPECT_NE(HandlerOf(SIGTERM), SIG_DFL);
    EXPECT_EQ(HandlerOf(SIGUSR1), OwnHandler);
    EXPECT_EQ(HandlerOf(SIGUSR2), SIG_IGN);
  }
  EXPECT_EQ(HandlerOf(SIGTERM), SIG_DFL);
  for (const int number : {SIGUSR1, SIGUSR2}) signal(number, SIG_DFL);
}

TEST(SerialDevice, ReportsWhyItCanNotBeOpened) {
  SerialDevice file(PortAt("/dev/null"));
  EXPECT_NE(file.Open(), FT_OK);
  EXPECT_EQ(file.OpenFailure(), "/dev/null: not a serial device");
  const Pty pty;
  SerialDevice denied(PortAt(pty.path()));
  std::filesystem::permissions(pty.path(), std::filesystem::perms(0600));
  if (seteuid(65534) != 0) return;  // only the superuser can be somebody else
  EXPECT_NE(denied.Open(), FT_OK);
  EXPECT_EQ(seteuid(0), 0);
  EXPECT_TRUE(denied.OpenFailure().starts_with(pty.path() + ": permission denied, it belongs to the group "))
      << denied.OpenFailure();
}

TEST(SerialDevice, RetriesCallsThatSignalsInterrupt) {
  const ScratchDirectory folder;
  const FixedNumberRules rules = FixedNumberRules::C();
  const Interruptions interruptions;
  OpenDevice open;
  std::uint32_t written = 0;
  EXPECT_EQ(open.device.Write("abc", 3, &written), FT_OK);
  EXPECT_EQ(written, 3u);
  EXPECT_TRUE(StoredLineSettings(folder / "ports.reg", rules).Store("A", {.BaudRate = 300, .ByteSize = 8}));
}

TEST(SerialDevice, ConvertsLfToCrIfAsked) {
  for (const auto& [line_end, expected] :
       {std::pair(LineEnd::kLf, "1\r2\r"), {LineEnd::kCr, "1\n2\r\n"}, {LineEnd::kCrLf, "1\n2\r\n"}}) {
    Pty pty;
    SerialDevice device(PortAt(pty.path()), {.line_end = line_end});
    ASSERT_EQ(device.Open(), FT_OK) << device.OpenFailure();
    pty.Write("1\n2\r\n");
    char bytes[16];
    std::string taken;
    for (std::uint32_t count = 0; taken.size() < std::strlen(expected); taken.append(bytes, count))
      ASSERT_EQ(device.Read(bytes, sizeof bytes, &count), FT_OK);
    EXPECT_EQ(taken, expected);
  }
}

TEST(SerialReader, LosesNothingWhileItsQueueIsFull) {
  OpenDevice open;
  std::string text(SerialReader::kCapacity * 3, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 2654435761u >> 13);
  std::thread writer([&] {
    for (std::size_t done = 0; done < text.size(); done += 1024) open.pty.Write(text.substr(done, 1024));
  });
  std::uint32_t queued = 0;
  while (queued < SerialReader::kCapacity) ASSERT_EQ(open.device.GetQueueStatus(&queued), FT_OK);
  static_assert(2 * SerialReader::kCapacity <= ReceiveBuffer::kSize, "a pause would cost an incomplete line");
  while (open.taken.size() < text.size()) open.Take();
  EXPECT_TRUE(open.taken == text);
  writer.join();
}

TEST(SerialReader, KeepsTheOrderOfBytesThroughEverySequenceOfEvents) {
  struct Event {
    const char* name;
    bool loses;  // whether bytes may be missing afterwards
    std::function<void(OpenDevice&)> happen;
  };
  const std::vector<Event> events = {
      {"write", false,
       [](OpenDevice& open) {
         open.pty.Write(std::string("abcdefgh").substr(open.written, 2));
         open.written += 2;
       }},
      {"read", false, [](OpenDevice& open) { open.Take(); }},
      {"purge", true, [](OpenDevice& open) { open.device.Purge(FT_PURGE_RX | FT_PURGE_TX); }},
      {"reopen", true, [](OpenDevice& open) { open.device.Close(), open.device.Open(); }},
      {"hangup", true, [](OpenDevice& open) { open.pty.Hangup(); }}};
  for (int sequence = 0; sequence < 5 * 5 * 5 * 5; ++sequence) {
    OpenDevice open;
    bool whole = true;
    std::string names;
    for (int rest = sequence, i = 0; i < 4 && open.device.OpenFailure().empty(); ++i, rest /= 5) {
      const Event& event = events[rest % 5];
      event.happen(open);
      whole = whole && !event.loses;
      names += std::string(event.name) + " ";
    }
    while (whole && open.taken.size() < open.written) open.Take();
    const auto wrong = std::adjacent_find(open.taken.begin(), open.taken.end(), std::greater_equal<>());
    EXPECT_EQ(wrong, open.taken.end()) << names << "gives " << open.taken;
  }
}

}  // namespace
}  // namespace halden
