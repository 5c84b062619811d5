// The input is the words of a command line, separated by NUL. A command line that can't be run must be
// explained in one printable line.

#include <vector>

#include "fuzz/choices.h"
#include "host/arguments.h"
#include "host/printable_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace halden;
  std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<const char*> words;
  for (std::size_t at = 0; at < size; at = text.find('\0', at) + 1) {
    words.push_back(text.c_str() + at);
    if (text.find('\0', at) == std::string::npos) break;
  }
  std::string error;
  const auto arguments = host::ParseArguments(words, &error);
  Demand(arguments.has_value() == error.empty(), "the result is either arguments or an error");
  Demand(host::Printable(error) == error, "an error is one printable line");
  if (!arguments) return 0;
  using host::Command;
  Demand((arguments->command == Command::kHelp) != arguments->text.empty(), "only help has a text");
  Demand(arguments->lines >= 1 && (!arguments->seconds || *arguments->seconds > 0),
         "lines and seconds are above 0");
  for (const auto& [channel, row] : arguments->ranges)
    Demand(channel >= 0 && row >= 0 && row <= host::kLastRange, "a range is a row of the table");
  return 0;
}
