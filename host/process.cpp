#include "host/process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#define isatty _isatty
#else
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace halden::host {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM,
#ifdef SIGHUP
                                SIGHUP
#else
                                SIGBREAK
#endif
};

volatile std::sig_atomic_t stop_requested = 0;

// Set before EndOnStopSignals, and read by its handler.
void (*put_back_before_end)(void*) noexcept = nullptr;
void* put_back_owner = nullptr;

/// The first signal asks for a stop; the default action makes the second one end the process.
extern "C" void RequestStop(int signal) {
  stop_requested = 1;
  std::signal(signal, SIG_DFL);
}

/// Uses _Exit, because destructors and atexit handlers must not run in a signal handler.
extern "C" void EndProcess(int signal) {
  if (put_back_before_end != nullptr) put_back_before_end(put_back_owner);
  std::_Exit(128 + signal);
}

void HandleStopSignals(void (*handler)(int)) {
  for (const int signal : kStopSignals) {
    // A signal ignored from the start stays so: nohup and background jobs of scripts rely on it.
    if (std::signal(signal, handler) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

}  // namespace

void SetPutBack(void (*put_back)(void* owner) noexcept, void* owner) {
  put_back_before_end = put_back;
  put_back_owner = owner;
}

void EndOnStopSignals() {
  HandleStopSignals(EndProcess);
}

void CatchStopSignals() {
  HandleStopSignals(RequestStop);
}

bool StopRequested() {
  return stop_requested != 0;
}

bool OutputIsTerminal() {
  return isatty(1) != 0;
}
bool ErrorIsTerminal() {
  return isatty(2) != 0;
}

#ifdef _WIN32

void FillClosedStreams() {}

void LetWritesFail() {}

// On Windows writing to a pipe always waits for the reader.
bool ReaderMayBeSlow(std::FILE*) {
  return false;
}

bool CanWriteWithin(std::FILE*, std::chrono::milliseconds) {
  return true;
}

bool SyncFile(std::FILE* file) {
  return _commit(_fileno(file)) == 0 || errno == EBADF || errno == EINVAL;
}

bool CutFile(std::FILE* file, std::uint64_t bytes) {
  const long long place = _telli64(_fileno(file));
  return place >= static_cast<long long>(bytes) &&
         _chsize_s(_fileno(file), place - static_cast<long long>(bytes)) == 0;
}

int OutputRows() {
  CONSOLE_SCREEN_BUFFER_INFO screen;
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &screen)) return 0;
  return screen.srWindow.Bottom - screen.srWindow.Top + 1;
}

bool ReaderHasLeft() {
  // Some C libraries map these Windows errors to EINVAL, not EPIPE.
  const unsigned long error = _doserrno;
  return errno == EPIPE || error == ERROR_NO_DATA || error == ERROR_BROKEN_PIPE ||
         error == ERROR_PIPE_NOT_CONNECTED;
}

#else

/// Opens the placeholders for the wrong direction, so that using the stream still fails.
void FillClosedStreams() {
  for (int fd = 0; fd <= 2; ++fd)
    if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == 0 ? O_WRONLY : O_RDONLY);
}

void LetWritesFail() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool ReaderMayBeSlow(std::FILE* file) {
  struct stat status {};
  return fstat(fileno(file), &status) == 0 &&
         (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || isatty(fileno(file)) != 0);
}

bool CanWriteWithin(std::FILE* file, std::chrono::milliseconds time) {
  pollfd waits{fileno(file), POLLOUT, 0};
  return poll(&waits, 1, static_cast<int>(time.count())) > 0;
}

/// EINVAL and EROFS mean that the file is a pipe or device, which has nothing to flush.
bool SyncFile(std::FILE* file) {
  return fdatasync(fileno(file)) == 0 || errno == EINVAL || errno == EROFS;
}

bool CutFile(std::FILE* file, std::uint64_t bytes) {
  const off_t place = lseek(fileno(file), 0, SEEK_CUR);
  if (place < static_cast<off_t>(bytes)) return false;
  const off_t end = place - static_cast<off_t>(bytes);
  return ftruncate(fileno(file), end) == 0 && lseek(fileno(file), end, SEEK_SET) == end;
}

int OutputRows() {
  winsize size{};
  return ioctl(1, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

bool ReaderHasLeft() {
  return errno == EPIPE;
}

#endif

}  // namespace halden::host
