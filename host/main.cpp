#include <cstdio>
#include <exception>
#include <new>

#include "host/arguments.h"
#include "host/commands.h"
#include "host/process.h"

namespace {

int Run(int count, char** words) {
  using namespace halden::host;
  FillClosedStreams();
  LetWritesFail();
  std::string error;
  const auto arguments = ParseArguments({words + 1, words + count}, &error);
  Progress progress(!arguments || arguments->quiet);
  if (arguments) return RunCommand(*arguments, progress);
  progress.Fail(error);
  return kWrongArguments;
}

}  // namespace

int main(int count, char** words) {
  try {
    return Run(count, words);
  } catch (const std::bad_alloc&) {
    std::fputs("halden-host: there is not enough memory\n", stderr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "halden-host: %s\n", error.what());
  }
  return halden::host::kRefused;
}
