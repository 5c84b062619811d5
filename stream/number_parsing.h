#pragma once

#include <string_view>

#include "platform/number_rules.h"

namespace halden {

/// Whether the whole text is a number by the rules of the user's locale: blanks around it, a sign, digits
/// with at most one decimal separator, group separators anywhere behind the first digit, an exponent with
/// digits. At least one digit must stand in front of the exponent; "1." and ".5" count.
bool IsNumericText(const NumberRules& rules, std::string_view text);

/// The number of a text that IsNumericText accepts, rounded once to the nearest float. Beyond the span of a
/// float it is an infinity with the text's sign: every code that it can become is then the right end of the
/// span.
float TextToFloat(const NumberRules& rules, std::string_view text);

/// The number at the front of any text by fixed rules: point as decimal mark; blanks, tabs and line feeds are
/// skipped wherever they stand. 0 if there is none.
double LeadingNumber(std::string_view text);

/// The second character of 1.1 as the system writes it.
char SystemDecimalSeparator(const NumberRules& rules);

/// Rounded to the nearest float, beyond its span an infinity.
float ToSingle(double value);

/// The text without the blanks, and only the blanks, at its ends.
std::string_view Trim(std::string_view text);

}  // namespace halden
