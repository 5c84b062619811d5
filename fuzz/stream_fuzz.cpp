// The input is the bytes of a device, split into reads anywhere, and number rules. Decoding them in passes of
// the buffer must give the same values as reading each line by the full rules.

#include <algorithm>
#include <bit>
#include <vector>

#include "backends/sim/virtual_clock.h"
#include "backends/text/fixed_number_rules.h"
#include "fuzz/choices.h"
#include "model/ranges.h"
#include "stream/number_parsing.h"
#include "stream/receive_buffer.h"

namespace halden {
namespace {

constexpr std::int16_t kChannels = 3;

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
  explicit Decoder(const NumberRules& rules) : parser(store, rules, 64) {
    InitRanges(store, rules);
    SetChannelsCount(store, kChannels);
    store.InputState.RequestedSize = 1024;
    store.Busy = false;
    SetInputChannels(store, {0, 1, 2});
    ResetBuffer(store);
    store.Busy = true;
  }
  Store store;
  LineParser parser;
};

/// Also distinguishes 0.0 from -0.0, and compares NaNs as equal.
bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), [](float x, float y) {
    return std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y);
  });
}

/// `passes` gets the bytes through the receive buffer; `lines` gets the same lines one by one through
/// ParseLine. `held` mirrors the bytes that the buffer holds.
void Run(Choices choices) {
  constexpr char kMarks[] = ".,.,'\xA0";
  constexpr char kGroups[] = ",.\0\xA0 '";
  const FixedNumberRules rules(kMarks[choices.Below(6)], kGroups[choices.Below(6)], CodePage::kWestern);
  Decoder passes(rules);
  Decoder lines(rules);
  Given source;
  VirtualClock clock;
  RateMeter rate(passes.store, clock);
  ReceiveBuffer buffer(passes.parser, rate);
  buffer.Load();
  std::string held;
  while (choices.Left()) {
    const std::string chunk = choices.Text(choices.Byte());
    source.bytes = chunk;
    held += chunk;
    Demand(buffer.ReadPort(source, false) == static_cast<std::int32_t>(chunk.size()),
           "all queued bytes are read");
    if (!passes.store.FormatKnown && !buffer.AnalyzeBuffer(false)) continue;
    lines.store.ColumnsCount = passes.store.ColumnsCount;
    lines.store.Separator = passes.store.Separator;
    buffer.ParseBuffer();
    std::size_t begin = 0;
    for (std::size_t cr; (cr = held.find('\r', begin)) != std::string::npos;) {
      lines.parser.ParseLine(Trim(std::string_view(held).substr(begin, cr - begin)));
      begin = cr + 1;
      if (begin < held.size() && held[begin] == '\n') ++begin;
    }
    // Like the buffer, keep a lone CR at the front if an unfinished line follows it.
    if (begin != 1 || held.size() == 1) held.erase(0, begin);
    Demand(buffer.RxCount == static_cast<std::int32_t>(held.size()), "the buffer keeps the unfinished line");
    Demand(SameBits(passes.store.ChannelValues, lines.store.ChannelValues),
           "the values are those of the last line");
    Demand(InputData(passes.store).Codes == InputData(lines.store).Codes, "each line makes one frame");
  }
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Run({data, size});
  return 0;
}
