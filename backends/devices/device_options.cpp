#include "backends/devices/device_options.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace halden {

namespace {

constexpr double kLongest = 86400;  // seconds: one day
constexpr std::uint32_t kLowestBaud = 300;

/// One key of an option.
template <typename Settings>
struct Key {
  std::string name;
  std::string takes;  ///< the values allowed, for messages: "1 to 1000"
  /// Parses `value` and stores it. `has_value` is false for "key" without "=". False if it isn't allowed.
  std::function<bool(Settings& settings, bool has_value, std::string_view value)> store;
};

template <typename Number>
std::string Text(Number number) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setprecision(12) << number;
  return text.str();
}

template <typename Number>
std::optional<Number> ReadNumber(std::string_view text, Number low, Number high) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc() || stop != end || !(number >= low && number <= high)) return std::nullopt;
  return number;
}

template <typename Settings, typename Member, typename Number>
Key<Settings> NumberKey(std::string name, Number low, Number high, Member Settings::*member) {
  return {std::move(name), Text(low) + " to " + Text(high),
          [=](Settings& settings, bool, std::string_view value) {
            const std::optional<Number> number = ReadNumber(value, low, high);
            if (number) settings.*member = *number;
            return number.has_value();
          }};
}

template <typename Settings>
Key<Settings> FlagKey(std::string name, bool Settings::*member) {
  return {std::move(name), "no value", [=](Settings& settings, bool has_value, std::string_view) {
            settings.*member = true;
            return !has_value;
          }};
}

template <typename Settings, typename Member>
Key<Settings> ChoiceKey(std::string name, std::vector<std::pair<std::string, Member>> choices,
                        Member Settings::*member) {
  std::string takes;
  for (std::size_t i = 0; i < choices.size(); ++i) {
    takes += (i == 0 ? "" : i + 1 < choices.size() ? ", " : " or ") + choices[i].first;
  }
  return {std::move(name), std::move(takes),
          [choices = std::move(choices), member](Settings& settings, bool, std::string_view value) {
            const auto chosen = std::find_if(choices.begin(), choices.end(),
                                             [&](const auto& choice) { return choice.first == value; });
            if (chosen == choices.end()) return false;
            settings.*member = chosen->second;
            return true;
          }};
}

/// A label or unit next to a number. It can't contain characters that would change how the number is read or
/// where the line is split.
Key<SimDeviceSettings> AffixKey(std::string name, std::string SimDeviceSettings::*member) {
  return {std::move(name), "up to 16 characters without digits, blanks and any of + - . ; (",
          [=](SimDeviceSettings& settings, bool, std::string_view value) {
            settings.*member = value;
            return value.size() <= 16 &&
                   value.find_first_of("0123456789+-.;( \t\r\n") == std::string_view::npos;
          }};
}

Key<SimDeviceSettings> SilentKey() {
  return {"silent", "0 to " + Text(kLongest) + " seconds, or no value for good",
          [](SimDeviceSettings& settings, bool has_value, std::string_view value) {
            const auto seconds = has_value ? ReadNumber(value, 0.0, kLongest)
                                           : std::optional(std::numeric_limits<double>::infinity());
            settings.silent = seconds.value_or(0);
            return seconds.has_value();
          }};
}

Key<SimDeviceSettings> ComKey() {
  return {"com", "1 to 32767 or none", [](SimDeviceSettings& settings, bool, std::string_view value) {
            settings.com = value == "none" ? -1 : ReadNumber(value, 1, 32767);
            return settings.com.has_value();
          }};
}

Key<SimDeviceSettings> SerialKey() {
  return {"serial", "up to 16 ASCII characters",
          [](SimDeviceSettings& settings, bool, std::string_view value) {
            settings.serial = value;
            const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
            return value.size() <= 16 && std::all_of(value.begin(), value.end(), is_ascii);
          }};
}

std::vector<Key<SimDeviceSettings>> KeysOf(const SimDeviceSettings&) {
  using S = SimDeviceSettings;
  return {
      NumberKey("columns", 1, 1000, &S::columns),
      ChoiceKey("separator", {{"tab", '\t'}, {"semicolon", ';'}, {"blank", ' '}, {"paren", '('}},
                &S::separator),
      ChoiceKey("decimal", {{"point", '.'}, {"comma", ','}}, &S::decimal),
      AffixKey("unit", &S::unit),
      AffixKey("label", &S::label),
      NumberKey("rate", 0.1, 10000.0, &S::rate),
      NumberKey("baud", kLowestBaud, kHighestBaud, &S::baud),
      NumberKey("speaks_at", kLowestBaud, kHighestBaud, &S::speaks_at),
      ChoiceKey("signal",
                {{"sine", SimSignal::kSine},
                 {"ramp", SimSignal::kRamp},
                 {"noise", SimSignal::kNoise},
                 {"constant", SimSignal::kConstant}},
                &S::signal),
      ChoiceKey<S, std::string>("end", {{"crlf", "\r\n"}, {"cr", "\r"}, {"lf", "\n"}}, &S::end),
      ChoiceKey("text", {{"numbers", false}, {"words", true}}, &S::words),
      NumberKey("seed", std::uint64_t{0}, std::numeric_limits<std::uint64_t>::max(), &S::seed),
      SilentKey(),
      NumberKey("resets", 0.0, kLongest, &S::resets),
      FlagKey("busy", &S::busy),
      ComKey(),
      SerialKey(),
      NumberKey("unplug_after", 0.0, kLongest, &S::unplug_after),
  };
}

template <typename Settings>
Key<Settings> LineEndKey() {
  return ChoiceKey("eol", {{"cr", LineEnd::kCr}, {"lf", LineEnd::kLf}, {"crlf", LineEnd::kCrLf}},
                   &Settings::line_end);
}

std::vector<Key<ReplayDeviceSettings>> KeysOf(const ReplayDeviceSettings&) {
  return {NumberKey("rate", 0.1, 10000.0, &ReplayDeviceSettings::rate),
          NumberKey("baud", kLowestBaud, kHighestBaud, &ReplayDeviceSettings::baud),
          LineEndKey<ReplayDeviceSettings>(), FlagKey("loop", &ReplayDeviceSettings::loop)};
}

std::vector<Key<PortSettings>> KeysOf(const PortSettings&) {
  return {NumberKey("baud", kLowestBaud, kHighestBaud, &PortSettings::baud), LineEndKey<PortSettings>()};
}

/// Removes the part up to and including the next comma from `rest` and returns it without the comma.
std::string_view TakePart(std::string_view* rest) {
  const std::size_t comma = std::min(rest->find(','), rest->size());
  const std::string_view part = rest->substr(0, comma);
  rest->remove_prefix(std::min(comma + 1, rest->size()));
  return part;
}

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

/// Parses the keys of an option into `settings`. Returns what is wrong with the first bad key, or "".
template <typename Settings>
std::string ReadKeys(std::string_view keys_text, Settings* settings) {
  const std::vector<Key<Settings>> keys = KeysOf(*settings);
  while (!keys_text.empty()) {
    const std::string_view part = TakePart(&keys_text);
    const std::size_t equals = part.find('=');
    const std::string_view name = part.substr(0, equals);
    const bool has_value = equals != std::string_view::npos;
    const std::string_view value = has_value ? part.substr(equals + 1) : "";
    const auto key = std::find_if(keys.begin(), keys.end(), [&](const auto& k) { return k.name == name; });
    if (key == keys.end()) {
      std::string names;
      for (const auto& known : keys) names += (names.empty() ? "" : ", ") + known.name;
      // "tty:/dev/ttyUSB0,9600": some programs take the rate without a key.
      const bool is_rate = ReadNumber(name, kLowestBaud, kHighestBaud).has_value();
      if (is_rate && !has_value) return "write baud=" + std::string(name) + ", not " + Quoted(name);
      return "no key " + Quoted(name) + ", the keys are " + names;
    }
    if (!key->store(*settings, has_value, value)) {
      return "key " + Quoted(name) + " takes " + key->takes + ", not " + Quoted(value);
    }
  }
  return "";
}

template <typename Settings>
std::string DescribeKeys(const std::vector<Key<Settings>>& keys) {
  std::string lines;
  for (const auto& key : keys) {
    lines += "      " + key.name + std::string(14 - std::min<std::size_t>(key.name.size(), 13), ' ');
    lines += key.takes + "\n";
  }
  return lines;
}

/// Moves the path up to the first comma from `rest` to `path`. Returns what is wrong with it, or "".
std::string ReadPath(std::string_view* rest, std::string* path) {
  *path = TakePart(rest);
  return path->empty() ? "takes a path after the colon" : "";
}

/// `rest` is what follows the kind and its colon. Returns what is wrong with the option, or "".
std::string Parse(std::string_view kind, std::string_view rest, DeviceOption* option) {
  if (kind == "sim") return ReadKeys(rest, &option->emplace<SimDeviceSettings>());
  if (kind == "replay") {
    auto& settings = option->emplace<ReplayDeviceSettings>();
    const std::string fault = ReadPath(&rest, &settings.path);
    return fault.empty() ? ReadKeys(rest, &settings) : fault;
  }
  if (kind == "tty") {
    auto& settings = option->emplace<SerialDeviceSettings>();
    const std::string fault = ReadPath(&rest, &settings.path);
    return fault.empty() ? ReadKeys<PortSettings>(rest, &settings) : fault;
  }
  if (kind == "linux") return ReadKeys<PortSettings>(rest, &option->emplace<KernelDeviceSettings>());
  if (kind != "d2xx")
    return "no such kind of device, the kinds are sim, replay:FILE, tty:PATH, linux and, on Windows, d2xx";
  option->emplace<VendorDevices>();
  return rest.empty() ? "" : "takes no keys, not " + Quoted(rest);
}

std::string Numbered(const std::string& name, int number) {
  return name + std::to_string(number);
}

}  // namespace

std::optional<DeviceOption> ParseDeviceOption(const std::string& option, std::string* error) {
  if (option.starts_with('/')) return ParseDeviceOption("tty:" + option, error);
  const std::string_view text = option;
  // Only "linux" takes nothing before its keys, so its keys follow a comma.
  const std::size_t end = std::min(text.find(text.starts_with("linux,") ? ',' : ':'), text.size());
  const std::string_view kind = text.substr(0, end);
  const std::string_view rest = text.substr(std::min(end + 1, text.size()));
  DeviceOption parsed;
  const std::string fault = Parse(kind, rest, &parsed);
  if (fault.empty()) return parsed;
  *error = "--device " + std::string(kind) + ": " + fault;
  return std::nullopt;
}

std::string DescribeDeviceOptions() {
  return "What --device takes:\n"
         "  sim[:KEY=VALUE,...]      a simulated device\n" +
         DescribeKeys(KeysOf(SimDeviceSettings())) +
         "  replay:FILE[,KEY=VALUE]  the bytes of a captured file, sent again\n" +
         DescribeKeys(KeysOf(ReplayDeviceSettings())) +
         "  tty:PATH[,KEY=VALUE]     a serial device or pseudo-terminal; an absolute path alone means the "
         "same\n" +
         DescribeKeys(KeysOf(SerialDeviceSettings())) +
         "  linux[,KEY=VALUE]        every FTDI chip that the kernel lists\n" +
         DescribeKeys(KeysOf(KernelDeviceSettings()));
}

std::unique_ptr<Device> MakeDevice(const DeviceOption& option, int number, Clock& clock, std::string* error) {
  if (const auto* sim = std::get_if<SimDeviceSettings>(&option)) {
    SimDeviceSettings settings = *sim;
    if (settings.serial.empty()) settings.serial = Numbered("SIM", number);
    return std::make_unique<SimDevice>(clock, settings);
  }
  if (const auto* replay = std::get_if<ReplayDeviceSettings>(&option)) {
    auto device = ReplayDevice::Open(clock, *replay, Numbered("REPLAY", number));
    if (device) return device;
    *error = "--device replay: takes a file that can be read, not " + Quoted(replay->path);
    return nullptr;
  }
  *error = "--device: this kind isn't available on this system; sim and replay are";
  return nullptr;
}

}  // namespace halden
