#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "driver/line_explanation.h"
#include "host/session.h"
#include "model/IADC3.h"
#include "sdk/heard.h"
#include "sdk/line_watch.h"

// Texts for the user about a device: what it sent, how its lines are read, and what is unusual about them.

namespace halden::host {

/// Bytes of a device as one line of ASCII: "\r", "\n", "\t", "\\", "\"" and "\xB0" for any other byte that
/// isn't printable.
std::string EscapedBytes(std::string_view bytes);

/// Where bytes come from, which decides what a user can do about them.
enum class ByteOrigin { kDevice, kReplayedFile, kConvertedFile };

/// Why a device was not recognised and what the user can do about it, without a full stop. `failure` says why
/// it could not be opened; empty if it could.
std::string WhyNotRecognisedText(const sdk::Heard& heard, ByteOrigin origin, const std::string& failure);

/// "tab", "\";\"", "blank" or "\"(\"".
std::string SeparatorText(char separator);

/// How the number was read: "plain number", "unit stripped" and so on.
std::string ReadingText(FieldReading reading);

/// One text each for the last line as received, how it is split, and each column's name, value and range.
/// Only the first 16 columns are listed. `format.channels` must be the driver's count of channels.
std::vector<std::string> DescribeLine(IADC3& adc, const NumberRules& rules, const LineFormat& format,
                                      const std::string& line);

/// Several lines of text: `line` as received, how it is split, and for each field its number, how that was
/// read, and its code. `line` must be the last line added to `watch`.
std::string ExplanationText(IADC3& adc, const LineFormat& format, std::string_view line, std::int64_t number,
                            const sdk::LineWatch& watch);

/// The same as an object on one line.
std::string ExplanationJson(IADC3& adc, const LineFormat& format, std::string_view line, std::int64_t number,
                            const sdk::LineWatch& watch);

/// One line, without a full stop, that says what is unusual, in which column, and what would help.
std::string ObservationText(IADC3& adc, const sdk::Observation& observation);
/// Prints a warning for each new observation; with `json`, as a JSON object.
void SayObservations(Session& session, Progress& progress, bool json);
/// The kind as a fixed word for programs: "commas", "saturated" and so on.
std::string ObservationName(sdk::Observation::Kind kind);

}  // namespace halden::host
