#include "host/json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "host/decimal_text.h"
#include "host/recording.h"

namespace halden::host {
namespace {

using Json = nlohmann::ordered_json;

/// A JSON number with the same digits.
Json Number(const std::string& decimal) {
  return Json::parse(decimal);
}

Json Number(float value) {
  return std::isfinite(value) ? Number(Shortest(value)) : Json();
}

/// JSON allows 0x7f and the C1 control characters in texts. A terminal obeys some of them, so they are
/// escaped too.
std::string OneLine(const Json& json) {
  std::string line;
  const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    char escape[8] = {text[i]};
    if (byte == 0x7F) {
      std::snprintf(escape, sizeof escape, "\\u007f");
    } else if (byte == 0xC2 && next < 0xA0) {
      std::snprintf(escape, sizeof escape, "\\u00%02x", static_cast<unsigned>(next));
      ++i;
    }
    line += escape;
  }
  return line + "\n";
}

}  // namespace

std::string DevicesJson(const std::vector<ListedDevice>& devices, const std::vector<std::string>& failures) {
  Json list = Json::array();
  for (const ListedDevice& device : devices) {
    list.push_back({{"place", list.size()},
                    {"port", device.com_name},
                    {"chip", device.chip},
                    {"serial", device.serial},
                    {"description", device.description},
                    {"line", device.line},
                    {"line_is_fallback", device.line_is_fallback},
                    {"failure", failures.at(list.size())}});
  }
  return OneLine({{"devices", list}});
}

std::string WarningJson(const std::string& name, int channel, const std::string& text) {
  Json object = {{"warning", name}};
  if (channel >= 0) object["channel"] = channel;
  object["text"] = text;
  std::string line = OneLine(object);
  line.pop_back();
  return line;
}

std::string ExplainedLineJson(const ExplainedLine& line) {
  Json fields = Json::array();
  for (const ExplainedField& field : line.fields) {
    Json object = {{"text", field.text}};
    if (!field.name.empty())
      object.update({{"column", field.name}, {"value", Number(field.value)}, {"code", field.code}});
    object["reading"] = field.reading;
    fields.push_back(std::move(object));
  }
  return OneLine(
      {{"line", line.number}, {"text", line.text}, {"separator", line.separator}, {"fields", fields}});
}

std::string SettingsJson(const std::vector<StoredSetting>& settings) {
  Json object = Json::object();
  for (const auto& [name, text, number] : settings) {
    Json& value = object[name] = text;
    if (const auto* const whole = std::get_if<std::int32_t>(&number)) value = *whole;
    const auto* const rate = std::get_if<float>(&number);
    if (rate && std::isfinite(*rate)) value = Number(*rate);
  }
  return OneLine(object);
}

static Json Stretches(const std::vector<Stretch>& stretches) {
  Json list = Json::array();
  for (const Stretch& stretch : stretches)
    list.push_back(
        {{"start", Number(Fixed(stretch.start, 3))}, {"seconds", Number(Fixed(stretch.length, 3))}});
  return list;
}

std::string SummaryJson(const RecordingSummary& summary) {
  Json object = {{"port", summary.port},
                 {"channels", summary.channels},
                 {"columns", summary.columns},
                 {"rate_max", Number(summary.rate_max)},
                 {"rate", Number(summary.rate)},
                 {"frames", summary.frames},
                 {"seconds", Number(Fixed(summary.seconds, 3))},
                 {"frames_per_second", Number(Fixed(summary.FramesPerSecond(), 3))},
                 {"first_time", Number(Fixed(summary.first_time, 4))},
                 {"last_time", Number(Fixed(summary.last_time, 4))},
                 {"ring_full", summary.ring_full},
                 {"overruns", summary.overruns},
                 {"gaps", Stretches(summary.gaps)},
                 {"away", Stretches(summary.away)}};
  if (!summary.timed)
    for (const char* key : {"seconds", "frames_per_second", "first_time", "last_time"}) object.erase(key);
  if (summary.skipped_bytes > 0)
    object.update({{"skipped_bytes", summary.skipped_bytes},
                   {"skipped_lines", summary.skipped_lines},
                   {"unfinished_bytes", summary.unfinished_bytes}});
  return OneLine(object);
}

std::string LiveValuesJson(const LiveValues& live) {
  Json values = Json::array();
  for (const std::string& value : live.values) values.push_back(Number(value));
  return OneLine({{"seconds", Number(Fixed(live.seconds, 3))},
                  {"rate", Number(live.rate)},
                  {"pace", Number(Fixed(live.pace, 2))},
                  {"age", Number(Fixed(live.age, 3))},
                  {"values", values},
                  {"codes", live.codes}});
}

}  // namespace halden::host
