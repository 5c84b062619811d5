#include <gtest/gtest.h>

#include "platform/common_texts.h"
#include "settings/cRegistry.h"
#include "tests/registry_backends.h"

using namespace halden;
using namespace std::string_literals;

namespace {

class RegistryExport : public testing::Test {
 protected:
  void Put(const std::string& path, const std::string& name, std::uint32_t type, const std::string& data) {
    ASSERT_EQ(SetRaw(memory, path, name, type, data), 0);
  }

  FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory{rules};
  CommonTexts texts{TextLanguage::kEnglish, 0x0409};
  cRegistry registry{memory, texts};
};

TEST_F(RegistryExport, WritesEveryTypeToTheByte) {
  Put("K", "", REG_SZ, "  C:\\Temp\\ \0 behind"s);
  Put("K", "a\"b\\", REG_SZ, "say \"x\"");
  Put("K", "expand", REG_EXPAND_SZ, "%A%\0"s);
  Put("K", "multi", REG_MULTI_SZ, "one\0two\0\0"s);
  Put("K", "no text", REG_SZ, "");
  Put("K", "blanks", REG_SZ, "  ");
  Put("K", "none", REG_NONE, "xx");
  Put("K", "number", REG_DWORD, "\xCD\xAB\0\0"s);
  Put("K", "big", REG_DWORD_BIG_ENDIAN, "\1\2\3\4");
  Put("K", "short", REG_DWORD, "\1\2");
  Put("K", "link", REG_LINK, "xx");
  Put("K", "bytes", REG_BINARY, "\0\x0A\xFF"s);
  Put("K", "no bytes", REG_BINARY, "");
  Put("K", "last", REG_NONE, "");
  Put("K\\b\\c", "v", REG_SZ, "1");
  Put("K\\A", "v", REG_SZ, "2");
  const std::string key =
      "\r\n[HKEY_CURRENT_USER\\K]\r\n"
      "@=\"C:\\\\Temp\\\\\"\r\n"
      "\"a\"b\\\"=\"say \"x\"\"\r\n"
      "\"expand\"=\"%A%\"\r\n"
      "\"multi\"=\"one\"\r\n"
      "\"no text\"=\"\"\r\n"
      "\"blanks\"=\"\"\r\n"
      "\"none\"=\"number\"=dword:0000abcd\r\n"
      "\"big\"=dword:04030201\r\n"
      "\"short\"=dword:00000201\r\n"
      "\"link\"=\"bytes\"=hex:00,0a,ff\r\n"
      "\"no bytes\"=hex:\r\n"
      "\"last\"=";
  const std::string below =
      "\r\n[HKEY_CURRENT_USER\\K\\A]\r\n\"v\"=\"2\"\r\n"
      "\r\n[HKEY_CURRENT_USER\\K\\b]\r\n"
      "\r\n[HKEY_CURRENT_USER\\K\\b\\c]\r\n\"v\"=\"1\"\r\n";
  EXPECT_EQ(registry.ExportKey(HKEY_CURRENT_USER, "K", false), key);
  EXPECT_EQ(registry.ExportKey(HKEY_CURRENT_USER, "K", true), key + below);
  EXPECT_EQ(registry.ExportKey(HKEY_CURRENT_USER, "", true), "\r\n[HKEY_CURRENT_USER]\r\n" + key + below);
  EXPECT_EQ(registry.ExportKey(HKEY_DYN_DATA, "", true), "\r\n[HKEY_DYN_DATA]\r\n");
  EXPECT_EQ(registry.ErrorCode(), 0);
  EXPECT_EQ(registry.ExportKey(HKEY_CURRENT_USER, "missing", true), "");
  EXPECT_EQ(registry.ErrorCode(), ERROR_FILE_NOT_FOUND);
  memory.SetRights(HKEY_CURRENT_USER, "K\\A", KEY_QUERY_VALUE);
  EXPECT_EQ(registry.ExportKey(HKEY_CURRENT_USER, "K", true), key + below.substr(below.find("\r\n\r\n") + 2));
  EXPECT_EQ(memory.OpenHandles(), 0u);
}

TEST_F(RegistryExport, ListsNamesBehindTheKeysOwn) {
  std::vector<std::string> names;
  Put("K\\two", "v", REG_SZ, "");
  Put("K\\One", "", REG_SZ, "");
  Put("K", "", REG_SZ, "x");
  EXPECT_EQ(registry.ListSubKeys(HKEY_CURRENT_USER, "K", names), 2);
  EXPECT_EQ(names, std::vector<std::string>({"K", "One", "two"}));
  EXPECT_EQ(registry.ListValues(HKEY_CURRENT_USER, "K", names), 1);
  EXPECT_EQ(names, std::vector<std::string>({"K", ""}));
  EXPECT_EQ(registry.ListSubKeys(HKEY_CURRENT_USER, "", names), 1);
  EXPECT_EQ(names, std::vector<std::string>({"", "K"}));
  EXPECT_EQ(registry.ListValues(HKEY_CURRENT_USER, "missing", names), 0);
  EXPECT_EQ(names, std::vector<std::string>({"missing"}));
  EXPECT_EQ(registry.RootName(0x80000007), "");
}

TEST_F(RegistryExport, ReadsAValueOfAnyType) {
  Put("K", "text", REG_SZ, "ab\0"s);
  Put("K", "multi", REG_MULTI_SZ, "a\0b\0\0"s);
  Put("K", "bytes", REG_BINARY, "\1\2");
  Put("K", "number", REG_DWORD, "\xFF\xFF\xFF\xFF");
  Put("K", "none", REG_NONE, "x");
  Put("K", "link", REG_LINK, "x");
  Put("K", "empty", REG_SZ, "");
  const struct {
    std::string name;
    std::int32_t type;
    AnyValue value;
  } cases[] = {{"text", 1, "ab"},         {"multi", 7, "a\0b\0"s},  {"bytes", 3, ByteArray{1, 2}},
               {"number", 4, -1},         {"none", 0, "unchanged"}, {"link", 6, "unchanged"},
               {"empty", 1, "unchanged"}, {"Text", 0, "unchanged"}};
  for (const auto& c : cases) {
    AnyValue value = "unchanged";
    EXPECT_EQ(registry.ReadAnyValue(HKEY_CURRENT_USER, "K", c.name, value), c.type) << c.name;
    EXPECT_EQ(value, c.value) << c.name;
    EXPECT_EQ(registry.ErrorCode(), 0) << c.name;
  }
}

}  // namespace
