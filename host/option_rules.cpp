#include "host/option_rules.h"

#include <limits>

#include "host/channels.h"

namespace halden::host {
namespace {

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

bool ParseAnswerPart(std::string_view part, UserAnswer* answer) {
  const auto equals = part.find('=');
  if (equals == std::string_view::npos) return false;
  const auto key = part.substr(0, equals);
  const auto value = part.substr(equals + 1);
  if (key == "port") return ParseWithin(value, 0, int{kLastChannel}, &answer->port);
  if (key == "channels") return ParseWithin(value, 1, 32, &answer->channels);
  answer->rate = value;
  float rate = 0;
  return key == "rate" && ParseWithin(value, std::numeric_limits<float>::min(), 1e9F, &rate);
}

std::string FindConvertConflict(const Arguments& arguments) {
  if (arguments.input.empty()) return "convert needs a captured file: convert INPUT --csv FILE";
  if (arguments.csv.empty() && arguments.npy.empty()) return "convert needs --csv FILE or --npy FILE";
  if (arguments.auto_ranges) return "--range auto goes with watch and record only";
  return "";
}

std::string FindFileConflict(const Arguments& arguments) {
  const bool rotates = !arguments.rotation.Never();
  if (arguments.append && rotates) return "only one of --append and --rotate is allowed";
  if (arguments.append && arguments.time == TimeColumn::kRelative)
    return "--append needs --time=absolute: the seconds of each recording begin at 0";
  if (arguments.append && arguments.csv.empty() && arguments.npy.empty())
    return "--append needs --csv FILE or --npy FILE";
  if (rotates && arguments.csv == "-") return "--rotate needs files, not standard output";
  if (arguments.codes && arguments.csv.empty()) return "--codes needs --csv FILE";
  return "";
}

}  // namespace

bool ParseAnswer(std::string_view value, std::optional<UserAnswer>* answer) {
  UserAnswer& parsed = answer->emplace();
  return ForEachPiece(value, [&](auto part) { return ParseAnswerPart(part, &parsed); }) &&
         !parsed.rate.empty();
}

bool ParseChannels(std::string_view value, std::vector<std::int16_t>* channels) {
  constexpr std::size_t kMostChannels = std::numeric_limits<std::int16_t>::max();
  channels->clear();
  return ForEachPiece(value, [&](auto piece) {
    return channels->size() < kMostChannels &&
           ParseWithin<std::int16_t>(piece, 0, kLastChannel, &channels->emplace_back());
  });
}

bool ParseRanges(std::string_view value, std::vector<RangeChoice>* ranges, bool* auto_ranges) {
  return ForEachPiece(value, [&](auto piece) {
    if (piece == "auto") return *auto_ranges = true;
    const auto equals = piece.find('=');
    if (equals == std::string_view::npos) return false;
    auto& choice = ranges->emplace_back();
    choice.row = RowOfRange(piece.substr(equals + 1));
    return choice.row >= 0 &&
           ParseWithin<std::int16_t>(piece.substr(0, equals), 0, kLastChannel, &choice.channel);
  });
}

const std::string& RangesAllowed() {
  static const std::string allowed =
      "auto or CH=RANGE[,CH=RANGE...], a channel from 0 and a range of " + ListOfRanges();
  return allowed;
}

bool ParseRotation(std::string_view value, Rotation* rotation) {
  struct Unit {
    std::string_view name;
    double bytes = 0;
    double seconds = 0;
  };
  static constexpr Unit kUnits[] = {{"kB", 1e3},    {"MB", 1e6},    {"GB", 1e9},    {"s", 0, 1},
                                    {"min", 0, 60}, {"h", 0, 3600}, {"d", 0, 86400}};
  const auto digits = value.find_first_not_of("0123456789.");
  double count = 0;
  if (digits == std::string_view::npos || !ParseWithin(value.substr(0, digits), 0.001, 1e9, &count))
    return false;
  for (const auto& [name, bytes, seconds] : kUnits) {
    if (value.substr(digits) != name) continue;
    *rotation = {.bytes = static_cast<std::uint64_t>(count * bytes), .seconds = count * seconds};
    return !rotation->Never();
  }
  return false;
}

bool ParseWebAddress(std::string_view value, WebAddress* where) {
  const auto colon = value.rfind(':');
  if (!ParseWithin(value.substr(colon == std::string_view::npos ? 0 : colon + 1), 1, 65535, &where->port))
    return false;
  if (colon == std::string_view::npos) return true;
  std::string_view address = value.substr(0, colon);
  const bool is_v6 = address.starts_with('[') && address.ends_with(']') && address.size() > 2;
  if (is_v6) address = address.substr(1, address.size() - 2);
  where->address = address;
  return !address.empty() && address.find_first_not_of(is_v6 ? "0123456789abcdefABCDEF:." : "0123456789.") ==
                                 std::string_view::npos;
}

std::string FindConflict(const Arguments& arguments) {
  if (arguments.command == Command::kHelp) return "a command is missing; \"halden-host --help\" lists them";
  if (arguments.frames && arguments.seconds) return "only one of --frames and --seconds is allowed";
  if (arguments.platform.answer && arguments.platform.cancel)
    return "only one of --answer and --cancel is allowed";
  if (!arguments.svg.empty() && arguments.svg == arguments.csv) return "--svg and --csv need different files";
  if (arguments.serve.port == 0 && !arguments.serve.token.empty()) return "--serve-token needs --serve";
  if (arguments.serve.port > 0 && !arguments.serve.IsLocal() && arguments.serve.token.empty())
    return "--serve " + arguments.serve.address + " lets other machines in, so it needs --serve-token";
  if (arguments.export_text && arguments.json) return "only one of --export and --json is allowed";
  if (arguments.command == Command::kConvert)
    if (std::string conflict = FindConvertConflict(arguments); !conflict.empty()) return conflict;
  return FindFileConflict(arguments);
}

}  // namespace halden::host
