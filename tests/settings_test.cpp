#include <algorithm>
#include <gtest/gtest.h>

#include "backends/linux/registry/file_registry.h"
#include "backends/toolkit/answering_toolkit.h"
#include "driver/driver.h"
#include "settings/driver_settings.h"
#include "tests/faulty_platform.h"
#include "tests/form_fixture.h"
#include "tests/registry_values.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

using namespace std::string_literals;

constexpr HKEY kUser = HKEY_CURRENT_USER;

/// A registry in memory, on the key "K", every call of which can be made to fail.
struct Registry : testing::Test {
  Registry() { registry.KeyPath("K"); }

  FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory{rules};
  Faults faults;
  FaultyRegistry faulty{memory, faults};
  CommonTexts texts{TextLanguage::kEnglish, 0x0409};
  cRegistry registry{faulty, texts};
};

TEST_F(Registry, SelectsOnlyRootsAndKeysThatOpen) {
  registry.KeyPath("A\\B\\C");
  EXPECT_TRUE(registry.KeyExists(kUser, "a\\b\\c"));
  EXPECT_TRUE(registry.CreateKey(kUser, "A", "label"));
  EXPECT_EQ(GetRaw(memory, "A", ""), "1:label");
  registry.RootKey(kUser);
  registry.RootKey(0x1234);
  registry.KeyPath("no\\\\path");
  EXPECT_EQ(registry.KeyPath(), "A\\B\\C") << "it is there already, or can't be opened";
  registry.RootKey(HKEY_LOCAL_MACHINE);
  EXPECT_EQ(registry.KeyPath(), "");
  EXPECT_EQ(registry.RootKey(), HKEY_LOCAL_MACHINE);
}

TEST_F(Registry, StoresEachTypeInItsForm) {
  registry.StringValue("s", "te\xE9xt");
  registry.LongValue("l", -2);
  registry.ByteValue("b", 255);
  registry.IntegerValue("i", -1);
  registry.BooleanValue("t", true);
  registry.BooleanValue("f", false);
  registry.SingleValue("r", 1);
  registry.DoubleValue("d", -1.5);
  registry.CurrencyValue("c", -12345678901234);
  registry.BinaryValue("x", {0, 10, 255});
  EXPECT_EQ(registry.ExportKey(kUser, "K", false),
            "\r\n[HKEY_CURRENT_USER\\K]\r\n\"s\"=\"te\xE9xt\"\r\n\"l\"=dword:fffffffe\r\n"
            "\"b\"=dword:000000ff\r\n\"i\"=dword:0000ffff\r\n\"t\"=dword:00000001\r\n\"f\"=dword:00000000\r\n"
            "\"r\"=dword:3f800000\r\n\"d\"=hex:00,00,00,00,00,00,f8,bf\r\n"
            "\"c\"=hex:0e,d0,31,8c,c5,f4,ff,ff\r\n\"x\"=hex:00,0a,ff\r\n");
  EXPECT_EQ(registry.StringValue("S"), "te\xE9xt") << "names have no case";
  EXPECT_EQ(registry.LongValue("l"), -2);
  EXPECT_EQ(registry.LongValue("i"), 65535);
  EXPECT_EQ(registry.IntegerValue("i"), -1);
  EXPECT_EQ(registry.ByteValue("b"), 255);
  EXPECT_TRUE(registry.BooleanValue("l"));
  EXPECT_FALSE(registry.BooleanValue("f"));
  EXPECT_EQ(registry.SingleValue("r"), 1);
  EXPECT_EQ(registry.DoubleValue("d"), -1.5);
  EXPECT_EQ(registry.CurrencyValue("c"), -12345678901234);
  EXPECT_EQ(registry.BinaryValue("x"), (ByteArray{0, 10, 255}));
}

TEST_F(Registry, ReadsValuesThatFitAndUsesTheDefaultOtherwise) {
  SetRaw(memory, "K", "v", REG_BINARY, "1234");
  double real = 1;
  EXPECT_FALSE(registry.GetDouble("v", real, 2.5));
  EXPECT_EQ(real, 2.5);
  EXPECT_FALSE(registry.BooleanValue("missing"));
  EXPECT_EQ(registry.ByteValue("missing"), 0);
  faults.Inject({.call = 3});
  EXPECT_EQ(registry.BinaryValue("v"), ByteArray{0});

  std::string text = "old";
  EXPECT_FALSE(registry.GetString("missing", text, ""));
  faults.Inject({.call = 1, .kind = Faults::kFailsWithCounts, .change = [](auto) { return 4; }});
  EXPECT_FALSE(registry.GetString("v", text, ""));
  faults.Inject({.call = 1, .kind = Faults::kWrongCount, .change = [](auto) { return (1 << 24) + 1; }});
  EXPECT_FALSE(registry.GetString("v", text, ""));
  EXPECT_EQ(text, "old");
  EXPECT_FALSE(registry.GetString("missing", text, "x"));
  EXPECT_EQ(text, "x");
  EXPECT_TRUE(registry.SetString("", ""));
  EXPECT_TRUE(registry.GetString("", text, "x"));
  EXPECT_EQ(text, "");
  ByteArray bytes{9};
  EXPECT_FALSE(registry.GetBinary("", bytes)) << "of size 0";
  EXPECT_FALSE(registry.SetBinary("none", {}));
  EXPECT_EQ(bytes, ByteArray{9});
  EXPECT_FALSE(registry.WriteLong(kUser, "missing", "v", 1));
  EXPECT_FALSE(registry.DeleteKey(kUser, "missing"));
  EXPECT_EQ(registry.ErrorText(), "The system cannot find the file specified");
}

TEST_F(Registry, ReadsListsAndExportsEveryType) {
  const struct {
    std::string name;
    std::uint32_t type;
    std::string data;
    AnyValue any;
    int integer;  ///< read as one; 1: the default
    std::string exported;
  } values[] = {
      {"", REG_SZ, "  C:\\Temp\\ \0 behind"s, "  C:\\Temp\\ \0 behin"s, 1, "@=\"C:\\\\Temp\\\\\"\r\n"},
      {"a\"b\\", REG_SZ, "say \"x\"", "say \"x", 1, "\"a\"b\\\"=\"say \"x\"\"\r\n"},
      {"expand", REG_EXPAND_SZ, "%A%\0"s, "%A%", '%' + 256 * 'A', "\"expand\"=\"%A%\"\r\n"},
      {"multi", REG_MULTI_SZ, "one\0two\0\0"s, "one\0two\0"s, 1, "\"multi\"=\"one\"\r\n"},
      {"empty", REG_SZ, "", 7, 0, "\"empty\"=\"\"\r\n"},
      {"blank", REG_SZ, " ", "", ' ', "\"blank\"=\"\"\r\n"},
      {"none", REG_NONE, "xx", 7, 0x7878, "\"none\"="},
      {"number", REG_DWORD, "\xCD\xAB\0\xFF"s, -16733235, -21555, "\"number\"=dword:ff00abcd\r\n"},
      {"big", REG_DWORD_BIG_ENDIAN, "\1\2", 0x0201, 0x0201, "\"big\"=dword:00000201\r\n"},
      {"bytes", REG_BINARY, "\0\x0A\xFF"s, ByteArray{0, 10, 255}, 0x0A00, "\"bytes\"=hex:00,0a,ff\r\n"}};
  std::string key = "\r\n[HKEY_CURRENT_USER\\K]\r\n";
  for (const auto& v : values) {
    SetRaw(memory, "K", v.name, v.type, v.data);
    SCOPED_TRACE(v.name);
    const bool fits = v.integer != 1;  // into the 4 bytes of a number
    std::int16_t integer = 7;
    EXPECT_EQ(registry.GetInteger(v.name, integer, 1), fits);
    EXPECT_EQ(registry.ErrorCode(), fits ? 0 : ERROR_MORE_DATA);
    EXPECT_EQ(integer, v.integer);
    std::uint8_t byte = 7;
    EXPECT_EQ(registry.GetByte(v.name, byte, 1), fits);
    EXPECT_EQ(byte, static_cast<std::uint8_t>(v.integer));
    bool truth = v.integer == 0;
    EXPECT_EQ(registry.GetBoolean(v.name, truth, true), fits);
    EXPECT_EQ(truth, v.integer != 0);
    ByteArray bytes;
    EXPECT_EQ(registry.GetBinary(v.name, bytes), !v.data.empty());
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), v.data);
    AnyValue any = 7;
    EXPECT_EQ(registry.ReadAnyValue(kUser, "K", v.name, any), static_cast<std::int32_t>(v.type));
    EXPECT_EQ(any, v.any);
    key += v.exported;
  }
  EXPECT_EQ(registry.StringValue("multi"), "one");
  AnyValue none;
  EXPECT_EQ(registry.ReadAnyValue(kUser, "K", "Multi", none), 0);
  std::vector<std::string> names;
  EXPECT_EQ(registry.ListValues(kUser, "K", names), 10);
  EXPECT_EQ(names[0], "K");
  EXPECT_EQ(names[1], "");
  EXPECT_EQ(names[10], "bytes");

  SetRaw(memory, "K\\b\\c", "v", REG_SZ, "1");
  SetRaw(memory, "K\\A", "v", REG_SZ, "2");
  EXPECT_EQ(registry.ListSubKeys(kUser, names[0], names), 2);
  EXPECT_EQ(names, (std::vector<std::string>{"K", "A", "b"}));
  const std::string first = "\r\n[HKEY_CURRENT_USER\\K\\A]\r\n\"v\"=\"2\"\r\n";
  const std::string others =
      "\r\n[HKEY_CURRENT_USER\\K\\b]\r\n\r\n[HKEY_CURRENT_USER\\K\\b\\c]\r\n\"v\"=\"1\"\r\n";
  EXPECT_EQ(registry.ExportKey(kUser, "K", false), key);
  EXPECT_EQ(registry.ExportKey(kUser, "", true), "\r\n[HKEY_CURRENT_USER]\r\n" + key + first + others);
  EXPECT_EQ(registry.ExportKey(HKEY_DYN_DATA, "", true), "\r\n[HKEY_DYN_DATA]\r\n");
  EXPECT_EQ(registry.ExportKey(kUser, "missing", true), "");
  EXPECT_EQ(registry.RootName(0x80000007), "");
  memory.SetRights(kUser, "K\\A", KEY_QUERY_VALUE);
  const std::string whole = registry.ExportKey(kUser, "K", true);
  EXPECT_EQ(whole, key + others);
  for (int failing = 1; failing < 40; ++failing) {
    faults.Inject({.call = failing});
    const std::string text = registry.ExportKey(kUser, "K", true);
    EXPECT_EQ(text.empty(), failing == 1);
    // Only what couldn't be listed is missing.
    const auto lacking = std::mismatch(text.begin(), text.end(), whole.begin(), whole.end()).first;
    EXPECT_TRUE(whole.ends_with(std::string(lacking, text.end()))) << failing << text;
  }
  EXPECT_EQ(faults.LeftOpen(), std::vector<std::string>());
}

TEST_F(Registry, CallsAskForTheRightsTheyNeedAndCloseTheKeyAfterFailures) {
  std::string text;
  /// The rights that a member needs, and a call of it.
  const std::pair<std::uint32_t, std::function<bool()>> members[] = {
      {0x30006, [&] { return registry.DeleteKey(kUser, "K"); }},
      {0x20006, [&] { return registry.DeleteValue(kUser, "K", "v"); }},
      {2, [&] { return registry.SetString("v", "x"); }},
      {1, [&] { return registry.GetString("v", text, "") && text == "1234"; }},
      {0x20006, [&] { return registry.SetLong("v", 1); }},
      {1, [&] { return registry.LongValue("v") == 0x34333231; }},
      {2, [&] { return registry.SetCurrency("v", 1); }},
      {1, [&] { return registry.BinaryValue("v").size() == 4; }}};
  for (const auto& [rights, run] : members)
    for (int failing = 0; failing <= 2; ++failing) {
      memory.SetRights(kUser, "K", 0xFFFFFFFF);
      SetRaw(memory, "K", "v", REG_BINARY, "1234");
      memory.SetRights(kUser, "K", rights);
      faults.Inject({.call = failing});
      EXPECT_EQ(run(), !failing);
      EXPECT_EQ(registry.ErrorCode(), failing ? Faults::kFailure : 0);
      EXPECT_EQ(faults.LeftOpen(), std::vector<std::string>());
    }
}

const std::string kKey = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";

TEST(DriverSettings, StoreOnlyWhatWorkedInARun) {
  const std::string kept = "\"ChannelFixed\"=dword:00000004\r\n\"RateFixed\"=dword:41200000\r\n";
  const std::string chosen = "\"ChannelFixed\"=dword:00000003\r\n\"RateFixed\"=dword:3f000000\r\n";
  const std::string label = "@=\"Halden-Text\"\r\n", port = "\"Port\"=dword:00000005\r\n";
  const std::string silent = "sim:silent,com=5";
  const UserAnswer answer{0, 3, "0.5"};
  const struct {
    std::vector<std::string> devices;
    std::optional<UserAnswer> answer;
    std::string heard;   ///< what the device sends once it is open
    std::string stored;  ///< afterwards; an earlier run has stored 4 channels and 10 Hz
  } lives[] = {{{"sim:com=5"}, {}, "", kept + label + port},
               {{silent}, answer, "1;2\r3;4\r5;6\r", chosen + label + port},
               {{silent}, answer, "", kept + label},
               {{silent}, {}, "", kept + label},
               {{}, answer, "", kept + label}};
  for (const auto& life : lives) {
    SimPlatform sim(life.devices, RussianOptions());
    const Platform& of = sim.platform();
    SetRaw(of.registry, kKey, "ChannelFixed", REG_DWORD, "\4\0\0\0"s);
    SetRaw(of.registry, kKey, "RateFixed", REG_DWORD, "\0\0\x20\x41"s);
    AnsweringToolkit user(of.toolkit, of.clock, of.number_rules, life.answer, true);
    Platform platform{of.d2xx, of.comm_config, of.registry, of.clock, of.number_rules, of.texts, user};
    Driver driver(platform);
    auto adc = driver.CreateObject();
    adc->Test();
    if (!life.heard.empty()) sim.device(0).Feed(life.heard);
    sim.clock().RunFor(60);
    adc.reset();
    const std::string text = cRegistry(of.registry, of.texts).ExportKey(kUser, kKey, true);
    EXPECT_EQ(text.substr(text.find(']') + 3), life.stored);
  }
}

TEST(DriverSettings, ReplaceImpossibleValuesOfAnEditedFile) {
  const struct {
    std::string values;  ///< lines below the key
    int port, channels;
    float rate;
  } cases[] = {{"", 1, 1, 1},
               {"\"Port\"=dword:0000ffff\n\"ChannelFixed\"=dword:00000020\n\"RateFixed\"=dword:3f000000\n",
                -1, 32, 0.5f},
               {"\"ChannelFixed\"=dword:00000021\n\"RateFixed\"=dword:7fc00000\n", 1, 1, 0},
               {"\"ChannelFixed\"=dword:00000000\n\"RateFixed\"=dword:80000001\n", 1, 1, 0},
               {"\"ChannelFixed\"=dword:00010005\n\"RateFixed\"=\"fast!\"\n", 1, 5, 1}};
  ScratchDirectory directory;
  const FixedNumberRules rules = FixedNumberRules::Point();
  CommonTexts texts(TextLanguage::kEnglish, 0x0409);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.values);
    const std::string key = "REGEDIT4\n\n[HKEY_CURRENT_USER\\" + kKey + "]\n@=\"halden-text\"\n";
    SetFileText(directory / "r.reg", key + c.values);
    FileRegistry file(directory / "r.reg", rules);
    Store store;
    DriverSettings settings(store, file, texts);
    settings.InitSettingsKey("Halden-Text");
    EXPECT_EQ(GetRaw(file, kKey, ""), "1:Halden-Text");
    tUserChoice choice;
    settings.LoadSetting(choice);
    EXPECT_EQ(store.BasePort, c.port);
    EXPECT_EQ(choice.UserChannels, c.channels);
    EXPECT_EQ(choice.UserRate, c.rate);
  }
}

}  // namespace
}  // namespace halden
