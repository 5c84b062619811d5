#pragma once

#include "backends/linux/terminal/text_terminal.h"

namespace halden {

/// The terminal that the process belongs to, also where its standard streams lead elsewhere. While it is open
/// the usual signals that end a process, and those of its faults, give the terminal back first, and stopping
/// it does so until it goes on; a signal then acts as it would have without us. One can be open at a time.
class PosixTerminal final : public TextTerminal {
 public:
  ~PosixTerminal() override { Close(); }

  bool Available() const override;
  bool Open() override;
  void Close() override;
  TerminalSize Size() const override;
  std::string Read() override;
  void Write(std::string_view output) override;
  bool TakeScreenLost() override;
  bool Ended() const override;

 private:
  int fd_ = -1;
  bool hung_up_ = false;
};

}  // namespace halden
