#include "host/commands.h"

namespace halden::host {

int RunMonitor(Session& session, Progress& progress) {
  if (!session.Detect(progress)) return kRefused;
  session.Adc().ShowSetting();
  return kDone;
}

}  // namespace halden::host
