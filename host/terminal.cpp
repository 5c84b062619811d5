#include "host/terminal.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

namespace halden::host {

bool InputIsTerminal() {
  return isatty(0) != 0;
}
bool OutputIsTerminal() {
  return isatty(1) != 0;
}
bool ErrorIsTerminal() {
  return isatty(2) != 0;
}

}  // namespace halden::host
