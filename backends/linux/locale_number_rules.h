#pragma once

#include <cstdint>
#include <string>

#include "backends/text/fixed_number_rules.h"

namespace halden {

/// The names by which the environment chooses its locale, such as "ru_RU.UTF-8"; empty where not set.
struct LocaleEnvironment {
  std::string lc_all = {};  ///< overrules the three categories below, which in turn overrule `lang`
  std::string lc_ctype = {};
  std::string lc_messages = {};
  std::string lc_numeric = {};
  std::string lang = {};

  static LocaleEnvironment OfProcess();
};

/// The separators of the numeric locale as the C library has them; of a locale that the machine has not
/// generated, those that are usual in its language; else those of the C locale. The process's own locale is
/// neither asked nor changed. The code page is the Cyrillic one if the messages or the characters are of a
/// language that is written so: with one of the two only, texts of the other would be lost.
FixedNumberRules LocaleNumberRules(const LocaleEnvironment& environment);

inline constexpr std::uint16_t kEnglishLanguage = 0x0409;
inline constexpr std::uint16_t kRussianLanguage = 0x0419;

/// The identifier of the messages' language: Russian, or English for every other.
std::uint16_t MessageLanguage(const LocaleEnvironment& environment);

}  // namespace halden
