#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "backends/text/common_texts.h"
#include "backends/windows/windows_platform.h"
#include "tests/registry_contract.h"

// After ours, whose names are macros there.
#include <windows.h>

namespace {

/// The system's registry with a temporary key in the place of HKEY_CURRENT_USER, which is deleted at the end.
class ScratchRegistry final : public halden::Win32Registry {
 public:
  ScratchRegistry() {
    RegCreateKeyW(HKEY_CURRENT_USER, kPath, &root_);
    RegOverridePredefKey(HKEY_CURRENT_USER, root_);
  }
  ~ScratchRegistry() override {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    ::RegCloseKey(root_);
    RegDeleteTreeW(HKEY_CURRENT_USER, kPath);
  }

 private:
  static constexpr wchar_t kPath[] = L"Software\\Halden-Text tests";

  HKEY root_ = nullptr;
};

}  // namespace

namespace halden {
namespace {

/// The tests run in English and in Russian.
bool IsRussian() {
  return PRIMARYLANGID(GetUserDefaultLangID()) == LANG_RUSSIAN;
}

INSTANTIATE_TEST_SUITE_P(Windows, RegistryContract,
                         testing::Values(RegistryBackend{"System", [](const NumberRules&) {
                                                           return std::make_unique<ScratchRegistry>();
                                                         }}));

TEST(Win32NumberRules, FollowTheUsersLocaleAndTheCodePage) {
  const Win32NumberRules rules;
  const CodePage page = IsRussian() ? CodePage::kCyrillic : CodePage::kWestern;
  EXPECT_EQ(rules.GroupSeparator(), IsRussian() ? '\xA0' : ',');
  EXPECT_EQ(rules.NumberToText(-1234.5, 7), IsRussian() ? "-1234,5" : "-1234.5");
  for (int byte = 0; byte < 256; ++byte) {
    const std::string ansi(1, static_cast<char>(byte));
    EXPECT_EQ(rules.AnsiToUtf8(ansi), AnsiToUtf8(ansi, page)) << "byte " << byte;
  }
  for (const std::string utf8 : {"Жук \u20AC", "\u00E9\u00B1", "\U0001F600x", "\xE2\x82x"})
    EXPECT_EQ(rules.Utf8ToAnsi(utf8), Utf8ToAnsi(utf8, page)) << utf8;
}

TEST(ResourceTexts, GiveEveryTextOfTheTable) {
  ResourceTexts texts(LoadLibraryExW(L"HT_TEXT.adc", nullptr, LOAD_LIBRARY_AS_DATAFILE));
  CommonTexts table(IsRussian() ? TextLanguage::kRussian : TextLanguage::kEnglish, 0x0409);
  for (std::uint32_t id = 0; id < 400; ++id)
    EXPECT_EQ(texts.LoadText(id), table.LoadText(id)) << "text " << id;
}

TEST(Win32Clock, TicksNeverNestAndWmQuitIsLeftForTheHost) {
  Win32Clock clock;
  int ticks = 0, nested = 0;
  std::unique_ptr<PeriodicTimer> timer;
  timer = clock.NewTimer(10, [&] {
    EXPECT_EQ(++nested, 1) << "a tick inside another one";
    Sleep(60);
    if (++ticks == 3) {
      timer.reset();
      PostQuitMessage(7);
    }
    for (int pass = 0; pass < 20; ++pass) clock.ServeMessages();
    --nested;
  });
  timer->Enable(true);
  MSG message;
  while (timer && GetMessageW(&message, nullptr, 0, 0)) DispatchMessageW(&message);
  EXPECT_EQ(ticks, 3);
  ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "WM_QUIT is lost";
  EXPECT_EQ(message.wParam, 7u);
}

}  // namespace
}  // namespace halden
