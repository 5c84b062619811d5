#include "host/terminal.h"

#include <cerrno>

#ifdef _WIN32
#include <cstdlib>
#include <io.h>
#include <windows.h>
#define isatty _isatty
#else
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

int OutputRows() {
  winsize size{};
  return ioctl(1, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

bool ReaderHasLeft() {
  return errno == EPIPE;
}

#endif

}  // namespace halden::host
