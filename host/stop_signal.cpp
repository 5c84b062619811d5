#include "host/stop_signal.h"

#include <csignal>

namespace halden::host {
namespace {

volatile std::sig_atomic_t stop_requested = 0;

extern "C" void RequestStop(int signal) {
  stop_requested = 1;
  std::signal(signal, SIG_DFL);
}

}  // namespace

void CatchStopSignals() {
  std::signal(SIGINT, RequestStop);
  std::signal(SIGTERM, RequestStop);
}

bool StopRequested() {
  return stop_requested != 0;
}

void IgnoreClosedPipes() {
#ifdef SIGPIPE
  std::signal(SIGPIPE, SIG_IGN);
#endif
}

}  // namespace halden::host
