#include "host/arguments.h"
#include "host/commands.h"
#include "host/process.h"

int main(int count, char** words) {
  using namespace halden::host;
  FillClosedStreams();
  IgnoreClosedPipes();
  std::string error;
  const auto arguments = ParseArguments({words + 1, words + count}, &error);
  Progress progress(!arguments || arguments->quiet);
  if (arguments) return RunCommand(*arguments, progress);
  progress.Fail(error);
  return kWrongArguments;
}
