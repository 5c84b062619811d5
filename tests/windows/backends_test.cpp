#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "platform/common_texts.h"
#include "platform/windows/windows_platform.h"
#include "tests/registry_contract.h"
#include "tests/windows/host_side.h"

namespace {

const HKEY users_root = HKEY_CURRENT_USER;

}  // namespace

namespace halden {
namespace {

using windows_test::Pump;

/// Of the two languages in which the tests run.
bool IsRussian() {
  const char* const locale = std::getenv("LC_ALL");
  return locale && std::string_view(locale).starts_with("ru");
}

/// The system's registry with a key of our own as the user's root, which goes with the object.
class ScratchRegistry final : public Win32Registry {
 public:
  ScratchRegistry() {
    RegCreateKeyW(users_root, kPath, &root_);
    RegOverridePredefKey(users_root, root_);
  }
  ~ScratchRegistry() override {
    RegOverridePredefKey(users_root, nullptr);
    ::RegCloseKey(root_);
    RegDeleteTreeW(users_root, kPath);
  }

 private:
  static constexpr wchar_t kPath[] = L"Software\\Halden-Text tests";

  ::HKEY root_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Windows, RegistryContract,
                         testing::Values(RegistryBackend{
                             "System",
                             [](const NumberRules&) { return std::make_unique<ScratchRegistry>(); }}),
                         [](const auto& instance) { return instance.param.name; });

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

  const char* const arguments[] = {"Halden-Text", "", "c"};
  constexpr std::uint32_t kFill = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
  char filled[40] = "";
  EXPECT_EQ(texts.FormatMessageA(kFill, "%3%2-%1%%", 0, 0, filled, 40, arguments), 14u);
  EXPECT_STREQ(filled, "c-Halden-Text%");
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
  ASSERT_TRUE(api.SetDefaultCommConfigA("COM7", &config, size));
  config = {};
  ASSERT_TRUE(api.GetDefaultCommConfigA("COM7", &config, &size));
  EXPECT_EQ(config.dcb.BaudRate, 57600u);
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
  EXPECT_NE(library.FT_Close(-1), FT_OK);
  EXPECT_EQ(library.FT_GetComPortNumber(first, &com), FT_OK);
  EXPECT_EQ(library.FT_Close(first), FT_OK);
}

}  // namespace
}  // namespace halden
