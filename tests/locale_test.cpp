#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#include "platform/linux/locale_number_rules.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

/// Decimal separator, group separator and code page.
std::string Describe(const LocaleEnvironment& environment) {
  const FixedNumberRules rules = LocaleNumberRules(environment);
  const bool cyrillic = rules.Utf8ToAnsi("\u0416") != "?";
  const char group = rules.GroupSeparator();
  return std::string{rules.DecimalSeparator()} + (group ? std::string{group} : "") +
         (cyrillic ? "1251" : "1252");
}

TEST(LocaleNumberRules, KnowLocalesThatAreNotGenerated) {
  const std::pair<LocaleEnvironment, std::string> cases[] = {
      {{}, ".1252"},
      {{.lang = "tlh"}, ".1252"},
      {{.lang = "ru_RU.UTF-8"},
       ",\xA0"
       "1251"},
      {{.lang = "bg"}, ",1251"},
      {{.lang = "sr_RS@latin"}, ",1252"},
      {{.lang = "de_CH.utf8"},
       ".\x92"
       "1252"},
      {{.lc_all = "de_DE", .lc_numeric = "en_US", .lang = "ru_RU"}, ",.1252"},
      {{.lc_numeric = "en_US", .lang = "ru_RU"}, ".,1251"},
      {{.lc_messages = "ru_RU", .lang = "en_US"}, ".,1251"},
  };
  for (const auto& [environment, expected] : cases)
    EXPECT_EQ(Describe(environment), expected) << environment.lang;
  EXPECT_EQ(MessageLanguage({.lc_messages = "ru", .lang = "de_DE"}), 0x0419);
  EXPECT_EQ(MessageLanguage({.lc_all = "C", .lc_messages = "ru_RU", .lang = "ru_RU"}), 0x0409);
  EXPECT_EQ(MessageLanguage({.lc_numeric = "ru_RU", .lang = "run_BI"}), 0x0409);
}

TEST(LocaleNumberRules, TakeTheSeparatorsOfAGeneratedLocale) {
  const struct {
    std::string group, charset, expected;
  } cases[] = {{"<U202F>", "UTF-8",
                ",\xA0"
                "1252"},
               {"<U00A0>", "KOI8-U",
                ",\xA0"
                "1252"},
               {"", "ISO-8859-1", ",1252"},
               {"<U0141>", "ISO-8859-2", ".1252"}};  // without a byte in the code page
  for (const auto& c : cases) {
    const ScratchDirectory folder;
    SetFileText(folder / "source",
                "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\nLC_NUMERIC\ndecimal_point \",\"\n"
                "thousands_sep \"" +
                    c.group + "\"\ngrouping 3;3\nEND LC_NUMERIC\n");
    const std::string command =
        "cd " + (folder / ".") + " && localedef --no-archive -c -i source -f " + c.charset +
        " ./xx_XX 2>/dev/null; test -e xx_XX/LC_NUMERIC";  // the rest is only a warning
    if (std::system(command.c_str()) != 0)
      GTEST_SKIP() << "this machine can't generate a locale in " << c.charset;
    // A process of its own: the C library is told by a variable where to look, and forgets some memory then.
    EXPECT_EXIT(
        {
          setenv("LOCPATH", (folder / "").c_str(), 1);
          _exit(Describe({.lang = "xx_XX"}) == c.expected ? 0 : 1);
        },
        testing::ExitedWithCode(0), "")
        << c.charset;
  }
}

}  // namespace
}  // namespace halden
