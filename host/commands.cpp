#include "host/commands.h"

#include "host/output.h"

namespace halden::host {

int Print(const std::string& text, Progress& progress) {
  Output output("-");
  output.Write(text);
  output.Close();
  if (output.Failure().empty()) return kDone;
  progress.Fail(output.Failure());
  return kRefused;
}

}  // namespace halden::host
