#include "host/stop_signal.h"

#include <csignal>

namespace halden::host {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM,
#ifdef SIGHUP
                                SIGHUP
#else
                                SIGBREAK
#endif
};

volatile std::sig_atomic_t stop_requested = 0;

extern "C" void RequestStop(int signal) {
  stop_requested = 1;
  std::signal(signal, SIG_DFL);
}

}  // namespace

void CatchStopSignals() {
  for (const int signal : kStopSignals) {
    // Who started the program in the background may have it ignore them.
    if (std::signal(signal, RequestStop) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
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
