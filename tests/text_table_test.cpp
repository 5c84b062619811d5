#include "ui/text_table.h"

#include <gtest/gtest.h>

#include "tests/faulty_platform.h"
#include "tests/form_machine.h"

using namespace halden;

TEST(TextTable, FillsInArguments) {
  FormMachine machine(RussianMachine());
  FaultyPlatform watched(machine.platform);
  const TextTable table(watched.platform.texts, watched.platform.number_rules);
  const auto format = [&](const std::string& text, const std::string& first) {
    return table.FormatResText(text, first, "б", "", "г", "д");
  };
  EXPECT_EQ(table.LoadResFormat(50, "Halden-Text"), "Настройки Halden-Text");
  EXPECT_EQ(table.LoadResFormat(23, "x"), "");
  EXPECT_EQ(format("%1 Setup", ""), " Setup");
  EXPECT_EQ(format("%5%4%3%2%1", "а"), "дгба");
  EXPECT_EQ(format("%1%1%1", std::string(19, 'x')), std::string(57, 'x')) << "all that there is room for";
  EXPECT_EQ(format("%1%1%1", std::string(20, 'x')), "111");
  watched.faults.calls.clear();
  EXPECT_EQ(format("&Каналы:", "x"), "&Каналы:");
  EXPECT_TRUE(watched.faults.calls.empty());
  watched.faults.fails = [](const std::string&) { return true; };
  EXPECT_EQ(format("%1 Настр%2", "x"), "1 Настр2");
}

TEST(TextTable, GivesRussianSystemsTheirCharacterSet) {
  const struct {
    std::uint16_t system_language;
    std::uint8_t form_before, form, control;
  } rows[] = {{0x0419, 0, 204, 204},
              {0x7419, 0, 204, 204},
              {0x0819, 0, 0, 1},
              {0x0409, 0, 0, 1},
              {0x0419, 204, 204, 1}};
  for (const auto& row : rows) {
    FormMachine machine({.language = TextLanguage::kRussian, .system_language = row.system_language});
    const auto form = machine.script.NewWindow({.controls = {{}, {}}});
    form->SetFontCharset(Window::kForm, row.form_before);
    for (const int control : {0, 1}) form->SetFontCharset(control, 1);
    SetFormCharset(*form, machine.platform.texts);
    EXPECT_EQ(form->FontCharset(Window::kForm), row.form);
    for (const int control : {0, 1}) EXPECT_EQ(form->FontCharset(control), row.control);
  }
}
