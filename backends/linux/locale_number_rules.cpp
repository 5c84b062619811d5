#include "backends/linux/locale_number_rules.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <langinfo.h>
#include <mutex>
#include <optional>
#include <string_view>

#include "backends/text/characters.h"

namespace halden {
namespace {

/// These characters have the same byte in both code pages.
constexpr char kNoBreakSpace = '\xA0';
constexpr char kApostrophe = '\x92';

struct Separators {
  char decimal = '.';
  char group = '\0';
};

/// Used where the machine hasn't generated a locale. `locales` are languages ("de") and exceptions from them
/// ("de_CH"), each with a blank on both sides, so that one search for " de " finds whole words only.
struct UsualSeparators {
  std::string_view locales;
  Separators separators;
};

constexpr UsualSeparators kUsual[] = {
    {" de_CH de_LI fr_CH it_CH ", {'.', kApostrophe}},
    {" es_MX ", {'.', kNoBreakSpace}},
    {" es_DO es_GT es_HN es_NI es_PA es_PR es_SV es_US ", {'.', ','}},
    {" fr_BE ru_UA ", {',', '.'}},
    {" pt_PT ", {',', '\0'}},
    {" cs et fi fr kk ky mk nb nn no pl ru sk sv tt uk ", {',', kNoBreakSpace}},
    {" be ca da de el es eu hr hu id is it lt lv mn nl pt ro sl tg tr vi ", {',', '.'}},
    {" bg gl sr ", {',', '\0'}},
    {" ar en he hi ja ko th zh ", {'.', ','}},
};

constexpr std::string_view kCyrillicLanguages = " be bg kk ky mk mn ru sr tg tt uk ";

bool ListContains(std::string_view list, std::string_view word) {
  return list.find(' ' + std::string(word) + ' ') != std::string_view::npos;
}

/// The locale of a category, in the order of precedence that POSIX fixes: LC_ALL, the category, LANG.
const std::string& LocaleOf(const LocaleEnvironment& environment, const std::string& category) {
  if (!environment.lc_all.empty()) return environment.lc_all;
  return category.empty() ? environment.lang : category;
}

/// `locale` without everything from the first of the characters `ends` on.
std::string_view CutAt(std::string_view ends, std::string_view locale) {
  return locale.substr(0, locale.find_first_of(ends));
}

/// "sr_RS.UTF-8@latin" -> "sr"
std::string_view LanguageOf(std::string_view locale) {
  return CutAt("_.@", locale);
}

bool IsCyrillic(std::string_view locale) {
  const bool latin = locale.find("@latin") != std::string_view::npos;
  return !latin && ListContains(kCyrillicLanguages, LanguageOf(locale));
}

/// Switches the calling thread to a locale for as long as the object lives. Other threads keep theirs.
class ThreadLocale {
 public:
  explicit ThreadLocale(locale_t locale) : before_(uselocale(locale)) {}
  ~ThreadLocale() { uselocale(before_); }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;

 private:
  locale_t before_;
};

/// Converts a separator from the thread's locale to one byte of the code page. An empty separator becomes
/// '\0'. Nothing if it has no byte there.
std::optional<char> AnsiSeparator(const char* text, CodePage page) {
  if (*text == '\0') return '\0';
  std::mbstate_t state{};
  wchar_t wide = 0;
  const std::size_t length = std::mbrtowc(&wide, text, std::strlen(text), &state);
  if (length == 0 || length > std::strlen(text)) return std::nullopt;
  // French and some others group digits with a narrow no-break space, which neither code page has. Use the
  // normal one, as Windows does.
  constexpr wchar_t kNarrowNoBreakSpace = 0x202F;
  if (wide == kNarrowNoBreakSpace) return kNoBreakSpace;
  std::string utf8;
  AppendUtf8(static_cast<char32_t>(wide), &utf8);
  const char ansi = Utf8ToAnsi(utf8, page).front();
  if (ansi == '?') return std::nullopt;
  return ansi;
}

/// The separators that the C library has for a locale. Nothing if the machine hasn't generated that locale,
/// or if one of its separators has no byte in the code page.
std::optional<Separators> GeneratedSeparators(const std::string& name, CodePage page) {
  if (name.empty()) return std::nullopt;  // newlocale("") would read the process's environment
  // Locales with the same name share data inside the C library. It has locks for that, but the thread
  // sanitizer doesn't see them, and would report two threads that open a platform at once.
  static std::mutex one_at_a_time;
  const std::lock_guard lock(one_at_a_time);
  const locale_t locale = newlocale(LC_NUMERIC_MASK | LC_CTYPE_MASK, name.c_str(), locale_t{});
  if (locale == locale_t{}) return std::nullopt;
  std::optional<Separators> result;
  {
    const ThreadLocale current(locale);
    const auto decimal = AnsiSeparator(nl_langinfo_l(RADIXCHAR, locale), page);
    const auto group = AnsiSeparator(nl_langinfo_l(THOUSEP, locale), page);
    if (decimal && *decimal != '\0' && group) result = Separators{*decimal, *group};
  }
  freelocale(locale);
  return result;
}

/// Looks for the country first ("de_CH"), then for the language alone ("de").
Separators UsualSeparatorsOf(std::string_view name) {
  for (const std::string_view key : {CutAt(".@", name), LanguageOf(name)}) {
    for (const UsualSeparators& usual : kUsual) {
      if (ListContains(usual.locales, key)) return usual.separators;
    }
  }
  return {};
}

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

LocaleEnvironment LocaleEnvironment::OfProcess() {
  return {Variable("LC_ALL"), Variable("LC_CTYPE"), Variable("LC_MESSAGES"), Variable("LC_NUMERIC"),
          Variable("LANG")};
}

FixedNumberRules LocaleNumberRules(const LocaleEnvironment& environment) {
  const bool cyrillic = IsCyrillic(LocaleOf(environment, environment.lc_messages)) ||
                        IsCyrillic(LocaleOf(environment, environment.lc_ctype));
  // A separator is stored as one byte of this page, so the page comes first.
  const CodePage page = cyrillic ? CodePage::kCyrillic : CodePage::kWestern;
  const std::string& numeric = LocaleOf(environment, environment.lc_numeric);
  const Separators separators = GeneratedSeparators(numeric, page).value_or(UsualSeparatorsOf(numeric));
  return {separators.decimal, separators.group, page};
}

std::uint16_t MessageLanguage(const LocaleEnvironment& environment) {
  const bool russian = LanguageOf(LocaleOf(environment, environment.lc_messages)) == "ru";
  return russian ? kRussianLanguage : kEnglishLanguage;
}

}  // namespace halden
