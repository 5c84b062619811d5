#include "ui/text_table.h"

#include <gtest/gtest.h>

#include "tests/form_machine.h"

using namespace halden;

namespace {

/// Keeps what the formatter was given, and may make it fail.
class WatchedTexts : public CommonTexts {
 public:
  explicit WatchedTexts(std::uint16_t system_language = 0x0409)
      : CommonTexts(TextLanguage::kRussian, system_language) {}
  std::uint32_t FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                               std::uint32_t language, char* buffer, std::uint32_t room,
                               const char* const* arguments) override {
    ++calls;
    capacity = room;
    if (fails) return 0;
    return CommonTexts::FormatMessageA(flags, source, id, language, buffer, room, arguments);
  }
  int calls = 0;
  std::uint32_t capacity = 0;
  bool fails = false;
};

/// A form on which fonts can be missing or fixed.
class FontForm : public MemoryWindow {
 public:
  FontForm(WindowStage& stage, Clock& clock) : MemoryWindow({.controls = {{}, {}, {}}}, stage, clock) {}
  std::optional<std::uint8_t> FontCharset(int control) const override {
    return control == no_font ? std::nullopt : MemoryWindow::FontCharset(control);
  }
  bool SetFontCharset(int control, std::uint8_t charset) override {
    return control != no_font && MemoryWindow::SetFontCharset(control, charset);
  }
  int no_font = 99;
};

class NoStage : public WindowStage {
 public:
  bool Raise(MemoryWindow&) override { return false; }
  void Lower(MemoryWindow&) override {}
  void Use(MemoryWindow&) override {}
  void Changed() override {}
};

}  // namespace

TEST(TextTable, FillsInArguments) {
  WatchedTexts texts;
  const FixedNumberRules rules = FixedNumberRules::Comma();
  const TextTable table(texts, rules);
  EXPECT_EQ(table.LoadResFormat(50, "Halden-Text"), "Настройки Halden-Text");
  EXPECT_EQ(table.LoadResFormat(23, "x"), "");
  EXPECT_EQ(table.FormatResText("%1 Setup", "Halden-Text", "", "", "", ""), "Halden-Text Setup");
  EXPECT_EQ(texts.capacity, 38u);
  EXPECT_EQ(table.FormatResText("%1 Setup", "", "", "", "", ""), " Setup");
  EXPECT_EQ(table.FormatResText("%5%4%3%2%1", "а", "b", "", "г", "д"), "дгbа");
  EXPECT_EQ(table.FormatResText("%1", "x", "", "", "", ""), "x");
  texts.calls = 0;
  EXPECT_EQ(table.FormatResText("&Каналы:", "x", "x", "x", "x", "x"), "&Каналы:");
  EXPECT_EQ(texts.calls, 0);
  texts.fails = true;
  EXPECT_EQ(table.FormatResText("%1 Настр%2", "x", "", "", "", ""), "1 Настр2");
}

TEST(TextTable, GivesRussianSystemsTheirCharacterSet) {
  struct Row {
    std::uint16_t system_language;
    std::uint8_t form_before;
    int no_font;
    std::vector<int> expected;  // form and controls
  };
  const std::vector<Row> rows = {
      {0x0419, 0, 99, {204, 204, 204, 204}},
      {0x7419, 0, 99, {204, 204, 204, 204}},
      {0x0819, 0, 99, {0, 1, 1, 1}},
      {0x0409, 0, 99, {0, 1, 1, 1}},
      {0x0419, 204, 99, {204, 1, 1, 1}},
      {0x0419, 0, 1, {204, 204, -1, 204}},
      {0x0419, 0, Window::kForm, {-1, 204, 204, 204}},
  };
  for (const Row& row : rows) {
    NoStage stage;
    VirtualClock clock;
    FontForm form(stage, clock);
    form.SetFontCharset(Window::kForm, row.form_before);
    for (int control = 0; control < 3; ++control) form.SetFontCharset(control, 1);
    form.no_font = row.no_font;
    WatchedTexts texts(row.system_language);
    SetFormCharset(form, texts);
    std::vector<int> charsets;
    for (int control = Window::kForm; control < 3; ++control) {
      const auto charset = form.FontCharset(control);
      charsets.push_back(charset ? *charset : -1);
    }
    EXPECT_EQ(charsets, row.expected) << std::hex << row.system_language << " " << row.no_font;
  }
}
