#include "platform/common_texts.h"

#include <gtest/gtest.h>

namespace halden {
namespace {

TEST(CommonTexts, FillInArgumentsWhereTheWholeTextFits) {
  CommonTexts texts(TextLanguage::kEnglish, 0x0409);
  const auto filled = [&](const char* source, std::uint32_t capacity) -> std::string {
    constexpr std::uint32_t kFill = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    const char* arguments[] = {"Halden-Text", "", "%1", "d", "e"};
    char buffer[40] = {};
    std::fill(std::begin(buffer), std::end(buffer) - 1, '#');
    const std::uint32_t length = texts.FormatMessageA(kFill, source, 0, 0, buffer, capacity, arguments);
    EXPECT_EQ(buffer + capacity, std::string(39 - capacity, '#')) << "written behind the buffer";
    return length ? buffer : "failed";
  };
  EXPECT_EQ(filled("%1 Setup", 18), "Halden-Text Setup");
  EXPECT_EQ(filled("%1 Setup", 17), "failed");
  EXPECT_EQ(filled("%2%5%4%3", 38), "ed%1");
  EXPECT_EQ(filled("a%%%n%!%0b", 38), "a%\r\n!");
  for (const char* source : {"%6", "%10", "%"}) EXPECT_EQ(filled(source, 38), "failed") << source;
}

}  // namespace
}  // namespace halden
