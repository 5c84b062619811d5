#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>

#include "backends/text/fixed_number_rules.h"
#include "tests/registry_values.h"

namespace halden {

using namespace std::string_literals;

struct RegistryBackend {
  std::string name;
  std::function<std::unique_ptr<RegistryApi>(const NumberRules&)> make;

  friend void PrintTo(const RegistryBackend& backend, std::ostream* out) { *out << backend.name; }
};

/// The contract of every registry. HKEY_CURRENT_USER is empty at the start.
struct RegistryContract : testing::TestWithParam<RegistryBackend> {
  static constexpr std::uint32_t kAll = KEY_WRITE | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;

  HKEY Create(const std::string& path, std::uint32_t access = kAll) {
    HKEY key = 0;
    EXPECT_EQ(registry->RegCreateKeyExA(HKEY_CURRENT_USER, path, access, &key), 0) << path;
    return key;
  }
  std::int32_t Open(const std::string& path) {
    HKEY key = 0;
    return registry->RegOpenKeyExA(HKEY_CURRENT_USER, path, kAll, &key);
  }
  /// The names of the subkeys, or of the values with their types, and the result that ends them.
  std::string Listed(HKEY key, bool values) {
    std::string names;
    for (std::uint32_t i = 0;; ++i) {
      char name[256];
      std::uint32_t length = sizeof name, type = 0;
      const std::int32_t result =
          values ? registry->RegEnumValueA(key, i, name, &length, &type, nullptr, nullptr)
                 : registry->RegEnumKeyExA(key, i, name, &length);
      if (result) return names + std::to_string(result);
      names += std::string(name, length) + (values ? "/" + std::to_string(type) : "") + " ";
    }
  }
  std::string Subkeys(HKEY key) { return Listed(key, false); }
  std::string Values(HKEY key) { return Listed(key, true); }

  FixedNumberRules rules = FixedNumberRules::Comma();
  std::unique_ptr<RegistryApi> registry = GetParam().make(rules);
};

TEST_P(RegistryContract, KeysAreCreatedWithTheirParentsAndMatchWithoutCase) {
  EXPECT_EQ(Open("Software\\A"), ERROR_FILE_NOT_FOUND);
  Create("Software\\b\\\xC6\xF3\xEA]");  // "Жук]"
  Create("SOFTWARE\\B\\\xE6\xD3\xCA]");
  Create("Software\\a");
  EXPECT_EQ(Subkeys(Create("software")), "a b 259");
  char name[2];
  std::uint32_t room = 1;
  EXPECT_EQ(registry->RegEnumKeyExA(Create("Software"), 0, name, &room), ERROR_MORE_DATA);
  EXPECT_EQ(Subkeys(Create("Software\\B")), "\xC6\xF3\xEA] 259");
  for (const std::string path : {"\\Software", "Software\\\\a", "Soft\nware"})
    EXPECT_EQ(Open(path), ERROR_BAD_PATHNAME) << path;
  EXPECT_EQ(Open(std::string(255, 'k')), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Open(std::string(256, 'k')), ERROR_BAD_PATHNAME);
}

TEST_P(RegistryContract, ValuesKeepOrderNameTypeAndEveryByte) {
  const HKEY key = Create("K");
  std::string every_byte;
  for (int i = 0; i < 256; ++i) every_byte += static_cast<char>(i);
  for (const std::uint32_t type : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 11u, 0xFFFF0001u})
    for (const std::string& data : {""s, "a\\\"]b;"s, "text\0"s, " \r\n"s, every_byte, "\x05\0\0\0"s}) {
      EXPECT_EQ(SetRaw(*registry, "K", "v", type, data), 0);
      EXPECT_EQ(GetRaw(*registry, "k", "V"), std::to_string(type) + ":" + data);
    }
  for (const std::string& name : {"z\\\"]=@\r\n\x98"s, ""s, "A"s, "Z\\\"]=@\r\n\x98"s})
    ASSERT_EQ(SetRaw(*registry, "K", name, 1, name), 0);
  EXPECT_NE(SetRaw(*registry, "K", std::string(16384, 'n'), 1, ""), 0);
  EXPECT_EQ(Values(key), "v/4294901761 z\\\"]=@\r\n\x98/1 /1 A/1 259");
  EXPECT_EQ(registry->RegDeleteValueA(key, "V"), 0);
  EXPECT_EQ(registry->RegDeleteValueA(key, "V"), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, KeysWithSubkeysAndRootsAreNotDeleted) {
  const HKEY parent = Create("A"), key = Create("A\\B");
  Create("A\\a");
  SetRaw(*registry, "A\\B", "v", 1, "x");
  for (const std::string kept : {"A", ""})
    EXPECT_EQ(registry->RegDeleteKeyA(HKEY_CURRENT_USER, kept), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry->RegDeleteKeyA(HKEY_CURRENT_USER, "a\\b"), 0);
  EXPECT_EQ(Values(Create("A\\B")), "259");
  EXPECT_EQ(Values(key), "1018");
  EXPECT_EQ(Subkeys(parent), "a B 259");
  EXPECT_EQ(registry->RegCloseKey(key), 0);
  EXPECT_EQ(registry->RegCloseKey(key), ERROR_INVALID_HANDLE);
}

TEST_P(RegistryContract, HandlesAllowWhatTheyWereOpenedFor) {
  const HKEY reader = Create("K", KEY_QUERY_VALUE), writer = Create("K", KEY_WRITE);
  EXPECT_EQ(registry->RegSetValueExA(writer, "v", 1, nullptr, 0), 0);
  EXPECT_EQ(registry->RegSetValueExA(reader, "v", 1, "y", 1), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Subkeys(reader), "5");
  EXPECT_EQ(registry->RegQueryValueExA(writer, "v", nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  RegKeyInfo info;
  EXPECT_EQ(registry->RegQueryInfoKeyA(writer, &info), ERROR_ACCESS_DENIED);
}

}  // namespace halden
