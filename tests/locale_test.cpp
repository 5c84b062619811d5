#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#include "platform/linux/locale_number_rules.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

/// Decimal separator, group separator with "_" for a no-break space, and code page.
std::string Describe(const LocaleEnvironment& environment) {
  const FixedNumberRules rules = LocaleNumberRules(environment);
  const char group = rules.GroupSeparator();
  std::string text{rules.DecimalSeparator()};
  if (group != '\0') text += group == '\xA0' ? '_' : group;
  return text + (rules.Utf8ToAnsi("\u0416") != "?" ? "1251" : "1252");
}

TEST(LocaleNumberRules, KnowLocalesThatAreNotGenerated) {
  const std::pair<LocaleEnvironment, std::string> cases[] = {
      {{}, ".1252"},
      {{.lang = "ru_RU.UTF-8"}, ",_1251"},
      {{.lang = "sr_RS@latin"}, ",1252"},
      {{.lang = "pt_PT.utf8"}, ",1252"},
      {{.lc_all = "de_DE", .lc_numeric = "en_US", .lang = "ru_RU"}, ",.1252"},
      {{.lc_numeric = "en_US", .lang = "ru_RU"}, ".,1251"},
      {{.lc_messages = "ru_RU", .lang = "en_US"}, ".,1251"}};
  for (const auto& [environment, expected] : cases)
    EXPECT_EQ(Describe(environment), expected) << environment.lang;
  EXPECT_EQ(MessageLanguage({.lc_messages = "ru", .lang = "de_DE"}), 0x0419);
  EXPECT_EQ(MessageLanguage({.lc_all = "C", .lc_messages = "ru_RU", .lang = "ru_RU"}), 0x0409);
  EXPECT_EQ(MessageLanguage({.lc_numeric = "ru_RU", .lang = "run_BI"}), 0x0409);
}

TEST(LocaleNumberRules, TakeTheSeparatorsOfAGeneratedLocale) {
  const struct {
    std::string group, charset, expected;
  } cases[] = {{"<U202F>", "UTF-8", ",_1252"},
               {"<U00A0>", "KOI8-U", ",_1252"},
               {"", "ISO-8859-1", ",1252"},
               {"<U0141>", "ISO-8859-2", ".1252"}};  // without a byte in the code page
  for (const auto& c : cases) {
    const ScratchDirectory folder;
    SetFileText(folder / "source",
                "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\nLC_NUMERIC\ndecimal_point \",\"\n" +
                    ("thousands_sep \"" + c.group + "\"\ngrouping 3;3\nEND LC_NUMERIC\n"));
    const std::string generate =
        "localedef --no-archive -c -i source -f " + c.charset + " ./xx_XX 2>/dev/null; ";
    const std::string command = "cd " + (folder / ".; ") + generate + "test -e xx_XX/LC_NUMERIC";
    if (std::system(command.c_str()) != 0)
      GTEST_SKIP() << "no locale in " << c.charset << " can be generated here";
    const auto describe = [&] {
      setenv("LOCPATH", (folder / "").c_str(), 1);
      _exit(Describe({.lang = "xx_XX"}) == c.expected ? 0 : 1);
    };
    // A process of its own: the C library is told by a variable where to look, and forgets some memory then.
    EXPECT_EXIT(describe(), testing::ExitedWithCode(0), "") << c.charset;
  }
}

}  // namespace
}  // namespace halden
