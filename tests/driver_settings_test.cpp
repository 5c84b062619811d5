#include "settings/driver_settings.h"

#include <cmath>
#include <gtest/gtest.h>

#include "platform/common_texts.h"
#include "tests/faulty_platform.h"
#include "tests/registry_backends.h"

using namespace halden;
using namespace std::string_literals;

namespace {

const std::string kKey = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";

class DriverSettingsTest : public testing::Test {
 protected:
  std::string Export() {
    const std::string text = cRegistry(memory, texts).ExportKey(HKEY_CURRENT_USER, kKey, true);
    return text.substr(std::min(text.find(']') + 3, text.size()));
  }

  FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory{rules};
  Faults faults;
  FaultyRegistry counting{memory, faults};
  CommonTexts texts{TextLanguage::kEnglish, 0x0409};
  Store store;
  DriverSettings settings{store, counting, texts};
};

TEST_F(DriverSettingsTest, LabelsTheKeyOnceAndStoresWhatIsKnown) {
  settings.InitSettingsKey("Halden-Text");
  EXPECT_EQ(store.SettingsKey, kKey);
  EXPECT_EQ(store.ADCState.DriverName, "Halden-Text");
  EXPECT_EQ(Export(), "@=\"Halden-Text\"\r\n");
  memory.SetRights(HKEY_CURRENT_USER, kKey, 0x20009);
  faults.Arm(0);
  settings.InitSettingsKey("Halden-Text");
  EXPECT_EQ(faults.Count(), 4) << "the label is read, not written";
  memory.SetRights(HKEY_CURRENT_USER, kKey, ~0u);
  SetRaw(memory, kKey, "", REG_SZ, "halden-text");
  settings.InitSettingsKey("Halden-Text");
  EXPECT_EQ(Export(), "@=\"Halden-Text\"\r\n");

  store.BasePort = 5;
  faults.Arm(0);
  settings.SaveSetting({2, 10});
  EXPECT_EQ(faults.Count(), 0) << "no line has been analysed";
  store.FormatKnown = true;
  settings.SaveSetting({0, 0});
  EXPECT_EQ(Export(), "@=\"Halden-Text\"\r\n\"Port\"=dword:00000005\r\n");
  store.BasePort = -1;
  settings.SaveSetting({2, 12.5f});
  settings.SaveSetting({-1, std::nanf("")});
  EXPECT_EQ(Export(),
            "@=\"Halden-Text\"\r\n\"Port\"=dword:0000ffff\r\n\"ChannelFixed\"=dword:00000002\r\n"
            "\"RateFixed\"=dword:41480000\r\n");
  tUserChoice choice;
  store.BasePort = 0;
  settings.LoadSetting(choice);
  EXPECT_EQ(store.BasePort, -1);
  EXPECT_EQ(choice.UserChannels, 2);
  EXPECT_EQ(choice.UserRate, 12.5f);
}

TEST_F(DriverSettingsTest, TakesFromAnEditedFileWhatMakesSense) {
  const struct {
    std::string values;
    std::int16_t port, channels;
    float rate;
  } cases[] = {
      {"", 1, 1, 1},
      {"\"Port\"=dword:0000ffff\n\"ChannelFixed\"=dword:00000020\n\"RateFixed\"=dword:3f000000\n", -1, 32,
       0.5f},
      {"\"ChannelFixed\"=dword:21\n\"RateFixed\"=dword:7fc00000\n", 1, 1, 0},
      {"\"ChannelFixed\"=dword:00000000\n\"RateFixed\"=dword:00000000\n", 1, 1, 0},
      {"\"ChannelFixed\"=dword:0000fffb\n\"RateFixed\"=dword:c1200000\n", 1, 1, 0},
      {"\"ChannelFixed\"=dword:00010005\n\"RateFixed\"=\"fast!\"\n", 1, 5, 1},
      {"\"Port\"=\"7\"\n\"ChannelFixed\"=\"seven\"\n\"RateFixed\"=hex:41,00\n", '7', 1, 9.1e-44f},
  };
  ScratchDirectory directory;
  for (const auto& c : cases) {
    SetFileText(directory / "r.reg",
                "REGEDIT4\n\n[HKEY_CURRENT_USER\\" + kKey + "]\n@=\"mine\"\n" + c.values);
    FileRegistry file(directory / "r.reg", rules);
    DriverSettings of_file(store, file, texts);
    tUserChoice choice;
    of_file.InitSettingsKey("Halden-Text");
    EXPECT_EQ(GetRaw(file, kKey, ""), "1:Halden-Text");
    of_file.LoadSetting(choice);
    EXPECT_EQ(store.BasePort, c.port) << c.values;
    EXPECT_EQ(choice.UserChannels, c.channels) << c.values;
    EXPECT_FLOAT_EQ(choice.UserRate, c.rate) << c.values;
  }
}

TEST_F(DriverSettingsTest, EndsItsWorkWhateverCallFails) {
  for (int failing = 1, more = true; more; ++failing) {
    MemoryRegistry fresh(rules);
    Faults once;
    FaultyRegistry failing_once(fresh, once);
    Store stored;
    DriverSettings tested(stored, failing_once, texts);
    once.Arm(failing);
    tUserChoice choice;
    tested.InitSettingsKey("Halden-Text");
    stored.FormatKnown = true;
    stored.BasePort = 4;
    tested.SaveSetting({3, 0.5f});
    tested.LoadSetting(choice);
    EXPECT_TRUE(stored.BasePort == 4 || stored.BasePort == 1) << failing;
    EXPECT_TRUE(choice.UserChannels == 3 || choice.UserChannels == 1) << failing;
    EXPECT_TRUE(choice.UserRate == 0.5f || choice.UserRate == 1) << failing;
    EXPECT_EQ(fresh.OpenHandles(), 0u) << failing;
    EXPECT_EQ(GetRaw(fresh, "Software", "Port"), "error 2") << failing;
    more = once.Count() >= failing;
    EXPECT_TRUE(more || choice.UserChannels == 3);
  }
}

}  // namespace
