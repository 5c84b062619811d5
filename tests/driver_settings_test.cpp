#include "settings/driver_settings.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "driver/apartment.h"
#include "platform/toolkit/answering_toolkit.h"
#include "tests/faulty_platform.h"
#include "tests/form_machine.h"
#include "tests/registry_backends.h"

using namespace halden;
using namespace std::string_literals;

namespace {

const std::string kKey = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";

struct Life {
  std::vector<std::string> devices;
  std::optional<UserAnswer> answer;
  std::string heard, behind;  ///< what the device says while it is probed, and once it is open
  bool detected;
  std::string stored;
};

/// What the key holds behind a life of the driver, if an earlier one has stored 4 channels and 10 Hz.
std::string LeftBehind(RegistryApi& registry, const Life& life) {
  SetRaw(registry, kKey, "ChannelFixed", REG_DWORD, "\4\0\0\0"s);
  SetRaw(registry, kKey, "RateFixed", REG_DWORD, "\0\0\x20\x41"s);
  SimPlatform sim(life.devices, RussianMachine());
  const Platform& of = sim.platform();
  AnsweringToolkit user(of.toolkit, of.clock, of.number_rules, life.answer);
  Platform platform{of.d2xx, of.comm_config, registry, of.clock, of.number_rules, of.texts, user};
  Apartment apartment(platform);
  auto adc = apartment.CreateObject();
  // One pass later, since the opening serves the queue before it purges the device.
  const auto hear = [&] { sim.device(0).Feed(life.heard); };
  if (!life.heard.empty()) sim.clock().Post([&] { sim.clock().Post(hear); });
  EXPECT_EQ(adc->Test(), life.detected);
  if (!life.behind.empty()) sim.device(0).Feed(life.behind);
  sim.clock().RunFor(60);
  adc.reset();
  const std::string text = cRegistry(registry, of.texts).ExportKey(HKEY_CURRENT_USER, kKey, true);
  return text.substr(text.find(']') + 3);
}

TEST(DriverSettings, KeepWhatARunHasProvedInEveryRegistry) {
  const std::string label = "@=\"Halden-Text\"\r\n", port = "\"Port\"=dword:0000000";
  const std::string kept = "\"ChannelFixed\"=dword:00000004\r\n\"RateFixed\"=dword:41200000\r\n" + label;
  const std::string chosen = "\"ChannelFixed\"=dword:00000003\r\n\"RateFixed\"=dword:41480000\r\n" + label;
  const std::vector<std::string> silent = {"sim:silent,com=5"};
  const UserAnswer answer{0, 3, "12.5"};
  const Life lives[] = {
      {{"sim:com=5"}, {}, "", "", true, kept + port + "5\r\n"},
      {silent, answer, "", "1;2\r3;4\r5;6\r", true, chosen + port + "5\r\n"},
      {silent, answer, "", "", true, kept},
      {silent, {}, "", "", false, kept},
      {silent, {}, "1;2\r3;4\r", "", false, kept + port + "1\r\n"},  // a format, though no device
      {silent, UserAnswer{1, 3, "1"}, "", "", false, kept},
      {silent, UserAnswer{0, 33, "1"}, "", "", false, kept},
      {silent, UserAnswer{0, 3, "abc"}, "", "", false, kept},
      {{}, answer, "", "", false, kept}};
  const FixedNumberRules rules = FixedNumberRules::Point();
  for (const Life& life : lives) {
    ScratchDirectory directory;
    MemoryRegistry memory(rules);
    FileRegistry file(directory / "r.reg", rules);
    EXPECT_EQ(LeftBehind(memory, life), life.stored);
    EXPECT_EQ(LeftBehind(file, life), life.stored);
  }
}

TEST(DriverSettings, TakeFromAnEditedFileWhatMakesSense) {
  const struct {
    std::string values;
    std::int16_t port, channels;
    float rate;
  } cases[] = {
      {"", 1, 1, 1},
      {"\"Port\"=dword:0000ffff\n\"ChannelFixed\"=dword:20\n\"RateFixed\"=dword:3f000000\n", -1, 32, 0.5f},
      {"\"ChannelFixed\"=dword:21\n\"RateFixed\"=dword:7fc00000\n", 1, 1, 0},
      {"\"ChannelFixed\"=dword:0\n\"RateFixed\"=dword:0\n", 1, 1, 0},
      {"\"ChannelFixed\"=dword:fffb\n\"RateFixed\"=dword:c1200000\n", 1, 1, 0},
      {"\"ChannelFixed\"=dword:00010005\n\"RateFixed\"=\"fast!\"\n", 1, 5, 1},
      {"\"Port\"=\"7\"\n\"ChannelFixed\"=\"seven\"\n\"RateFixed\"=hex:41,00\n", '7', 1, 9.1e-44f},
  };
  ScratchDirectory directory;
  const FixedNumberRules rules = FixedNumberRules::Point();
  CommonTexts texts(TextLanguage::kEnglish, 0x0409);
  for (const auto& c : cases) {
    SetFileText(directory / "r.reg",
                "REGEDIT4\n\n[HKEY_CURRENT_USER\\" + kKey + "]\n@=\"halden-text\"\n" + c.values);
    FileRegistry file(directory / "r.reg", rules);
    Faults faults;
    FaultyRegistry watched(file, faults);
    Store store;
    DriverSettings settings(store, watched, texts);
    for (int object = 0; object < 2; ++object) settings.InitSettingsKey("Halden-Text");
    EXPECT_EQ(GetRaw(file, kKey, ""), "1:Halden-Text");
    EXPECT_EQ(std::count(faults.calls.begin(), faults.calls.end(), "RegSetValueExA"), 1);
    tUserChoice choice;
    settings.LoadSetting(choice);
    EXPECT_EQ(store.BasePort, c.port) << c.values;
    EXPECT_EQ(choice.UserChannels, c.channels) << c.values;
    EXPECT_FLOAT_EQ(choice.UserRate, c.rate) << c.values;
  }
}

}  // namespace
