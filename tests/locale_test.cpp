#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

#include "backends/linux/locale_number_rules.h"
#include "backends/text/common_texts.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

TEST(CodePage, CharactersWithoutAByteBecomeQuestionMarks) {
  struct Case {
    std::string utf8, ansi;
  };
  const Case cases[] = {{"a€Ÿ\u00A0±ÿ", "a\x80\x9F\xA0\xB1\xFF"},
                        {"\U0001F600x", "?x"},  // one for a character of four bytes
                        {"\u0080x", "?x"},      // a control character, not the byte 80h
                        {"\xE2\x82x", "?x"},    // incomplete: its two bytes count as one character
                        {"\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "?????????"},   // overlong
                        {"\xED\xA0\x80\xF4\x90\x80\x80\xFF\xC3", "?????????"}};  // surrogate, above U+10FFFF
  for (const auto& [utf8, ansi] : cases) EXPECT_EQ(Utf8ToAnsi(utf8, CodePage::kWestern), ansi);
  EXPECT_EQ(AnsiToUtf8("a\x80\x88\xA0\xB1\xA8\xFF\x98", CodePage::kCyrillic), "aЂ€\u00A0±Ёя?");
}

TEST(NumberToText, IsTheShortestTextWithTheGivenDigits) {
  struct Case {
    double value;
    int digits;
    std::string text;
  };
  const Case cases[] = {{1.0 / 3, 7, "0,3333333"},
                        {999.9996, 6, "1000"},
                        {1e14, 15, "100000000000000"},
                        {1e15, 15, "1E+15"},
                        {-1.2345678901234567e-5, 99, "-1,2345678901234568E-05"},
                        {-0.0, 7, "0"},
                        {-HUGE_VAL, 7, "-INF"},
                        {std::nan(""), 7, "NaN"}};
  for (const auto& [value, digits, text] : cases)
    EXPECT_EQ(FixedNumberRules::Comma().NumberToText(value, digits), text);
}

/// Decimal separator, group separator ("_" for a no-break space) and code page: ",_1251".
std::string Describe(const LocaleEnvironment& environment) {
  const FixedNumberRules rules = LocaleNumberRules(environment);
  const char group = rules.GroupSeparator();
  std::string text{rules.DecimalSeparator()};
  if (group != '\0') text += group == '\xA0' ? '_' : group;
  return text + (rules.Utf8ToAnsi("Ж") != "?" ? "1251" : "1252");
}

TEST(LocaleNumberRules, KnowTheLanguagesOfLocalesThatAreNotGenerated) {
  struct Case {
    LocaleEnvironment environment;
    std::string expected;
  };
  const Case cases[] = {{{}, ".1252"},
                        {{.lang = "ru_RU.UTF-8"}, ",_1251"},
                        {{.lang = "sr_RS@latin"}, ",1252"},
                        {{.lc_all = "de_DE", .lc_numeric = "en_US", .lang = "ru_RU"}, ",.1252"},
                        {{.lc_numeric = "en_US", .lang = "ru_RU"}, ".,1251"},
                        {{.lc_messages = "ru_RU", .lang = "pt_PT.utf8"}, ",1251"}};
  for (const auto& [environment, expected] : cases)
    EXPECT_EQ(Describe(environment), expected) << environment.lc_all << " " << environment.lang;
}

TEST(MessageLanguage, IsRussianOnlyForRussianMessages) {
  EXPECT_EQ(MessageLanguage({.lc_messages = "ru", .lang = "de_DE"}), kRussianLanguage);
  EXPECT_EQ(MessageLanguage({.lc_numeric = "ru_RU", .lang = "run_BI"}), kEnglishLanguage);
}

TEST(LocaleNumberRules, UseTheSeparatorsOfAGeneratedLocale) {
  const ScratchDirectory folder;
  SetFileText(folder / "source",
              "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\nLC_NUMERIC\ndecimal_point \",\"\n"
              "thousands_sep \"<U202F>\"\ngrouping 3;3\nEND LC_NUMERIC\n");
  const std::string generate = "localedef --no-archive -c -i source -f UTF-8 ./xx_XX 2>/dev/null; ";
  if (std::system(("cd " + (folder / "; ") + generate + "test -e xx_XX/LC_NUMERIC").c_str()) != 0)
    GTEST_SKIP() << "no locale can be generated here";
  // In a child process: the C library reads LOCPATH from the environment, and leaks memory when it does.
  EXPECT_EXIT(_exit(setenv("LOCPATH", (folder / "").c_str(), 1) || Describe({.lang = "xx_XX"}) != ",_1252"),
              testing::ExitedWithCode(0), "");
}

TEST(CommonTexts, ArgumentsAreFilledInIfTheWholeTextFits) {
  CommonTexts texts(TextLanguage::kEnglish, 0x0409);
  constexpr std::uint32_t kFill = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
  const char* const arguments[] = {"Halden-Text", "", "%1", "d", "e"};
  char text[40];
  EXPECT_EQ(texts.FormatMessageA(kFill, "%1 %5%2%3%%%n%!%0b", 0, 0, text, 20, arguments), 19u);
  EXPECT_STREQ(text, "Halden-Text e%1%\r\n!");
  EXPECT_EQ(texts.FormatMessageA(kFill, "%1 %5%2%3%%%n%!%0b", 0, 0, text, 19, arguments), 0u);
  EXPECT_EQ(texts.FormatMessageA(kFill, "%6", 0, 0, text, 40, arguments), 0u);
}

}  // namespace
}  // namespace halden
