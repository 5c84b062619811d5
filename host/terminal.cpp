#include "host/terminal.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#define isatty _isatty
#else
#include <cerrno>
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
  // The C library tells of it as of a wrong argument.
  const DWORD error = GetLastError();
  return error == ERROR_NO_DATA || error == ERROR_BROKEN_PIPE;
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
