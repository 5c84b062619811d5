#include "host/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <stdexcept>
#include <string_view>

#include "backends/devices/device_options.h"
#include "host/option_rules.h"
#include "host/printable_text.h"

namespace halden::host {
namespace {

/// A command line that can't be run. The text is one line for the user.
struct WrongWord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

constexpr std::string_view kAnyFile = "the name of a file";

constexpr char kMainFooter[] =
    "\"halden-host COMMAND --help\" lists the options of a command and gives an example. \"halden-host\n"
    "devices --help\" also explains what --device takes.\n"
    "\n"
    "Exit codes: 0 done; 1 the driver refused, or the output could not be written; 2 wrong arguments;\n"
    "128 + the number of a signal that ended it while it looked for a device";

/// The program's command line. CLI11 splits it into commands, options and values.
///
/// CLI11's own messages name neither what is allowed nor what was probably meant, so words that it can't
/// place are collected and explained here.
class CommandLine {
 public:
  CommandLine() {
    app_.set_version_flag("--version", "halden-host " HALDEN_VERSION, "Print the version");
    app_.set_help_flag("-h,--help", "Print this help");
    app_.allow_extras();
    app_.allow_windows_style_options(false);
    app_.require_subcommand(0, 1);
    app_.get_formatter()->column_width(32);
    app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
    AddCommonOptions(app_);
    AddDevices();
    AddRanges();
    AddWatch();
    AddExplain();
    AddRecord();
    AddConvert();
    AddMonitor();
    AddSettings();
    app_.footer(kMainFooter);
  }

  /// Throws WrongWord if the command line can't be run.
  Arguments Parse(std::span<const char* const> words) {
    std::vector<std::string> backwards(words.rbegin(), words.rend());  // as CLI11 takes them
    try {
      app_.parse(backwards);
    } catch (const CLI::CallForHelp&) {
      return Shows(app_.help());
    } catch (const CLI::CallForVersion& version) {
      return Shows(version.what() + std::string("\n"));
    } catch (const CLI::ArgumentMismatch& mismatch) {
      throw WrongWord(ExplainMismatch(mismatch.what()));
    } catch (const CLI::ParseError& other) {
      throw WrongWord(Printable(other.what()));
    }
    CheckWords();
    FinishArguments();
    if (const std::string conflict = FindConflict(arguments_); !conflict.empty()) throw WrongWord(conflict);
    return arguments_;
  }

 private:
  static Arguments Shows(std::string text) {
    Arguments shows;
    shows.text = std::move(text);
    return shows;
  }

  using TakeValue = std::function<bool(const std::string& value)>;

  /// Adds an option with a value. `allowed` completes "NAME needs ...".
  void Value(CLI::App& command, const std::string& name, const char* placeholder, std::string_view allowed,
             const char* purpose, TakeValue take) {
    allowed_[name] = allowed;
    const auto take_all = [=](const std::vector<std::string>& values) {
      for (const std::string& value : values)
        if (!take(value)) throw WrongWord(name + " needs " + std::string(allowed) + ", not " + Quoted(value));
      return true;
    };
    command.add_option(name, take_all, purpose)
        ->type_name(placeholder)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  }

  void File(CLI::App& command, const std::string& name, const char* placeholder, std::string_view allowed,
            const char* purpose, std::string* file) {
    Value(command, name, placeholder, allowed, purpose, [=](const std::string& value) {
      *file = value;
      return !value.empty();
    });
  }

  static void Flag(CLI::App& command, const std::string& name, const char* purpose, bool* flag) {
    command
        .add_flag_callback(
            name, [flag] { *flag = true; }, purpose)
        ->disable_flag_override();
  }

  CLI::App& AddCommand(Command command, const char* name, const char* purpose, const std::string& footer) {
    CLI::App& added = *app_.add_subcommand(name, purpose);
    added.callback([this, command] { arguments_.command = command; });
    added.group("Commands");
    if (command == Command::kConvert || command == Command::kRanges)
      AddPrintOptions(added);
    else
      AddCommonOptions(added);
    added.footer(footer);
    return added;
  }

  /// Options that every command with a device takes. They may also precede the command.
  void AddCommonOptions(CLI::App& command) {
    AddDeviceOptions(command);
    AddPrintOptions(command);
  }

  void AddPrintOptions(CLI::App& command) {
    Flag(command, "--quiet", "Print only failures on standard error, no progress or warnings",
         &arguments_.quiet);
    Flag(command, "--json", "Print JSON, for programs; warnings are objects on standard error",
         &arguments_.json);
  }

  void AddDeviceOptions(CLI::App& command) {
    SystemPlatformOptions& options = arguments_.platform;
    Value(command, "--device", "D", "sim[:KEY=VALUE,...], replay:FILE, tty:PATH or linux",
          "Where devices come from (sim); may be repeated", [&](const std::string& value) {
            options.devices.push_back(value);
            return !value.empty();
          });
    File(command, "--registry", "FILE", kAnyFile, "The file with the driver's stored settings",
         &options.registry_file);
    Value(command, "--answer", "port=N,channels=N,rate=X",
          "port=N,channels=N,rate=X: a row of the port list from 0, 1 to 32 channels, a rate above 0",
          "Answer the driver's port dialog",
          [&](const std::string& value) { return ParseAnswer(value, &options.answer); });
    Flag(command, "--cancel", "Cancel the driver's port dialog", &arguments_.platform.cancel);
  }

  /// Options of the commands that show or record values.
  void AddLiveOptions(CLI::App& command) {
    Value(command, "--seconds", "S", "a number of seconds from 0.001 to 1e9",
          "End after this time (default: at Ctrl-C)", [&](const std::string& value) {
            return ParseWithin(value, 0.001, 1e9, &arguments_.seconds.emplace());
          });
    Value(command, "--range", "CH=RANGE|auto", RangesAllowed(),
          "Range of a channel: 0=±10 or 0=2; or auto (see ranges)", [&](const std::string& value) {
            return ParseRanges(value, &arguments_.ranges, &arguments_.auto_ranges);
          });
    Value(
        command, "--serve", "[ADDRESS:]PORT",
        "a port from 1 to 65535, with a numeric address before it if not 127.0.0.1: 8080 or 192.168.0.5:8080",
        "Show the values in a browser, at this address",
        [&](const std::string& value) { return ParseWebAddress(value, &arguments_.serve); });
    Value(command, "--serve-token", "TEXT", "8 or more letters and digits",
          "Serve only who gives this token; needed for other machines", [&](const std::string& value) {
            arguments_.serve.token = value;
            return value.size() >= 8 &&
                   std::ranges::all_of(value, [](unsigned char c) { return std::isalnum(c); });
          });
  }

  void AddDevices() {
    AddCommand(Command::kDevices, "devices", "List the devices, and say why a port can't be opened",
               "Example:\n  halden-host devices --device linux --device sim:columns=2\n\n" +
                   DescribeDeviceOptions());
  }

  void AddWatch() {
    AddLiveOptions(AddCommand(Command::kWatch, "watch", "Find the device and show live values",
                              "Example:\n  halden-host watch --device tty:/dev/ttyACM0,baud=9600"));
  }

  void AddExplain() {
    CLI::App& explain =
        AddCommand(Command::kExplain, "explain", "Show how the driver reads each line of the device",
                   "Example:\n  halden-host explain --device replay:capture.txt --lines 3");
    Value(explain, "--lines", "N", "a whole number from 1 to 1000000000", "End after this many lines (10)",
          [&](const std::string& value) {
            return ParseWithin<std::int64_t>(value, 1, 1'000'000'000, &arguments_.lines);
          });
  }

  void AddRanges() {
    AddCommand(
        Command::kRanges, "ranges", "List the ranges that a channel can have",
        "Example:\n  halden-host ranges\n\n"
        "\"--range 0=±10,2=7\" puts channel 0 on ±10 and channel 2 on row 7. \"--range auto\" puts every\n"
        "other channel on the finest range that holds its values in the first second, or in the first\n"
        "20 lines if those take longer. All start on ±1000.");
  }

  /// Options for the columns of a frame and the files that frames are written to.
  void AddColumnOptions(CLI::App& record) {
    Value(record, "--channels", "0,2,1", "channels from 0 to 32766, separated by commas",
          "The columns of a frame, in this order (all)",
          [&](const std::string& value) { return ParseChannels(value, &arguments_.channels); });
    File(record, "--csv", "FILE|-", "the name of a file, or - for standard output",
         "Write one line per frame", &arguments_.csv);
    Flag(record, "--codes", "Write raw codes to the CSV instead of physical values", &arguments_.codes);
    File(record, "--npy", "FILE", kAnyFile, "Write a numpy array of values, float32, frames by columns",
         &arguments_.npy);
    Flag(record, "--force", "Overwrite files that exist", &arguments_.force);
  }

  void AddConvert() {
    CLI::App& convert = AddCommand(
        Command::kConvert, "convert", "Convert a captured file as record would have recorded it",
        "Example:\n  halden-host convert capture.txt --npy data.npy --line-rate 100\n\n"
        "The driver is the same, but time is simulated, so the conversion takes no longer than reading the\n"
        "file. As in a recording, the first lines are used to recognise the device: about 1024 bytes, or\n"
        "2 s at 115200 baud. The summary counts them.");
    convert.add_option("INPUT", arguments_.input, "The bytes of a device as it sent them")->type_name("");
    AddColumnOptions(convert);
    Value(convert, "--range", "CH=RANGE", RangesAllowed(), "Range of a channel: 0=±10 or 0=2 (see ranges)",
          [&](const std::string& value) {
            return ParseRanges(value, &arguments_.ranges, &arguments_.auto_ranges);
          });
    Value(convert, "--eol", "cr|lf|crlf", "cr, lf or crlf", "How the file ends its lines",
          [&](const std::string& value) {
            const bool feed = value == "lf";
            if (feed) arguments_.line_end = LineEnd::kLf;
            return feed || value == "cr" || value == "crlf";
          });
    Value(convert, "--line-rate", "R", "a number of lines a second from 0.001 to 1e9",
          "Add a first column Time, for R lines a second", [&](const std::string& value) {
            return ParseWithin(value, 0.001, 1e9, &arguments_.line_rate.emplace());
          });
  }

  void AddRecord() {
    CLI::App& record = AddCommand(
        Command::kRecord, "record", "Find the device and record it",
        "Example:\n  halden-host record --device tty:/dev/ttyUSB0 --seconds 60 "
        "--csv data.csv --svg data.svg\n\n"
        "Times are measured when the driver reads the lines, every 50 ms, and are right to 50 ms. "
        "The lines\nof one read are spaced by the pace of the last seconds. With --npy the times are "
        "in FILE-time.");
    AddLiveOptions(record);
    Value(record, "--frames", "N", "a whole number from 1 to 1000000000000", "End after this many frames",
          [&](const std::string& value) {
            return ParseWithin<std::int64_t>(value, 1, 1'000'000'000'000, &arguments_.frames.emplace());
          });
    AddColumnOptions(record);
    Value(record, "--capacity", "FRAMES", "a whole number from 1024 to 2147483647",
          "Size of the driver's ring of frames", [&](const std::string& value) {
            return ParseWithin(value, 1024, std::numeric_limits<std::int32_t>::max(),
                               &arguments_.capacity.emplace());
          });
    Value(record, "--svg", "FILE", kAnyFile, "Draw a picture of the recording",
          [&](const std::string& value) {
            arguments_.svg = value;
            return !value.empty() && value != "-";
          });
    AddFileOptions(record);
  }

  /// Options for how a recording's files are written and what else ends it.
  void AddFileOptions(CLI::App& record) {
    time_option_ =
        record.add_option("--time", time_, "Add a first column Time: seconds from the start, or time of day")
            ->expected(0, 1)
            ->type_name("[absolute]");
    Flag(record, "--append", "Continue a CSV or array that has the same columns", &arguments_.append);
    Value(record, "--rotate", "SIZE|TIME", "a size (500kB, 10MB, 2GB) or a time (30s, 10min, 1h, 1d)",
          "Begin a new file, FILE-001, FILE-002 ..., at this size or time",
          [&](const std::string& value) { return ParseRotation(value, &arguments_.rotation); });
    Flag(record, "--sync", "Flush the files to the disk once a second", &arguments_.sync);
    Value(record, "--silence", "S", "a number of seconds from 0.1 to 1e9",
          "End with exit code 1 when no frame has come for S seconds", [&](const std::string& value) {
            return ParseWithin(value, 0.1, 1e9, &arguments_.silence.emplace());
          });
    Flag(record, "--reconnect", "If the device is lost wait for it, then continue in the same files",
         &arguments_.reconnect);
  }

  void AddMonitor() {
    AddCommand(Command::kMonitor, "monitor", "Show the driver's own window until it is closed",
               "Example:\n  halden-host monitor --device sim:columns=8");
  }

  void AddSettings() {
    CLI::App& settings = AddCommand(Command::kSettings, "settings", "Show the driver's stored settings",
                                    "Example:\n  halden-host settings --registry my.reg --export");
    Flag(settings, "--export", "Print them in the registry editor's export format", &arguments_.export_text);
  }

  /// The command that the words name; empty if they name none.
  std::string Chosen() const {
    const auto chosen = app_.get_subcommands();
    return chosen.empty() ? "" : chosen[0]->get_name();
  }

  static std::string Enumerate(const std::vector<std::string>& words) {
    std::string list;
    for (std::size_t i = 0; i < words.size(); ++i)
      list += (i == 0 ? "" : i + 1 < words.size() ? ", " : " or ") + words[i];
    return list;
  }

  /// All commands, or those that have an option of this name.
  std::vector<std::string> CommandNames(const std::string& with_option = "") {
    std::vector<std::string> names;
    for (CLI::App* command : app_.get_subcommands([](CLI::App*) { return true; }))
      if (with_option.empty() || command->get_option_no_throw(with_option))
        names.push_back(command->get_name());
    return names;
  }

  /// Replaces CLI11's `message`, which begins with the option's name (a flag's without dashes) and a colon or
  /// blank.
  std::string ExplainMismatch(const std::string& message) const {
    std::string name = message.substr(0, message.find_first_of(": "));
    if (!name.starts_with("-")) name = "--" + name;
    const auto allowed = allowed_.find(name);
    return allowed == allowed_.end() ? name + " takes no value"
                                     : name + " needs " + std::string(allowed->second);
  }

  /// Throws WrongWord for the first word that CLI11 couldn't place.
  void CheckWords() {
    const std::vector<std::string> words = app_.remaining(true);
    if (words.empty()) return;
    const std::string& word = words[0];
    if (word.starts_with("-")) throw WrongWord(ExplainOption(word.substr(0, word.find('='))));
    const std::string command = Chosen();
    const std::vector<std::string> commands = CommandNames();
    if (command.empty() || std::ranges::find(commands, word) != commands.end())
      throw WrongWord(ExplainCommand(word));
    throw WrongWord(command + " takes options only, not " + Quoted(word) + "; \"halden-host " + command +
                    " --help\" lists them");
  }

  std::string ExplainCommand(const std::string& word) {
    if (const std::string command = Chosen(); !command.empty())
      return "only one command is allowed, but " + Quoted(word) + " follows " + Quoted(command);
    const std::string nearest = NearestWord(word, CommandNames());
    return "there is no command " + Quoted(word) +
           (nearest.empty() ? "; the commands are " + Enumerate(CommandNames())
                            : "; did you mean " + Quoted(nearest) + "?");
  }

  std::string ExplainOption(const std::string& name) {
    const std::string command = Chosen();
    const std::vector<std::string> takers = CommandNames(name);
    if (!takers.empty() && !command.empty() && std::ranges::find(takers, command) != takers.end())
      return name + " must come after the command: " + command + " " + name;
    if (!takers.empty() && command.empty())
      return "a command is missing; " + name + " goes with " + Enumerate(takers);
    if (!takers.empty()) return name + " does not go with " + command + ", only with " + Enumerate(takers);
    std::vector<std::string> names = {"--help"};
    const CLI::App& taker = command.empty() ? app_ : *app_.get_subcommand(command);
    for (const CLI::Option* option : taker.get_options()) names.push_back(option->get_name());
    const std::string nearest = NearestWord(name, names);
    return "there is no option " + Printable(name) +
           (nearest.empty() ? "; --help lists what is allowed" : "; did you mean " + nearest + "?");
  }

  /// Derives what several options decide together.
  void FinishArguments() {
    if (!time_.empty() && time_ != "absolute")
      throw WrongWord("--time takes no value, or absolute, not " + Quoted(time_));
    if (time_option_->count() > 0)
      arguments_.time = time_.empty() ? TimeColumn::kRelative : TimeColumn::kAbsolute;
    if (arguments_.line_rate) arguments_.time = TimeColumn::kRelative;
    if (arguments_.append)
      arguments_.existing = Existing::kContinue;
    else if (arguments_.force)
      arguments_.existing = Existing::kOverwrite;
  }

  CLI::App app_{"Finds a device that sends lines of numbers, and shows or records its values.",
                "halden-host"};
  Arguments arguments_;
  CLI::Option* time_option_ = nullptr;
  std::string time_;                                 // the value of --time; empty for none
  std::map<std::string, std::string_view> allowed_;  // by option: the values it takes, for messages
};

}  // namespace

std::optional<Arguments> ParseArguments(std::span<const char* const> words, std::string* error) {
  try {
    return CommandLine().Parse(words);
  } catch (const WrongWord& wrong) {
    *error = wrong.what();
    return std::nullopt;
  }
}

}  // namespace halden::host
