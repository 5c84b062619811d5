#include "host/arguments.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace halden::host {
namespace {

template <typename Number>
bool ParseWithin(std::string_view text, Number lowest, Number highest, Number* value) {
  Number parsed{};
  const auto [end, result] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (result != std::errc() || end != text.data() + text.size()) return false;
  if (!(parsed >= lowest && parsed <= highest)) return false;
  *value = parsed;
  return true;
}

/// Calls `take` for each piece between commas, empty ones included, until it refuses one.
template <typename Take>
bool ForEachPiece(std::string_view list, Take take) {
  for (;;) {
    const auto comma = list.find(',');
    if (!take(list.substr(0, comma))) return false;
    if (comma == std::string_view::npos) return true;
    list.remove_prefix(comma + 1);
  }
}

constexpr std::int16_t kLastChannel = std::numeric_limits<std::int16_t>::max() - 1;
constexpr std::size_t kMostChannels = std::numeric_limits<std::int16_t>::max();

bool TakeDevice(Arguments& arguments, std::string_view value) {
  arguments.machine.devices.emplace_back(value);
  return !value.empty();
}

bool TakeRegistry(Arguments& arguments, std::string_view value) {
  arguments.machine.registry_file = value;
  return !value.empty();
}

bool TakeAnswerPart(UserAnswer& answer, std::string_view part) {
  const auto equals = part.find('=');
  if (equals == std::string_view::npos) return false;
  const auto key = part.substr(0, equals);
  const auto value = part.substr(equals + 1);
  if (key == "port") return ParseWithin(value, 0, int{kLastChannel}, &answer.port);
  if (key == "channels") return ParseWithin(value, 1, 32, &answer.channels);
  answer.rate = value;
  float rate = 0;
  return key == "rate" && ParseWithin(value, std::numeric_limits<float>::min(), 1e9F, &rate);
}

bool TakeAnswer(Arguments& arguments, std::string_view value) {
  UserAnswer answer;
  if (!ForEachPiece(value, [&](auto part) { return TakeAnswerPart(answer, part); })) return false;
  arguments.machine.answer = answer;
  return !answer.rate.empty();
}

bool TakeSeconds(Arguments& arguments, std::string_view value) {
  return ParseWithin(value, 0.001, 1e9, &arguments.seconds.emplace());
}

bool TakeFrames(Arguments& arguments, std::string_view value) {
  return ParseWithin<std::int64_t>(value, 1, 1'000'000'000'000, &arguments.frames.emplace());
}

bool TakeChannels(Arguments& arguments, std::string_view value) {
  arguments.channels.clear();
  return ForEachPiece(value, [&](auto piece) {
    return arguments.channels.size() < kMostChannels &&
           ParseWithin<std::int16_t>(piece, 0, kLastChannel, &arguments.channels.emplace_back());
  });
}

bool TakeRange(Arguments& arguments, std::string_view value) {
  return ForEachPiece(value, [&](auto piece) {
    const auto equals = piece.find('=');
    if (equals == std::string_view::npos) return false;
    auto& choice = arguments.ranges.emplace_back();
    return ParseWithin<std::int16_t>(piece.substr(0, equals), 0, kLastChannel, &choice.channel) &&
           ParseWithin<std::int16_t>(piece.substr(equals + 1), 0, 14, &choice.row);
  });
}

bool TakeCapacity(Arguments& arguments, std::string_view value) {
  return ParseWithin<std::int32_t>(value, 1024, std::numeric_limits<std::int32_t>::max(),
                                   &arguments.capacity.emplace());
}

bool TakeCsv(Arguments& arguments, std::string_view value) {
  arguments.csv = value;
  return !value.empty();
}

bool TakeSvg(Arguments& arguments, std::string_view value) {
  arguments.svg = value;
  return !value.empty() && value != "-";
}

bool SetCancel(Arguments& arguments, std::string_view) {
  return arguments.machine.cancel = true;
}
bool SetQuiet(Arguments& arguments, std::string_view) {
  return arguments.quiet = true;
}
bool SetJson(Arguments& arguments, std::string_view) {
  return arguments.json = true;
}
bool SetCodes(Arguments& arguments, std::string_view) {
  return arguments.codes = true;
}
bool SetExport(Arguments& arguments, std::string_view) {
  return arguments.export_text = true;
}

struct CommandName {
  std::string_view name;
  Command command;
};

constexpr std::array kCommands = {
    CommandName{"devices", Command::kDevices}, CommandName{"watch", Command::kWatch},
    CommandName{"record", Command::kRecord}, CommandName{"monitor", Command::kMonitor},
    CommandName{"settings", Command::kSettings}};

constexpr unsigned Bit(Command command) {
  return 1U << static_cast<unsigned>(command);
}
constexpr unsigned kEvery = ~0U;
constexpr unsigned kRecordOnly = Bit(Command::kRecord);
constexpr unsigned kLive = Bit(Command::kWatch) | Bit(Command::kRecord);

struct Option {
  std::string_view name;
  unsigned commands;         ///< Bit of each command that takes it
  std::string_view value;    ///< its value in the help; empty: it takes none
  std::string_view allowed;  ///< completes "NAME needs ..."
  std::string_view purpose;  ///< for the help
  bool (*take)(Arguments& arguments, std::string_view value);
};

constexpr std::array kOptions = {
    Option{"--device", kEvery, "D", "sim[:KEY=VALUE,...], replay:FILE, tty:PATH or linux",
           "where devices come from (sim); may be given several times", TakeDevice},
    Option{"--registry", kEvery, "FILE", "the name of a file", "what the driver remembers is kept there",
           TakeRegistry},
    Option{"--answer", kEvery, "port=N,channels=N,rate=X",
           "port=N,channels=N,rate=X: a row of the port list from 0, 1 to 32 channels, a rate above 0",
           "stands for the user in the port dialog", TakeAnswer},
    Option{"--cancel", kEvery, "", "", "presses Cancel in the port dialog", SetCancel},
    Option{"--quiet", kEvery, "", "", "nothing but failures on standard error", SetQuiet},
    Option{"--json", kEvery, "", "", "prints what a program can read", SetJson},
    Option{"--seconds", kLive, "S", "a number of seconds from 0.001 to 1e9", "ends after so long (Ctrl-C)",
           TakeSeconds},
    Option{"--range", kLive, "CH=ROW", "CH=ROW[,CH=ROW...]: a channel from 0 and a row from 0 to 14",
           "row of the range table for a channel (0, which is ±1000)", TakeRange},
    Option{"--frames", kRecordOnly, "N", "a whole number from 1 to 1000000000000",
           "ends after so many frames", TakeFrames},
    Option{"--channels", kRecordOnly, "0,2,1", "channels from 0 to 32766, separated by commas",
           "the columns of a frame, in this order (all)", TakeChannels},
    Option{"--capacity", kRecordOnly, "FRAMES", "a whole number from 1024 to 2147483647",
           "frames that the driver's buffer holds", TakeCapacity},
    Option{"--csv", kRecordOnly, "FILE|-", "the name of a file, or - for standard output",
           "writes a line a frame", TakeCsv},
    Option{"--codes", kRecordOnly, "", "", "raw codes in the CSV instead of physical values", SetCodes},
    Option{"--svg", kRecordOnly, "FILE", "the name of a file", "draws a picture of the recording", TakeSvg},
    Option{"--export", Bit(Command::kSettings), "", "", "as text in the registry editor's layout",
           SetExport}};

std::string NameOf(Command command) {
  const auto found = std::ranges::find(kCommands, command, &CommandName::command);
  return found == kCommands.end() ? "" : std::string(found->name);
}

/// "devices, watch, record, monitor or settings", of those that `commands` names.
std::string ListCommands(unsigned commands) {
  std::string list;
  unsigned left = 0;
  for (const auto& row : kCommands) left += (commands & Bit(row.command)) != 0;
  for (const auto& row : kCommands) {
    if (!(commands & Bit(row.command))) continue;
    --left;
    list += std::string(row.name) + (left > 1 ? ", " : left == 1 ? " or " : "");
  }
  return list;
}

/// One pass over the words; options are checked against the command when it is known.
class Parser {
 public:
  explicit Parser(std::span<const char* const> words) : words_(words) {}

  std::optional<Arguments> Parse(std::string* error) {
    while (error_.empty() && next_ < words_.size()) {
      const std::string_view word = words_[next_++];
      if (word == "--help" || word == "-h") return Arguments{};
      if (word.starts_with("-")) {
        TakeOption(word);
      } else {
        TakeCommand(word);
      }
    }
    if (error_.empty()) CheckWhole();
    *error = error_;
    return error_.empty() ? std::optional(std::move(arguments_)) : std::nullopt;
  }

 private:
  void TakeCommand(std::string_view word) {
    const auto found = std::ranges::find(kCommands, word, &CommandName::name);
    if (found == kCommands.end() || arguments_.command != Command::kHelp) {
      error_ = "\"" + std::string(word) +
               "\" is not understood; a single command is allowed: " + ListCommands(kEvery);
    } else {
      arguments_.command = found->command;
    }
  }

  void TakeOption(std::string_view word) {
    const auto equals = word.find('=');
    const auto found = std::ranges::find(kOptions, word.substr(0, equals), &Option::name);
    if (found == kOptions.end()) {
      error_ = "there is no option " + std::string(word) + "; --help lists what is allowed";
      return;
    }
    seen_.push_back(&*found);
    const bool attached = equals != std::string_view::npos;
    if (found->value.empty()) {
      if (attached) error_ = std::string(found->name) + " takes no value";
      found->take(arguments_, {});
      return;
    }
    if (!attached && next_ == words_.size()) {
      error_ = std::string(found->name) + " needs " + std::string(found->allowed);
      return;
    }
    const std::string_view value = attached ? word.substr(equals + 1) : words_[next_++];
    if (!found->take(arguments_, value)) {
      error_ = std::string(found->name) + " needs " + std::string(found->allowed) + ", not \"" +
               std::string(value) + "\"";
    }
  }

  void CheckWhole() {
    if (arguments_.command == Command::kHelp) {
      error_ = "a command is missing: " + ListCommands(kEvery) + "; --help tells more";
      return;
    }
    for (const Option* option : seen_) {
      if (option->commands & Bit(arguments_.command)) continue;
      error_ = std::string(option->name) + " does not go with " + NameOf(arguments_.command) +
               ", only with " + ListCommands(option->commands);
      return;
    }
    if (arguments_.frames && arguments_.seconds) error_ = "only one of --frames and --seconds is allowed";
    if (arguments_.machine.answer && arguments_.machine.cancel) {
      error_ = "only one of --answer and --cancel is allowed";
    }
    if (!arguments_.svg.empty() && arguments_.svg == arguments_.csv) {
      error_ = "--svg needs another file than --csv";
    }
    if (arguments_.export_text && arguments_.json) error_ = "only one of --export and --json is allowed";
    if (arguments_.codes && arguments_.csv.empty()) error_ = "--codes needs --csv FILE beside it";
  }

  std::span<const char* const> words_;
  std::size_t next_ = 0;
  Arguments arguments_;
  std::vector<const Option*> seen_;
  std::string error_;
};

}  // namespace

std::optional<Arguments> ParseArguments(std::span<const char* const> words, std::string* error) {
  return Parser(words).Parse(error);
}

std::string HelpText() {
  std::string text =
      "usage: halden-host COMMAND [OPTION]...\n"
      "\n"
      "  devices    list what the device library lists\n"
      "  watch      find the device, then show live values of every channel\n"
      "  record     find the device and record it\n"
      "  monitor    show the driver's own window until it is closed\n"
      "  settings   show what the driver remembers\n"
      "\n";
  for (const auto& option : kOptions) {
    std::string line = "  " + std::string(option.name) + " " + std::string(option.value);
    line.resize(std::max<std::size_t>(line.size() + 2, 26), ' ');
    if (line.size() > 26) line.replace(line.size() - 2, 2, "\n" + std::string(26, ' '));
    text += line + std::string(option.purpose);
    if (option.commands != kEvery) text += "; " + ListCommands(option.commands);
    text += "\n";
  }
  return text;
}

}  // namespace halden::host
