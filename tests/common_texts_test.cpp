#include "platform/common_texts.h"

#include <gtest/gtest.h>

using namespace halden;

namespace {

constexpr std::uint32_t kFill = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
constexpr std::uint32_t kSystem = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

/// "failed" for a result of 0.
std::string Format(std::uint32_t flags, const char* source, std::uint32_t id, std::uint32_t capacity) {
  CommonTexts texts(TextLanguage::kEnglish, 0x0409);
  const char* arguments[] = {"Halden-Text", "", "%1", "d", "e"};
  std::string buffer(100, '#');
  const std::uint32_t length = texts.FormatMessageA(flags, source, id, 0, buffer.data(), capacity, arguments);
  EXPECT_EQ(buffer.substr(capacity), std::string(100 - capacity, '#')) << "written behind the buffer";
  if (!length) return "failed";
  EXPECT_EQ(buffer[length], '\0');
  return buffer.substr(0, length);
}

}  // namespace

TEST(CommonTexts, SpeaksTheLanguageOfTheProcess) {
  CommonTexts english(TextLanguage::kEnglish, 0x0419), russian(TextLanguage::kRussian, 0x0409);
  EXPECT_EQ(english.LoadText(71), "N of &Channels:");
  EXPECT_EQ(russian.LoadText(71), "&Каналы:");
  EXPECT_EQ(english.LoadText(23), std::nullopt);
  EXPECT_EQ(english.GetSystemDefaultLangID(), 0x0419);
}

TEST(CommonTexts, FillsInArguments) {
  EXPECT_EQ(Format(kFill, "%1 Setup", 0, 18), "Halden-Text Setup");
  EXPECT_EQ(Format(kFill, "%1 Setup", 0, 17), "failed");
  EXPECT_EQ(Format(kFill, "%2 Setup", 0, 38), " Setup");
  EXPECT_EQ(Format(kFill, "%5%4%3", 0, 38), "ed%1");
  EXPECT_EQ(Format(kFill, "a%%%n%!%0b", 0, 38), "a%\r\n!");
  for (const char* source : {"%6", "%10", "%"}) EXPECT_EQ(Format(kFill, source, 0, 38), "failed") << source;
}

TEST(CommonTexts, GivesTheSystemsSentences) {
  EXPECT_EQ(Format(kSystem, nullptr, 2, 100), "The system cannot find the file specified.\r\n");
  EXPECT_EQ(Format(kSystem, nullptr, 5, 19), "failed");
  EXPECT_EQ(Format(kSystem, nullptr, 123456, 100), "failed");
}
