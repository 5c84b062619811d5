#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "platform/linux/locale_number_rules.h"

namespace halden {
namespace {

std::string Describe(const FixedNumberRules& rules) {
  const bool cyrillic = rules.Utf8ToAnsi("\u0416") != "?";
  return std::string{rules.DecimalSeparator(), rules.GroupSeparator()} + (cyrillic ? "1251" : "1252");
}

std::string Expected(char decimal, char group, const std::string& page) {
  return std::string{decimal, group} + page;
}

/// Generates the locale "xx_XX" of the C library in a folder of its own, while it lives.
class GeneratedLocale {
 public:
  GeneratedLocale(const std::string& decimal, const std::string& group, const std::string& charset)
      : folder_(std::filesystem::path(::testing::TempDir()) / ("locale" + std::to_string(getpid()))) {
    std::filesystem::create_directory(folder_);
    std::ofstream(folder_ / "source") << "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n"
                                      << "LC_NUMERIC\ndecimal_point \"" << decimal << "\"\nthousands_sep \""
                                      << group << "\"\ngrouping 3;3\nEND LC_NUMERIC\n";
    const std::string command = "cd " + folder_.string() + " && localedef --no-archive -c -i source -f " +
                                charset + " ./xx_XX 2>/dev/null";
    [[maybe_unused]] const int status = std::system(command.c_str());  // of missing categories it only warns
  }
  ~GeneratedLocale() { std::filesystem::remove_all(folder_); }
  const std::filesystem::path& folder() const { return folder_; }
  bool made() const { return std::filesystem::exists(folder_ / "xx_XX" / "LC_NUMERIC"); }

 private:
  std::filesystem::path folder_;
};

TEST(LocaleNumberRules, KnowLocalesThatAreNotGenerated) {
  struct {
    LocaleEnvironment environment;
    std::string expected;
  } const cases[] = {
      {{}, Expected('.', '\0', "1252")},
      {{.lang = "C"}, Expected('.', '\0', "1252")},
      {{.lang = "C.UTF-8"}, Expected('.', '\0', "1252")},
      {{.lang = "tlh"}, Expected('.', '\0', "1252")},
      {{.lang = "ru_RU.UTF-8"}, Expected(',', '\xA0', "1251")},
      {{.lang = "uk_UA"}, Expected(',', '\xA0', "1251")},
      {{.lang = "bg"}, Expected(',', '\0', "1251")},
      {{.lang = "sr_RS@latin"}, Expected(',', '\0', "1252")},
      {{.lang = "de_DE@euro"}, Expected(',', '.', "1252")},
      {{.lang = "de_CH.utf8"}, Expected('.', '\x92', "1252")},
      {{.lang = "fr_FR.UTF-8"}, Expected(',', '\xA0', "1252")},
      {{.lang = "en_US.UTF-8"}, Expected('.', ',', "1252")},
      {{.lc_all = "de_DE", .lc_numeric = "en_US", .lang = "ru_RU"}, Expected(',', '.', "1252")},
      {{.lc_numeric = "en_US", .lang = "ru_RU"}, Expected('.', ',', "1251")},
      {{.lc_numeric = "ru_RU", .lang = "en_US"}, Expected(',', '\xA0', "1252")},
      {{.lc_messages = "C", .lc_numeric = "C", .lang = "ru_RU"}, Expected('.', '\0', "1251")},
      {{.lc_messages = "ru_RU", .lang = "en_US"}, Expected('.', ',', "1251")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Describe(LocaleNumberRules(c.environment)), c.expected)
        << c.environment.lc_all << " " << c.environment.lc_numeric << " " << c.environment.lang;
  }
}

TEST(LocaleNumberRules, TakeTheSeparatorsOfAGeneratedLocale) {
  struct {
    std::string decimal, group, charset, expected;
  } const cases[] = {
      {",", "<U202F>", "UTF-8", Expected(',', '\xA0', "1252")},
      {",", "<U00A0>", "KOI8-U", Expected(',', '\xA0', "1252")},
      {",", "", "ISO-8859-1", Expected(',', '\0', "1252")},
      {",", "<U0141>", "ISO-8859-2", Expected('.', '\0', "1252")},  // without a byte in the code page
  };
  for (const auto& c : cases) {
    const GeneratedLocale locale(c.decimal, c.group, c.charset);
    if (!locale.made()) GTEST_SKIP() << "this machine can't generate a locale in " << c.charset;
    // A process of its own: the C library is told by a variable where to look, and forgets some memory then.
    EXPECT_EXIT(
        {
          setenv("LOCPATH", locale.folder().c_str(), 1);
          _exit(Describe(LocaleNumberRules({.lang = "xx_XX"})) == c.expected ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "")
        << c.charset;
  }
}

TEST(MessageLanguage, FollowsTheMessages) {
  EXPECT_EQ(MessageLanguage({.lang = "ru_RU.UTF-8"}), 0x0419);
  EXPECT_EQ(MessageLanguage({.lc_messages = "ru", .lang = "de_DE"}), 0x0419);
  EXPECT_EQ(MessageLanguage({.lc_all = "C", .lc_messages = "ru_RU", .lang = "ru_RU"}), 0x0409);
  EXPECT_EQ(MessageLanguage({.lc_numeric = "ru_RU", .lang = "run_BI"}), 0x0409);
  EXPECT_EQ(MessageLanguage({}), 0x0409);
}

}  // namespace
}  // namespace halden
