#pragma once

#include <cstdint>
#include <string>

#include "backends/text/common_texts.h"
#include "backends/text/fixed_number_rules.h"

namespace halden {

/// The locale names set in the environment, such as "ru_RU.UTF-8"; empty for a variable that isn't set.
struct LocaleEnvironment {
  std::string lc_all = {};  ///< overrules the three categories below, which in turn overrule `lang`
  std::string lc_ctype = {};
  std::string lc_messages = {};
  std::string lc_numeric = {};
  std::string lang = {};

  static LocaleEnvironment OfProcess();
};

/// The number rules of a locale. Never reads or changes the locale that the process has set.
///
/// The separators are those of the numeric locale as the C library knows it. If the machine hasn't generated
/// that locale, they are the usual ones of its language; for an unknown language, those of the C locale.
///
/// The code page is the Cyrillic one if either the messages or the characters belong to a language that is
/// written in Cyrillic. Asking both keeps, say, Russian window texts readable where only LC_MESSAGES is
/// Russian.
FixedNumberRules LocaleNumberRules(const LocaleEnvironment& environment);

/// The Windows language identifier for messages: kRussianLanguage, or kEnglishLanguage for every other
/// language.
std::uint16_t MessageLanguage(const LocaleEnvironment& environment);

}  // namespace halden
