#pragma once

#include <string>

namespace halden::host {

/// The number with so many decimals, a point as decimal mark in every locale, and no sign in front of zero.
std::string Fixed(double value, int decimals);

/// As above without trailing zeros.
std::string Short(double value, int decimals);

/// The shortest text that reads back as the number.
std::string Shortest(float value);

}  // namespace halden::host
