// The input is the bytes of a keyboard, split anywhere. They go through the key decoder alone, then to the
// forms on a terminal in memory that is resized at any time.

#include <vector>

#include "backends/linux/terminal/port_properties.h"
#include "backends/linux/terminal/terminal_toolkit.h"
#include "backends/text/characters.h"
#include "fuzz/choices.h"
#include "tests/form_fixture.h"
#include "ui/dlgPort.h"

namespace halden {
namespace {

constexpr std::uint32_t kPause = KeyDecoder::kEscapeTimeoutMs + 5;  // ms, after which a key is complete

struct SentKey {
  std::string bytes;
  std::vector<Key> keys;
};

/// The bytes that terminals send for keys, and broken characters and sequences that must not swallow the key
/// after them. Written independently of the decoder's tables.
const std::vector<SentKey>& SentKeys() {
  static const std::vector<SentKey> keys = {
      {"\r", {{KeyCode::kEnter}}},
      {"\n", {{KeyCode::kEnter}}},
      {"\x1b", {{KeyCode::kEscape}}},
      {"\t", {{KeyCode::kTab}}},
      {"\x1b[Z", {{KeyCode::kBackTab}}},
      {"\x7f", {{KeyCode::kBackspace}}},
      {"\b", {{KeyCode::kBackspace}}},
      {"\x1b[3~", {{KeyCode::kDelete}}},
      {"\x1b[H", {{KeyCode::kHome}}},
      {"\x1bOH", {{KeyCode::kHome}}},
      {"\x1b[1~", {{KeyCode::kHome}}},
      {"\x1b[7~", {{KeyCode::kHome}}},
      {"\x1b[F", {{KeyCode::kEnd}}},
      {"\x1b[4~", {{KeyCode::kEnd}}},
      {"\x1b[8~", {{KeyCode::kEnd}}},
      {"\x1b[5~", {{KeyCode::kPageUp}}},
      {"\x1b[6~", {{KeyCode::kPageDown}}},
      {"\x1b[A", {{KeyCode::kUp}}},
      {"\x1bOB", {{KeyCode::kDown}}},
      {"\x1b[1;3B", {{KeyCode::kDown, 0, true}}},
      {"\x1b[1;2C", {{KeyCode::kRight}}},
      {"\x1b[D", {{KeyCode::kLeft}}},
      {"\x1bOS", {{KeyCode::kF4}}},
      {"\x1b[14~", {{KeyCode::kF4}}},
      {"\x1b[[D", {{KeyCode::kF4}}},
      {"\x1b[1;3S", {{KeyCode::kF4, 0, true}}},
      {"\x1b[15~", {Key{}}},
      {"\x1b[[A", {Key{}}},
      {"\x01", {Key{}}},
      {"\x1br", {{KeyCode::kCharacter, U'r', true}}},
      {"\x1b\xD1\x87", {{KeyCode::kCharacter, U'ч', true}}},
      {" ", {{KeyCode::kCharacter, U' '}}},
      {"7", {{KeyCode::kCharacter, U'7'}}},
      {"\xD0\xB6", {{KeyCode::kCharacter, U'ж'}}},
      {"\xE6\xBC\xA2", {{KeyCode::kCharacter, U'漢'}}},
      {"\xF0\x9F\x98\x80", {{KeyCode::kCharacter, U'\U0001F600'}}},
      {"\xFF", {{KeyCode::kCharacter, U'\uFFFD'}}},
      {"\xE6z", {{KeyCode::kCharacter, U'\uFFFD'}, {KeyCode::kCharacter, U'z'}}},
      {"\x1b[1\r", {Key{}, {KeyCode::kEnter}}}};
  return keys;
}

void TakeKeys(KeyDecoder& decoder, std::uint32_t now, std::vector<Key>* keys) {
  while (const std::optional<Key> key = decoder.Next(now)) keys->push_back(*key);
}

/// Feeds the bytes in pieces of chosen sizes, with at most `pause` ms between two of them.
void FeedInPieces(std::string_view bytes, std::uint32_t* now, Choices& choices, KeyDecoder& decoder,
                  std::vector<Key>* keys) {
  while (!bytes.empty()) {
    const std::size_t size = std::min<std::size_t>(1 + choices.Below(4), bytes.size());
    decoder.Feed(bytes.substr(0, size), *now);
    bytes.remove_prefix(size);
    *now += choices.Below(KeyDecoder::kEscapeTimeoutMs);
    TakeKeys(decoder, *now, keys);
  }
}

/// Every key that is sent must arrive, however its bytes are split.
void SendKeys(Choices& choices) {
  KeyDecoder decoder;
  std::vector<Key> sent, received;
  std::uint32_t now = choices.Number();
  while (choices.Left()) {
    const SentKey& key = SentKeys()[choices.Below(static_cast<int>(SentKeys().size()))];
    sent.insert(sent.end(), key.keys.begin(), key.keys.end());
    FeedInPieces(key.bytes, &now, choices, decoder, &received);
    if (key.keys == std::vector<Key>{{KeyCode::kEscape}}) TakeKeys(decoder, now += kPause, &received);
  }
  TakeKeys(decoder, now + kPause, &received);
  Demand(sent == received, "every key that is sent arrives");
}

/// Any bytes must give the same keys in one piece and in several.
void SendBytes(Choices& choices) {
  const std::uint32_t start = choices.Number();
  std::uint32_t now = start;
  const std::string bytes = choices.Text(choices.Byte());
  KeyDecoder whole, pieces;
  std::vector<Key> expected, received;
  whole.Feed(bytes, start);
  TakeKeys(whole, start, &expected);
  TakeKeys(whole, start + kPause, &expected);
  FeedInPieces(bytes, &now, choices, pieces, &received);
  TakeKeys(pieces, now + kPause, &received);
  Demand(expected == received, "pieces don't change the keys");
  whole.Feed("x", start);
  expected.clear();
  TakeKeys(whole, start, &expected);
  Demand(expected == std::vector<Key>{{KeyCode::kCharacter, U'x'}}, "no byte is left after a pause");
}

/// A terminal that understands what the toolkit may send: text, cursor moves, styles and clearing. It sends
/// the keys that the input chooses and hangs up at the end of the input. After each key it makes the toolkit
/// redraw everything. If that changes what is shown, the step-by-step drawing was wrong.
class MemoryTerminal : public TextTerminal {
 public:
  explicit MemoryTerminal(Choices& choices) : choices_(choices) { Resize(80, 24); }

  bool Available() const override { return true; }
  bool Open() override { return true; }
  void Close() override { redraws_ = false; }
  TerminalSize Size() const override { return size_; }
  bool Ended() const override { return hung_up_; }
  bool TakeScreenLost() override {
    if (!redraws_) return false;
    redraws_ = false;
    expected_ = cells_;
    return true;
  }

  /// Sends the next key every kPause ms. In the millisecond before, it asks for a redraw.
  std::string Read() override {
    if (++reads_ % kPause != 0) {
      if (reads_ % kPause == kPause - 1) redraws_ = true;
      return {};
    }
    hung_up_ = !choices_.Left();
    const int choice = choices_.Byte();
    if (choice == 0xFF) Resize(1 + choices_.Below(100), 1 + choices_.Below(40));
    if (choice & 0x80) return choices_.Text(choice & 0x0F);
    return SentKeys()[choice % SentKeys().size()].bytes;
  }

  void Write(std::string_view output) override {
    while (!output.empty()) {
      if (output.starts_with("\x1b[")) {
        const std::size_t end = output.find_first_of("mHJhl");
        Demand(end != std::string_view::npos, "an escape sequence is complete");
        Obey(output.substr(2, end - 2), output[end]);
        output.remove_prefix(end + 1);
      } else {
        Show(TakeCharacter(&output));
      }
    }
    if (!expected_.empty())
      Demand(expected_ == cells_, "drawing step by step gives the same screen as redrawing everything");
    expected_.clear();
  }

 private:
  void Resize(int columns, int rows) {
    if (size_ == TerminalSize{columns, rows}) return;
    size_ = {columns, rows};
    cells_.assign(static_cast<std::size_t>(columns) * rows, "");
  }
  /// Executes one escape sequence, of those that the toolkit uses.
  void Obey(std::string_view parameters, char command) {
    if (command == 'm') {
      style_ = parameters;
    } else if (command == 'H') {
      Demand(std::sscanf(std::string(parameters).c_str(), "%d;%d", &row_, &column_) == 2,
             "a cursor move has a row and a column");
      Demand(row_ >= 1 && row_ <= size_.rows && column_ >= 1 && column_ <= size_.columns,
             "the cursor stays on the screen");
    } else if (command == 'J') {
      std::fill(cells_.begin(), cells_.end(), "");
    } else {
      Demand(parameters == "?25", "only the cursor's mode is changed");
    }
  }
  /// Writes a character at the cursor and moves the cursor to the right.
  void Show(char32_t character) {
    const int width = DisplayWidth(character);
    Demand(width > 0, "only printable characters are sent");
    Demand(column_ + width - 1 <= size_.columns, "no row is longer than the screen");
    for (int i = 0; i < width; ++i) {
      cells_[static_cast<std::size_t>(row_ - 1) * size_.columns + column_ - 1 + i] =
          style_ + "m" + (i == 0 ? EncodeUtf8({&character, 1}) : "");
    }
    column_ += width;
  }

  Choices& choices_;
  TerminalSize size_;
  std::vector<std::string> cells_;     // each with its style
  std::vector<std::string> expected_;  // what the current redraw must show; empty: no redraw is running
  std::string style_;
  int row_ = 1;              // row of the cursor, from 1
  int column_ = 1;           // column of the cursor, from 1
  std::uint32_t reads_ = 0;  // calls of Read, which is also the time in ms
  bool redraws_ = false;     // the next TakeScreenLost asks for a redraw
  bool hung_up_ = false;
};

void UsePortDialog(Choices& choices) {
  FormFixture machine(choices.Byte() & 1 ? RussianOptions() : SimOptions());
  MemoryTerminal terminal(choices);
  TerminalToolkit toolkit(terminal, machine.sim.clock(), TextLanguage::kRussian);
  Platform platform = machine.PlatformOn(toolkit);
  dlgPort dialog(machine.store, platform);
  std::int16_t port = 0, channels = 3;
  float rate = 12.5f;
  const bool accepted = dialog.GetUserPort(port, channels, rate);
  Demand(port >= 0 && port < 3 && channels >= 1 && channels <= 32 && rate > 0, "the answer is valid");
  Demand(accepted || (port == 0 && channels == 3 && rate == 12.5f), "cancelling changes nothing");
}

void UsePortProperties(Choices& choices) {
  FormFixture machine;
  MemoryTerminal terminal(choices);
  TerminalToolkit toolkit(terminal, machine.sim.clock(), TextLanguage::kEnglish);
  const Dcb before{.BaudRate = 9600, .ByteSize = 8, .Parity = 0, .StopBits = 0};
  Dcb line = before;
  const bool accepted = EditPortProperties(toolkit, TextLanguage::kEnglish, "COM5", &line);
  Demand(line.BaudRate >= 1 && line.ByteSize >= 7 && line.ByteSize <= 8 && line.Parity <= 4 &&
             line.StopBits <= 2,
         "the line settings are valid");
  Demand(accepted || line.BaudRate == before.BaudRate, "cancelling changes nothing");
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Choices choices(data, size);
  switch (choices.Below(4)) {
    case 0:
      halden::SendKeys(choices);
      break;
    case 1:
      halden::SendBytes(choices);
      break;
    case 2:
      halden::UsePortDialog(choices);
      break;
    default:
      halden::UsePortProperties(choices);
  }
  return 0;
}
