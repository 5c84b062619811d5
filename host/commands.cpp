#include "host/commands.h"

#include "host/channels.h"
#include "host/output.h"

namespace halden::host {

int RunMonitor(Session& session, Progress& progress) {
  if (!session.Detect(progress)) return kRefused;
  session.Adc().ShowSetting();
  return kDone;
}

int RunRanges(Progress& progress) {
  return Print(DescribeRanges(), progress);
}

int Print(const std::string& text, Progress& progress) {
  Output output("-");
  output.Write(text);
  output.Close();
  if (output.Failure().empty()) return kDone;
  progress.Fail(output.Failure());
  return kRefused;
}

}  // namespace halden::host
