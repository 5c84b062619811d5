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

// What the host tells a person about a device: what it sent, how its lines are read, and what is odd about
// them.

namespace halden::host {

/// Bytes of a device as one line of ASCII: "\r", "\n", "\t", "\\", "\"" and "\xB0" for any other byte that
/// isn't printable.
std::string EscapedBytes(std::string_view bytes);

/// Why a device was not recognised and what can be done about it, without a full stop. `failure` says why it
/// could not be opened; empty if it could.
std::string WhyNotRecognisedText(const sdk::Heard& heard, const std::string& failure);

/// "tab", "\";\"", "blank" or "\"(\"".
std::string SeparatorText(char separator);

/// How the number was read: "plain number", "unit stripped" and so on.
std::string ReadingText(FieldReading reading);

/// One line each: the last line as received, how it is split, and each column's name, value and range. Of
/// very many columns only the first are shown. `format.channels` must be the driver's count of channels.
std::vector<std::string> DescribeLine(IADC3& adc, const NumberRules& rules, const LineFormat& format,
                                      const std::string& line);

/// A line as received, how it is split, and for each field the number, why it is that one, and the code; each
/// in a line that ends in a newline. `watch` has taken the line last.
std::string ExplanationText(IADC3& adc, const LineFormat& format, std::string_view line, std::int64_t number,
                            const sdk::LineWatch& watch);

/// The same as an object on one line.
std::string ExplanationJson(IADC3& adc, const LineFormat& format, std::string_view line, std::int64_t number,
                            const sdk::LineWatch& watch);

/// What is odd, which columns and ranges it is about, and what would help, in one line without a full stop.
std::string ObservationText(IADC3& adc, const sdk::Observation& observation);
/// Prints a warning for each oddity since the last call, with `json` as an object.
void SayObservations(Session& session, Progress& progress, bool json);
/// A word that a program can compare: "commas", "saturated" and so on.
std::string ObservationName(sdk::Observation::Kind kind);

}  // namespace halden::host
