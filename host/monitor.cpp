#include "host/commands.h"
#include "host/session.h"
#include "host/terminal.h"

namespace halden::host {

int RunMonitor(Machine& machine, const Arguments&, Progress& progress) {
  if (!InputIsTerminal() || !OutputIsTerminal()) {
    progress.Fail("monitor needs a terminal to show the window on");
    return kRefused;
  }
  Session session(machine);
  if (!session.Detect(progress)) return kRefused;
  session.Adc().ShowSetting();
  return kDone;
}

}  // namespace halden::host
