#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>

#include "platform/code_page.h"
#include "platform/fixed_number_rules.h"

namespace halden {
namespace {

TEST(CodePage, BringsEveryDefinedByteBack) {
  for (const CodePage page : {CodePage::kWestern, CodePage::kCyrillic}) {
    int undefined = 0;
    for (int byte = 0; byte < 256; ++byte) {
      const std::string ansi(1, static_cast<char>(byte));
      const std::string back = Utf8ToAnsi(AnsiToUtf8(ansi, page), page);
      EXPECT_EQ(back, back == ansi ? ansi : "?") << byte;
      undefined += back != ansi;
    }
    EXPECT_EQ(undefined, page == CodePage::kWestern ? 5 : 1);
  }
}

TEST(CodePage, TurnsWhatItCanNotMapIntoQuestionMarks) {
  struct {
    std::string utf8;
    std::string ansi;
  } const cases[] = {
      {"\u0416x", "?x"},             // not in the western page
      {"\U0001F600x", "?x"},         // one for a character of four bytes
      {"\u0080x", "?x"},             // a control character, not the byte 80h
      {"\xC3", "?"},                 // cut short
      {"\xE2\x82x", "?x"},           // cut short: the part that could begin a character is one
      {"\xC0\xAF", "??"},            // overlong
      {"\xE0\x80\x80", "???"},       // overlong
      {"\xED\xA0\x80", "???"},       // surrogate
      {"\xF4\x90\x80\x80", "????"},  // beyond the last character
      {"\x80\xFF", "??"},
      {std::string("\0", 1), std::string("\0", 1)},
      {"a\u20AC\u0178\u00A0\u00B1\u00FF", "a\x80\x9F\xA0\xB1\xFF"},
  };
  for (const auto& c : cases) EXPECT_EQ(Utf8ToAnsi(c.utf8, CodePage::kWestern), c.ansi);
  EXPECT_EQ(AnsiToUtf8("a\x80\x88\xA0\xB1\xA8\xFF", CodePage::kCyrillic),
            "a\u0402\u20AC\u00A0\u00B1\u0401\u044F");
}

TEST(CodePage, ReadsEveryLengthOfUtf8UpToItsBorders) {
  for (const char32_t character : {0x01, 0x7F, 0x80, 0x7FF, 0x800, 0xFFF, 0x1000, 0xD7FF, 0xE000, 0xFFFF,
                                   0x10000, 0x3FFFF, 0x40000, 0x10FFFF}) {
    std::string utf8;
    AppendUtf8(character, &utf8);
    const std::size_t length = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
    EXPECT_EQ(utf8.size(), length);
    utf8 += "x";
    std::string_view rest = utf8;
    EXPECT_EQ(TakeCharacter(&rest), character);
    EXPECT_EQ(rest, "x");
  }
}

TEST(NumberToText, GivesTheShortestTextAtItsDigits) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct {
    double value;
    int digits;
    std::string text;
  } const cases[] = {{1.1, 15, "1,1"},
                     {100, 1, "100"},
                     {0.1f, 7, "0,1"},
                     {-12.5, 7, "-12,5"},
                     {1.0 / 3, 7, "0,3333333"},
                     {999.9996, 6, "1000"},
                     {16777216, 7, "16777220"},
                     {0.00001, 15, "0,00001"},
                     {123456789012345, 15, "123456789012345"},
                     {1e14, 15, "100000000000000"},
                     {1e15, 15, "1E+15"},
                     {1e-14, 15, "0,00000000000001"},
                     {1e-15, 15, "1E-15"},
                     {-1.25e-20, 15, "-1,25E-20"},
                     {1e300, 15, "1E+300"},
                     {5e-324, 17, "4,9406564584124654E-324"},
                     {3.7, 0, "4"},
                     {0.1, 99, "0,10000000000000001"},
                     {0, 7, "0"},
                     {-0.0, 7, "0"},
                     {-infinity, 7, "-INF"},
                     {nan, 7, "NaN"}};
  for (const auto& c : cases) EXPECT_EQ(FixedNumberRules::Comma().NumberToText(c.value, c.digits), c.text);
  EXPECT_EQ(FixedNumberRules::Point().NumberToText(1234.5, 7), "1234.5");
}

}  // namespace
}  // namespace halden
