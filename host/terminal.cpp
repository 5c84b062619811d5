#include "host/terminal.h"

#include <cerrno>

#ifdef _WIN32
#include <cstdlib>
#include <io.h>
#include <windows.h>
#define isatty _isatty
#else
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace halden::host {

bool OutputIsTerminal() {
  return isatty(1) != 0;
}
bool ErrorIsTerminal() {
  return isatty(2) != 0;
}

#ifdef _WIN32

void FillClosedStreams() {}

int OutputRows() {
  CONSOLE_SCREEN_BUFFER_INFO screen;
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &screen)) return 0;
  return screen.srWindow.Bottom - screen.srWindow.Top + 1;
}

bool ReaderHasLeft() {
  // Not every C library there has EPIPE for it.
  const unsigned long error = _doserrno;
  return errno == EPIPE || error == ERROR_NO_DATA || error == ERROR_BROKEN_PIPE ||
         error == ERROR_PIPE_NOT_CONNECTED;
}

#else

void FillClosedStreams() {
  for (int fd = 0; fd <= 2; ++fd)
    if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == 0 ? O_WRONLY : O_RDONLY);
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
