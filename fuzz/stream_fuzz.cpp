// The input is the bytes of a device, split into reads anywhere, the number rules, the number of channels and
// their ranges. Decoding the bytes in passes of the buffer must give the same frames as reading each line by
// the full rules, in the format, and at the pace, of a model that looks at the whole text.

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "backends/sim/virtual_clock.h"
#include "backends/text/fixed_number_rules.h"
#include "fuzz/choices.h"
#include "model/ranges.h"
#include "stream/number_parsing.h"
#include "stream/receive_buffer.h"

namespace halden {
namespace {

constexpr int kRanges = 15;
constexpr char kSeparators[] = "\t; (";  // the first of them that a line holds splits it

/// A byte source that returns these bytes.
struct Given : ByteSource {
  std::int32_t RxQueueCount() override { return static_cast<std::int32_t>(bytes.size()); }
  std::int32_t Read(void* buffer, std::int32_t count) override {
    std::copy_n(bytes.begin(), count, static_cast<char*>(buffer));
    bytes.erase(0, count);
    return count;
  }
  std::string bytes;
};

/// The decoding part of a driver, with its state.
struct Decoder {
  Decoder(const NumberRules& rules, std::int16_t channels, std::int16_t row) : parser(store, rules, 64) {
    InitRanges(store, rules);
    SetChannelsCount(store, channels);
    store.InputState.RequestedSize = 1024;
    store.Busy = false;
    std::vector<std::int16_t> all;
    for (std::int16_t channel = 0; channel < channels; ++channel) {
      all.push_back(channel);
      SetChannelRange(store, channel, static_cast<std::int16_t>((row + channel) % kRanges));
    }
    SetInputChannels(store, all);
    ResetBuffer(store);
    store.Busy = true;
  }
  Store store;
  LineParser parser;
};

/// What AnalyzeBuffer must find in the bytes that the buffer holds.
struct Analysis {
  std::int32_t good = 0;      // lines that have columns
  std::int16_t most = 0;      // columns of the line that has the most
  double mean = 0;            // bytes per good line
  std::int16_t columns = -1;  // of the last line that isn't empty; -1: there is none
  std::string separator;      // of the same line
};

std::string TrimBlanks(const std::string& text) {
  const auto first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// The columns of a line. A separator after the last field begins no column.
std::int16_t CountColumns(const std::string& line, const std::string& separator, const NumberRules& rules) {
  std::string text = line;
  float value = 0;
  if (separator.empty()) return ParseValue(rules, text, value) ? 1 : static_cast<std::int16_t>(line.size());
  std::int16_t columns = 0;
  for (std::string rest = TrimBlanks(line); !rest.empty(); ++columns) {
    const auto found = rest.find(separator);
    rest = found == std::string::npos ? "" : TrimBlanks(rest.substr(found + 1));
  }
  return columns;
}

Analysis Analyze(const std::string& held, const NumberRules& rules) {
  Analysis analysis;
  auto begin = held.find('\r');  // what comes before it may be part of a longer line
  if (begin == std::string::npos) return analysis;
  for (;;) {
    begin += held.substr(begin + 1, 1) == "\n" ? 2 : 1;
    const auto end = held.find('\r', begin);
    if (end == std::string::npos) break;
    const std::string line = held.substr(begin, end - begin);
    begin = end;
    if (line.empty()) continue;
    const auto splits = std::find_if(kSeparators, std::end(kSeparators) - 1,
                                     [&](char c) { return line.find(c) != std::string::npos; });
    analysis.separator.assign(splits, *splits != '\0');
    analysis.columns = CountColumns(line, analysis.separator, rules);
    analysis.good += analysis.columns > 0;
    analysis.most = std::max(analysis.most, analysis.columns);
  }
  if (analysis.good >= 2) analysis.mean = static_cast<double>(begin - 1) / analysis.good;
  return analysis;
}

/// The rate after each 100 lines: as many as a second would have held, from one reading of the clock to the
/// next.
struct PaceModel {
  void CountLine(std::int32_t now, float highest) {
    if (lines++ % 100 != 0) return;
    if (lines > 1 && now > tick)
      rate = std::min(highest, std::max(0.01F, std::floor(100'000.0F / static_cast<float>(now - tick))));
    tick = now;
  }
  int lines = 0;
  std::int32_t tick = 0;
  float rate = 0;
};

/// Also distinguishes 0.0 from -0.0, and compares NaNs as equal.
bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), [](float x, float y) {
    return std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y);
  });
}

/// Analyses a chunk on its own, so that each run sees many first chunks.
void CheckAnalysis(const std::string& chunk, const NumberRules& rules) {
  Decoder decoder(rules, 1, 0);
  VirtualClock clock;
  RateMeter rate(decoder.store, clock);
  ReceiveBuffer buffer(decoder.parser, rate);
  buffer.Load();
  Given source;
  source.bytes = chunk;
  buffer.ReadPort(source, true);
  const Analysis expected = Analyze(chunk, rules);
  const bool learned = buffer.AnalyzeBuffer(true);
  Demand(learned == (expected.good >= 2), "two good lines are needed");
  Demand(buffer.MaxColumns == expected.most, "the most columns of a line are counted");
  Demand(buffer.MeanLineLength == std::lrint(expected.mean), "the mean length is that of the good lines");
  Demand(decoder.store.FormatKnown == (expected.columns >= 0), "any line that isn't empty sets the format");
  if (expected.columns < 0) return;
  Demand(decoder.store.ColumnsCount == expected.columns, "the last line sets the number of columns");
  Demand(decoder.store.Separator == expected.separator, "the last line sets the separator");
}

/// `passes` gets the bytes through the receive buffer; `lines` gets the same lines one by one through
/// ParseLine. `held` mirrors the bytes that the buffer holds.
void Run(Choices choices) {
  constexpr char kMarks[] = ".,.,'\xA0";
  constexpr char kGroups[] = ",.\0\xA0 '";
  const FixedNumberRules rules(kMarks[choices.Below(6)], kGroups[choices.Below(6)], CodePage::kWestern);
  const auto channels = static_cast<std::int16_t>(1 + choices.Below(32));
  const auto row = static_cast<std::int16_t>(choices.Below(kRanges));
  Decoder passes(rules, channels, row);
  Decoder lines(rules, channels, row);
  passes.store.InputState.RateMax = choices.Below(2) == 0 ? 1e6F : 50;
  Given source;
  VirtualClock clock(1);
  RateMeter rate(passes.store, clock);
  rate.Start();
  PaceModel pace{.rate = passes.store.InputState.Rate};
  ReceiveBuffer buffer(passes.parser, rate);
  buffer.Load();
  std::string held;
  while (choices.Left()) {
    clock.Sleep(static_cast<std::uint32_t>(choices.Byte()) * 8);
    const std::string chunk = choices.Text(choices.Byte());
    CheckAnalysis(chunk, rules);
    source.bytes = chunk;
    held += chunk;
    Demand(buffer.ReadPort(source, false) == static_cast<std::int32_t>(chunk.size()),
           "all queued bytes are read");
    if (!passes.store.FormatKnown) {
      const Analysis analysis = Analyze(held, rules);
      if (analysis.columns >= 0) {
        lines.store.ColumnsCount = analysis.columns;
        lines.store.Separator = analysis.separator;
      }
      const bool learned = buffer.AnalyzeBuffer(false);
      Demand(learned == (analysis.good >= 2), "a tick parses once two lines are good");
      if (!learned) continue;
    }
    buffer.ParseBuffer();
    std::size_t begin = 0;
    for (std::size_t cr; (cr = held.find('\r', begin)) != std::string::npos;) {
      lines.parser.ParseLine(Trim(std::string_view(held).substr(begin, cr - begin)));
      pace.CountLine(static_cast<std::int32_t>(clock.GetTickCount()), passes.store.InputState.RateMax);
      begin = cr + 1;
      if (begin < held.size() && held[begin] == '\n') ++begin;
    }
    // Like the buffer, keep a lone CR at the front if an unfinished line follows it.
    if (begin != 1 || held.size() == 1) held.erase(0, begin);
    Demand(buffer.RxCount == static_cast<std::int32_t>(held.size()), "the buffer keeps the unfinished line");
    Demand(SameBits(passes.store.ChannelValues, lines.store.ChannelValues),
           "the values are those of the last line");
    Demand(InputData(passes.store).Codes == InputData(lines.store).Codes, "each line makes one frame");
    Demand(passes.store.InputState.Rate == pace.rate, "each 100 lines set the rate");
  }
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Run({data, size});
  return 0;
}
