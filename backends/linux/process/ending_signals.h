#pragma once

#include <csignal>

namespace halden {

/// Signals that report a request to end, or a fault of the process. A process that handles them usually ends.
inline constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP,  SIGQUIT, SIGABRT,
                                         SIGBUS, SIGFPE,  SIGSEGV, SIGILL};

/// Signals that end a process only if it has no handler for them, as do SIGRTMIN to SIGRTMAX. A program that
/// handles one (a timer's SIGALRM, a profiler's SIGPROF) goes on. SIGXFSZ isn't among them: it reports that
/// an output file is too large, which is for the host to handle.
inline constexpr int kDefaultEndingSignals[] = {SIGPIPE, SIGTRAP, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM,
                                                SIGPROF, SIGIO,   SIGXCPU, SIGSYS,  SIGPWR,  SIGSTKFLT};

/// Calls `function` with each signal whose default action ends the process. SIGKILL can't be caught, and
/// SIGXFSZ is left out, as above.
template <typename Function>
void ForEachEndingSignal(Function function) {
  for (const int signal : kEndingSignals) function(signal);
  for (const int signal : kDefaultEndingSignals) function(signal);
  for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) function(signal);
}

/// Whether the process neither ignores the signal nor has a handler for it.
inline bool IsDefault(const struct sigaction& action) {
  return action.sa_handler == SIG_DFL && !(action.sa_flags & SA_SIGINFO);
}

/// While it lives, all signals are blocked on this thread except those of its own faults. A thread started
/// meanwhile keeps them blocked, so no signal handler of the program ever runs there.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&all, fault);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace halden
