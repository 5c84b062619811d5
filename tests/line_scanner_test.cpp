#include "stream/line_scanner.h"

#include <bit>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "platform/fixed_number_rules.h"
#include "stream/line_parser.h"
#include "stream/number_text.h"

namespace halden {
namespace {

/// Valid, nearly valid and hostile fields and lines.
class RandomText {
 public:
  std::string Number() {
    std::string text;
    if (Chance(3))
      return std::to_string(16777217 + 2 * Below(1000)) + Pick(".,") + "0";  // between two floats
    if (Chance(30)) text += Pick("+--");
    const int digits = Chance(10) ? Below(24) : 1 + Below(6);
    for (int i = 0; i < digits; ++i) text += Pick("0123456789");
    if (Chance(60)) {
      text += Pick("..,");
      for (int i = Chance(5) ? Below(30) : Below(5); i > 0; --i) text += Pick("0000123456789");
    }
    return text;
  }
  std::string Field() {
    std::string text;
    if (Chance(15)) text += Some("T=x: \xA0\n", 3);
    if (Chance(95)) text += Number();
    if (Chance(20)) text += Some(" mV%e\xB5\xA0", 3);
    if (Chance(6)) text += Some("0159.,+-eE:; (\t\xA0\0x", 6);
    return text;
  }
  /// A line with its CR.
  std::string Line(char separator) {
    std::string text = Chance(5) ? Some(" \t;", 2) : "";
    for (int fields = 1 + Below(5); fields > 0; --fields) {
      text += Field();
      if (fields > 1 || Chance(10)) text += Chance(97) ? std::string(1, separator) : Some("; \t(", 3);
    }
    std::erase(text, '\r');
    return text + "\r";
  }
  bool Chance(int percent) { return Below(100) < percent; }
  int Below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

 private:
  template <std::size_t size>
  char Pick(const char (&chars)[size]) {
    return chars[Below(size - 1)];
  }
  template <std::size_t size>
  std::string Some(const char (&chars)[size], int most) {
    std::string text;
    for (int i = Below(most + 1); i > 0; --i) text += Pick(chars);
    return text;
  }

  std::mt19937 random_{20011};
};

/// The same driver state twice: one is fed as the receive buffer does it, the other line by line by the full
/// rules.
struct Twin {
  Twin(const NumberRules& rules, char separator, std::int16_t channels) {
    for (Store* store : {&fast, &plain}) {
      InitRanges(*store, rules);
      SetChannelsCount(*store, channels);
      store->Separator = separator;
      store->ColumnsCount = 2;
      store->InputState.InputChannels = {0, 2, 9, 1};
      store->InputState.InputCountChannels = 4;
      store->Busy = ResetBuffer(*store);
    }
  }
  Store fast;
  Store plain;
};

std::vector<std::uint32_t> Bits(const std::vector<float>& values) {
  std::vector<std::uint32_t> bits;
  for (float value : values) bits.push_back(std::bit_cast<std::uint32_t>(value));
  return bits;
}

TEST(LineScanner, LeavesWhatTheFullRulesLeave) {
  const char* asked = std::getenv("HALDEN_RANDOM_LINES");  // a longer run than each test can afford
  const int lines = asked ? std::atoi(asked) : 2500;
  RandomText random;
  const FixedNumberRules locales[] = {FixedNumberRules::Point(), FixedNumberRules::Comma(),
                                      FixedNumberRules::C(), FixedNumberRules(',', '.', CodePage::kWestern),
                                      FixedNumberRules('.', '\'', CodePage::kWestern)};
  int ordinary = 0;
  for (const FixedNumberRules& rules : locales) {
    for (char separator : {';', ' ', '\t', '(', '\0'}) {
      Twin twin(rules, separator, static_cast<std::int16_t>(1 + random.Below(6)));
      if (separator == '\0') twin.fast.Separator = twin.plain.Separator = "";
      LineParser fast(twin.fast, rules, 256);
      LineParser plain(twin.plain, rules, 256);
      LineScanner scanner;
      scanner.Prepare(rules.DecimalSeparator(), rules.GroupSeparator(), separator);
      for (int i = 0; i < lines; ++i) {
        const std::string line = random.Line(separator == '\0' ? ':' : separator);
        const char* const cr = &line[line.find('\r')];
        std::vector<float> unused(8);
        if (line[0] != ' ' && line[0] != '\r')
          ordinary += scanner.Scan(line.data(), cr, unused.data(), 6).end != nullptr;
        fast.BeginPass();
        const LineScanner::Result taken = fast.TakeLine(line.data(), cr);
        fast.EndPass();
        ASSERT_EQ(taken.end, cr) << line;
        const std::string_view text(line.data(), cr - line.data());
        ASSERT_EQ(taken.read, plain.ParseLine(Trim(text))) << line;
        ASSERT_EQ(Bits(twin.fast.ChannelValues), Bits(twin.plain.ChannelValues)) << line;
        ASSERT_EQ(InputData(twin.fast).Codes, InputData(twin.plain).Codes) << line;
      }
    }
  }
  EXPECT_GT(ordinary, lines * 25 / 3) << "the fast way was hardly ever taken";
}

}  // namespace
}  // namespace halden
