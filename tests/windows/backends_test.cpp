#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "driver/apartment.h"
#include "driver/inspect.h"
#include "platform/sim/sim_platform.h"
#include "platform/toolkit/answering_toolkit.h"
#include "platform/windows/windows_platform.h"
#include "tests/registry_contract.h"
#include "tests/windows/host_side.h"

namespace halden {
namespace {

using windows_test::Pump;

/// Of the two languages in which the tests run.
bool IsRussian() {
  const char* const locale = std::getenv("LC_ALL");
  return locale && std::string_view(locale).starts_with("ru");
}

/// The system's registry with a key of our own as the user's root, which goes with the object.
class ScratchRegistry final : public RegistryApi {
 public:
  ScratchRegistry() {
    system_.RegCreateKeyExA(HKEY_CURRENT_USER, kPath, kAll, &root_);
    Empty("");
  }
  ~ScratchRegistry() override {
    Empty("");
    system_.RegCloseKey(root_);
    system_.RegDeleteKeyA(HKEY_CURRENT_USER, kPath);
  }

  std::int32_t RegOpenKeyExA(HKEY parent, const std::string& path, std::uint32_t access, HKEY* key) override {
    return system_.RegOpenKeyExA(Below(parent), path, access, key);
  }
  std::int32_t RegCreateKeyExA(HKEY parent, const std::string& path, std::uint32_t access,
                               HKEY* key) override {
    return system_.RegCreateKeyExA(Below(parent), path, access, key);
  }
  std::int32_t RegCloseKey(HKEY key) override { return system_.RegCloseKey(key); }
  std::int32_t RegQueryValueExA(HKEY key, const std::string& name, std::uint32_t* type, void* data,
                                std::uint32_t* size) override {
    return system_.RegQueryValueExA(Below(key), name, type, data, size);
  }
  std::int32_t RegSetValueExA(HKEY key, const std::string& name, std::uint32_t type, const void* data,
                              std::uint32_t size) override {
    return system_.RegSetValueExA(Below(key), name, type, data, size);
  }
  std::int32_t RegDeleteKeyA(HKEY parent, const std::string& path) override {
    return system_.RegDeleteKeyA(Below(parent), path);
  }
  std::int32_t RegDeleteValueA(HKEY key, const std::string& name) override {
    return system_.RegDeleteValueA(Below(key), name);
  }
  std::int32_t RegQueryInfoKeyA(HKEY key, RegKeyInfo* info) override {
    return system_.RegQueryInfoKeyA(Below(key), info);
  }
  std::int32_t RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length) override {
    return system_.RegEnumKeyExA(Below(key), index, name, length);
  }
  std::int32_t RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* length,
                             std::uint32_t* type, void* data, std::uint32_t* size) override {
    return system_.RegEnumValueA(Below(key), index, name, length, type, data, size);
  }

 private:
  static constexpr char kPath[] = "Software\\Halden-Text tests";

  HKEY Below(HKEY key) const { return key == HKEY_CURRENT_USER ? root_ : key; }

  /// Deletes what is below the key at this path.
  void Empty(const std::string& path) {
    HKEY key = 0;
    if (system_.RegOpenKeyExA(root_, path, kAll, &key)) return;
    char name[256];
    for (std::uint32_t length = sizeof name; !system_.RegEnumKeyExA(key, 0, name, &length);
         length = sizeof name) {
      const std::string below = (path.empty() ? "" : path + "\\") + std::string(name, length);
      Empty(below);
      if (system_.RegDeleteKeyA(root_, below)) break;
    }
    system_.RegCloseKey(key);
  }

  Win32Registry system_;
  HKEY root_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Windows, RegistryContract,
                         testing::Values(RegistryBackend{
                             "System",
                             [](const NumberRules&) { return std::make_unique<ScratchRegistry>(); }}),
                         [](const auto& instance) { return instance.param.name; });

/// What a run leaves in a registry: the user names the port, the channels and the rate of a device that only
/// speaks later. The lines are sorted, as the system keeps values in an order of its own.
std::vector<std::string> LeftBehind(RegistryApi& registry) {
  SimPlatform sim({"sim:silent=10,com=300"});
  AnsweringToolkit user(sim.toolkit(), sim.clock(), sim.number_rules(), UserAnswer{0, 2, "12.5"});
  const Platform& of = sim.platform();
  Platform platform{of.d2xx, of.comm_config, registry, of.clock, of.number_rules, of.texts, user};
  {
    Apartment apartment(platform);
    EXPECT_TRUE(apartment.CreateObject()->Test());
  }
  {
    Apartment apartment(platform);
    const auto adc = apartment.CreateObject();
    EXPECT_TRUE(adc->Test());
    sim.clock().RunFor(20000);
  }
  std::string error;
  std::istringstream text(ExportSettings(platform, &error));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

TEST(Win32Registry, HoldsAfterARunWhatTheOtherStoresHold) {
  const FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory(rules);
  ScratchRegistry system;
  const auto lines = LeftBehind(system);
  EXPECT_EQ(lines, LeftBehind(memory));
  EXPECT_GE(lines.size(), 5u);
}

TEST(Win32NumberRules, AgreeWithTheUsersLocaleAndCodePage) {
  const Win32NumberRules rules;
  const bool russian = IsRussian();
  EXPECT_EQ(rules.DecimalSeparator(), russian ? ',' : '.');
  const CodePage page = russian ? CodePage::kCyrillic : CodePage::kWestern;
  EXPECT_EQ(rules.GroupSeparator(), russian ? '\xA0' : ',');
  EXPECT_EQ(rules.NumberToText(-1234.5, 7), russian ? "-1234,5" : "-1234.5");
  for (int byte = 0; byte < 256; ++byte) {
    const std::string ansi(1, static_cast<char>(byte));
    EXPECT_EQ(rules.AnsiToUtf8(ansi), AnsiToUtf8(ansi, page)) << byte;
  }
  for (const std::string utf8 : {"Жук \u20AC", "\u00E9\u00B1", "\U0001F600x", "\xE2\x82x", "\xFF", "a\u0301"})
    EXPECT_EQ(rules.Utf8ToAnsi(utf8), Utf8ToAnsi(utf8, page)) << utf8;
}

TEST(ResourceTexts, AreThoseOfTheTableAndTheSystem) {
  ResourceTexts texts(LoadLibraryW(L"HT_TEXT.adc"));
  CommonTexts table(IsRussian() ? TextLanguage::kRussian : TextLanguage::kEnglish, 0x0409);
  for (std::uint32_t id = 0; id < 400; ++id) EXPECT_EQ(texts.LoadText(id), table.LoadText(id)) << id;
  const ComponentVersion version = texts.Version();
  EXPECT_EQ((std::vector<int>{version.major, version.minor, version.revision}), (std::vector<int>{3, 2, 2}));

  const char* const arguments[] = {"Halden-Text", "", "c", "", "e"};
  for (const char* const source : {"%1 Setup", "%2%3-%5%%", "100%"}) {
    char own[40] = "", systems[40] = "";
    constexpr std::uint32_t kFill = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    EXPECT_EQ(texts.FormatMessageA(kFill, source, 0, 0, systems, 40, arguments),
              table.FormatMessageA(kFill, source, 0, 0, own, 40, arguments))
        << source;
    EXPECT_STREQ(systems, own);
  }
  char sentence[256] = "";
  const std::uint32_t length = texts.FormatMessageA(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, 2, 0, sentence, 256, nullptr);
  ASSERT_GT(length, 3u);
  EXPECT_STREQ(sentence + length - 3, ".\r\n");
}

TEST(Win32Clock, TimersTickFromTheHostsOwnLoopAndMayGoInTheirTick) {
  Win32Clock clock;
  int ticks = 0, nested = 0;
  std::unique_ptr<PeriodicTimer> timer;
  timer = clock.NewTimer(10, [&] {
    ++nested;
    Sleep(60);
    for (int pass = 0; pass < 20; ++pass) clock.ServeMessages();
    EXPECT_EQ(nested, 1) << "inside its own tick";
    --nested;
    if (++ticks == 3) timer.reset();
  });
  Pump(30);
  EXPECT_EQ(ticks, 0) << "off until enabled";
  timer->Enable(true);
  EXPECT_TRUE(timer->Enabled());
  for (int i = 0; i < 100 && timer; ++i) Pump(10);
  EXPECT_EQ(ticks, 3);
  Pump(30);
  EXPECT_EQ(ticks, 3);
}

TEST(Win32Clock, APassLeavesTheEndOfTheProgramToTheHost) {
  PostQuitMessage(7);
  Win32Clock().ServeMessages();
  MSG message;
  ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(message.wParam, 7u);
}

TEST(Win32CommConfig, ReadsAndStoresThePortsOfTheSystem) {
  Win32CommConfig api;
  CommConfig config;
  std::uint32_t size = 0;
  EXPECT_FALSE(api.GetDefaultCommConfigA("COM7", &config, &size));
  ASSERT_EQ(size, sizeof config);
  ASSERT_TRUE(api.GetDefaultCommConfigA("COM7", &config, &size));
  config.dcb.BaudRate = 57600;
  config.dcb.Parity = 2;
  ASSERT_TRUE(api.SetDefaultCommConfigA("COM7", &config, size));
  config = {};
  ASSERT_TRUE(api.GetDefaultCommConfigA("COM7", &config, &size));
  EXPECT_EQ(config.dcb.BaudRate, 57600u);
  EXPECT_EQ(config.dcb.Parity, 2);
  EXPECT_FALSE(api.GetDefaultCommConfigA("no port", &config, &size));
  EXPECT_EQ(api.CreateFileA("\\\\.\\COM77"), -1);
  EXPECT_FALSE(api.GetCommConfig(-1, &config, &size));
}

TEST(ImportedD2xx, TranslatesHandlesAndTakesThoseThatAreNotOpen) {
  ImportedD2xx library;
  std::int32_t count = 0, com = 0;
  ASSERT_EQ(library.FT_CreateDeviceInfoList(&count), FT_OK);
  ASSERT_EQ(count, 2);
  FT_DEVICE_LIST_INFO_NODE nodes[2];
  ASSERT_EQ(library.FT_GetDeviceInfoList(nodes, &count), FT_OK);
  EXPECT_STREQ(nodes[1].SerialNumber, "SECOND");
  FT_HANDLE first = -1, second = -1;
  ASSERT_EQ(library.FT_Open(0, &first), FT_OK);
  ASSERT_EQ(library.FT_Open(1, &second), FT_OK);
  EXPECT_NE(library.FT_Open(1, &first), FT_OK) << "held";
  EXPECT_EQ(library.FT_GetComPortNumber(second, &com), FT_OK);
  EXPECT_EQ(com, 9);
  EXPECT_EQ(library.FT_Close(second), FT_OK);
  EXPECT_NE(library.FT_GetComPortNumber(second, &com), FT_OK);
  EXPECT_EQ(library.FT_GetComPortNumber(first, &com), FT_OK);
  library.FT_Close(-1);
  library.FT_Close(12345);
  EXPECT_EQ(library.FT_Close(first), FT_OK);
}

}  // namespace
}  // namespace halden
