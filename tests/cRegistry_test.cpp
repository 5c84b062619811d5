#include "settings/cRegistry.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "platform/common_texts.h"
#include "tests/faulty_platform.h"
#include "tests/registry_backends.h"

using namespace halden;
using namespace std::string_literals;

namespace {

constexpr HKEY kUser = HKEY_CURRENT_USER;

/// A registry in memory, on the key "K", every call of which can be made to fail.
struct RegistryInMemory {
  RegistryInMemory() { registry.KeyPath("K"); }
  void Put(const std::string& name, std::uint32_t type, const std::string& data) {
    EXPECT_EQ(SetRaw(memory, "K", name, type, data), 0);
  }

  FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory{rules};
  Faults faults;
  FaultyRegistry faulty{memory, faults};
  CommonTexts texts{TextLanguage::kEnglish, 0x0409};
  cRegistry registry{faulty, texts};
};

struct Registry : testing::Test, RegistryInMemory {};

/// Tries the four members that a type has on a value of this name, and on one that is missing.
template <class Value>
void TryMembers(cRegistry& registry, const std::string& name, Value value, Value other,
                Value (cRegistry::*get)(const std::string&),
                void (cRegistry::*put)(const std::string&, Value),
                bool (cRegistry::*read)(const std::string&, Value&, Value),
                bool (cRegistry::*set)(const std::string&, Value)) {
  SCOPED_TRACE(name);
  EXPECT_TRUE((registry.*set)(name, other));
  EXPECT_EQ((registry.*get)(name), other);
  (registry.*put)(name, value);
  Value taken = other;
  EXPECT_TRUE((registry.*read)(name, taken, other));
  EXPECT_EQ(taken, value);
  EXPECT_FALSE((registry.*read)("missing", taken, other));
  EXPECT_EQ(taken, other);
  EXPECT_EQ((registry.*get)("missing"), Value());
}

TEST_F(Registry, SelectsRootAndKey) {
  faults.Arm(0);
  cRegistry fresh(faulty, texts);
  fresh.RootKey(kUser);
  EXPECT_EQ(fresh.KeyPath(), "Software");
  fresh.KeyPath("Software");
  EXPECT_EQ(faults.Count(), 0);
  fresh.KeyPath("A\\B\\C");
  EXPECT_TRUE(fresh.KeyExists(kUser, "a\\b\\c"));
  EXPECT_TRUE(fresh.CreateKey(kUser, "A", "label"));
  EXPECT_EQ(GetRaw(memory, "A", ""), "1:label");
  fresh.RootKey(0x1234);
  EXPECT_EQ(fresh.ErrorCode(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(fresh.KeyPath(), "A\\B\\C");
  fresh.RootKey(HKEY_LOCAL_MACHINE);
  EXPECT_EQ(fresh.KeyPath(), "");
  EXPECT_EQ(fresh.RootKey(), HKEY_LOCAL_MACHINE);
  memory.SetRights(HKEY_LOCAL_MACHINE, "", KEY_QUERY_VALUE);
  fresh.KeyPath("new");
  EXPECT_EQ(fresh.KeyPath(), "");
  EXPECT_EQ(fresh.ErrorCode(), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, StoresEachTypeInItsForm) {
  using R = cRegistry;
  registry.StringValue("", "");
  registry.StringValue("s", "te\xE9xt");
  TryMembers<std::int32_t>(registry, "l", -2, 5, &R::LongValue, &R::LongValue, &R::GetLong, &R::SetLong);
  TryMembers<std::uint8_t>(registry, "b", 255, 3, &R::ByteValue, &R::ByteValue, &R::GetByte, &R::SetByte);
  TryMembers<std::int16_t>(registry, "i", -1, 7, &R::IntegerValue, &R::IntegerValue, &R::GetInteger,
                           &R::SetInteger);
  TryMembers<bool>(registry, "f", false, true, &R::BooleanValue, &R::BooleanValue, &R::GetBoolean,
                   &R::SetBoolean);
  TryMembers<bool>(registry, "t", true, false, &R::BooleanValue, &R::BooleanValue, &R::GetBoolean,
                   &R::SetBoolean);
  TryMembers<float>(registry, "r", 1, 0.5, &R::SingleValue, &R::SingleValue, &R::GetSingle, &R::SetSingle);
  TryMembers<double>(registry, "d", -1.5, 2, &R::DoubleValue, &R::DoubleValue, &R::GetDouble, &R::SetDouble);
  TryMembers<std::int64_t>(registry, "c", -12345678901234, 1, &R::CurrencyValue, &R::CurrencyValue,
                           &R::GetCurrency, &R::SetCurrency);
  registry.SingleValue("n", std::nanf(""));
  EXPECT_TRUE(std::isnan(registry.SingleValue("n")));
  registry.BinaryValue("x", {0, 10, 255});
  EXPECT_EQ(registry.ExportKey(kUser, "K", false),
            "\r\n[HKEY_CURRENT_USER\\K]\r\n@=\"\"\r\n\"s\"=\"te\xE9xt\"\r\n\"l\"=dword:fffffffe\r\n"
            "\"b\"=dword:000000ff\r\n\"i\"=dword:0000ffff\r\n\"f\"=dword:00000000\r\n"
            "\"t\"=dword:00000001\r\n\"r\"=dword:3f800000\r\n\"d\"=hex:00,00,00,00,00,00,f8,bf\r\n"
            "\"c\"=hex:0e,d0,31,8c,c5,f4,ff,ff\r\n\"n\"=dword:7fc00000\r\n\"x\"=hex:00,0a,ff\r\n");
  EXPECT_EQ(GetRaw(memory, "K", "s"), "1:te\xE9xt") << "without a NUL";
  EXPECT_EQ(registry.StringValue("S"), "te\xE9xt");
  EXPECT_EQ(registry.LongValue("i"), 65535);
  EXPECT_TRUE(registry.BooleanValue("l"));
  EXPECT_EQ(registry.BinaryValue("d").size(), 8u);
  EXPECT_EQ(registry.BinaryValue("missing"), ByteArray{0});
  EXPECT_EQ(memory.OpenHandles(), 0u);
}

TEST_F(Registry, TakesWhatFitsAndDefaultsOtherwise) {
  const struct {
    std::uint32_t type;
    std::string data;
    std::int16_t integer;
  } numbers[] = {{REG_DWORD, "\x45\x23\x01\0"s, 0x2345},
                 {REG_SZ, "abc\0"s, 'a' + 256 * 'b'},
                 {REG_BINARY, "\x05", 5},
                 {REG_SZ, "abcd\0"s, 1}};
  for (const auto& c : numbers) {
    Put("v", c.type, c.data);
    std::int16_t integer = 7;
    EXPECT_EQ(registry.GetInteger("v", integer, 1), c.integer != 1);
    EXPECT_EQ(integer, c.integer);
    EXPECT_EQ(registry.ErrorCode(), c.integer == 1 ? ERROR_MORE_DATA : 0);
  }
  Put("short", REG_BINARY, "\x05");
  std::int32_t number = 0x11111111;
  EXPECT_TRUE(registry.ReadLong(kUser, "K", "short", number));
  EXPECT_EQ(number, 0x11111105);
  double real = 1;
  Put("four", REG_BINARY, "1234");
  EXPECT_FALSE(registry.GetDouble("four", real, 2.5));
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(registry.ErrorCode(), 0);

  std::string text = "old";
  EXPECT_FALSE(registry.GetString("missing", text, ""));
  EXPECT_EQ(text, "old");
  EXPECT_FALSE(registry.GetString("missing", text, "x"));
  EXPECT_EQ(text, "x");
  Put("empty", REG_BINARY, "");
  EXPECT_TRUE(registry.GetString("empty", text, "x"));
  EXPECT_EQ(text, "");
  Put("multi", REG_MULTI_SZ, "one\0two\0\0"s);
  EXPECT_EQ(registry.StringValue("multi"), "one");
  ByteArray bytes{9};
  EXPECT_FALSE(registry.GetBinary("empty", bytes) || registry.SetBinary("none", {}));
  EXPECT_EQ(bytes, ByteArray{9});
  EXPECT_EQ(GetRaw(memory, "K", "none"), "error 2");
  EXPECT_FALSE(registry.WriteLong(kUser, "missing", "v", 1));
  EXPECT_FALSE(registry.DeleteKey(kUser, "missing"));
  EXPECT_EQ(registry.ErrorText(), "The system cannot find the file specified");
}

TEST_F(Registry, AsksForTheRightsThatItNeeds) {
  Put("v", REG_DWORD, "\1\0\0\0"s);
  const auto allowed = [&](std::uint32_t rights) {
    memory.SetRights(kUser, "K", rights);
    std::string text;
    std::int32_t number;
    ByteArray bytes;
    const bool answers[] = {registry.KeyExists(kUser, "K"),
                            registry.WriteString(kUser, "K", "s", "x"),
                            registry.WriteBinary(kUser, "K", "x", {1}),
                            registry.WriteLong(kUser, "K", "l", 1),
                            registry.DeleteValue(kUser, "K", "l"),
                            registry.ReadString(kUser, "K", "v", text),
                            registry.ReadLong(kUser, "K", "v", number),
                            registry.ReadBinary(kUser, "K", "v", bytes),
                            registry.CreateKey(kUser, "K", ""),
                            registry.DeleteKey(kUser, "K")};
    std::string result;
    for (const bool answer : answers) result += answer ? '1' : '0';
    return result;
  };
  EXPECT_EQ(allowed(0x20009), "1000011100");
  EXPECT_EQ(allowed(KEY_SET_VALUE), "0110000000");
  EXPECT_EQ(allowed(KEY_CREATE_SUB_KEY), "0000000010");
  EXPECT_EQ(allowed(0x20006), "0111100010");
  EXPECT_EQ(allowed(0x30006), "0111100011");
}

TEST_F(Registry, ExportsEveryTypeToTheByte) {
  Put("", REG_SZ, "  C:\\Temp\\ \0 behind"s);
  Put("a\"b\\", REG_SZ, "say \"x\"");
  Put("expand", REG_EXPAND_SZ, "%A%\0"s);
  Put("multi", REG_MULTI_SZ, "one\0two\0\0"s);
  Put("no text", REG_SZ, "");
  Put("blanks", REG_SZ, "  ");
  Put("none", REG_NONE, "xx");
  Put("number", REG_DWORD, "\xCD\xAB\0\0"s);
  Put("big", REG_DWORD_BIG_ENDIAN, "\1\2\3\4");
  Put("short", REG_DWORD, "\1\2");
  Put("link", REG_LINK, "xx");
  Put("no bytes", REG_BINARY, "");
  Put("last", REG_NONE, "");
  SetRaw(memory, "K\\b\\c", "v", REG_SZ, "1");
  SetRaw(memory, "K\\A", "v", REG_SZ, "2");
  const std::string key =
      "\r\n[HKEY_CURRENT_USER\\K]\r\n@=\"C:\\\\Temp\\\\\"\r\n\"a\"b\\\"=\"say "
      "\"x\"\"\r\n\"expand\"=\"%A%\"\r\n"
      "\"multi\"=\"one\"\r\n\"no text\"=\"\"\r\n\"blanks\"=\"\"\r\n\"none\"=\"number\"=dword:0000abcd\r\n"
      "\"big\"=dword:04030201\r\n\"short\"=dword:00000201\r\n\"link\"=\"no bytes\"=hex:\r\n\"last\"=";
  const std::string first = "\r\n[HKEY_CURRENT_USER\\K\\A]\r\n\"v\"=\"2\"\r\n";
  const std::string others =
      "\r\n[HKEY_CURRENT_USER\\K\\b]\r\n\r\n[HKEY_CURRENT_USER\\K\\b\\c]\r\n\"v\"=\"1\"\r\n";
  EXPECT_EQ(registry.ExportKey(kUser, "K", false), key);
  EXPECT_EQ(registry.ExportKey(kUser, "", true), "\r\n[HKEY_CURRENT_USER]\r\n" + key + first + others);
  EXPECT_EQ(registry.ExportKey(HKEY_DYN_DATA, "", true), "\r\n[HKEY_DYN_DATA]\r\n");
  EXPECT_EQ(registry.ErrorCode(), 0);
  EXPECT_EQ(registry.ExportKey(kUser, "missing", true), "");
  EXPECT_EQ(registry.ErrorCode(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(registry.RootName(0x80000007), "");
  memory.SetRights(kUser, "K\\A", KEY_QUERY_VALUE);
  EXPECT_EQ(registry.ExportKey(kUser, "K", true), key + others);
  EXPECT_EQ(memory.OpenHandles(), 0u);
}

TEST_F(Registry, ListsNamesBehindTheKeysOwn) {
  using Names = std::vector<std::string>;
  Names names;
  SetRaw(memory, "K\\two", "v", REG_SZ, "");
  SetRaw(memory, "K\\One", "", REG_SZ, "");
  Put("", REG_SZ, "x");
  EXPECT_EQ(registry.ListSubKeys(kUser, "K", names), 2);
  EXPECT_EQ(names, Names({"K", "One", "two"}));
  EXPECT_EQ(registry.ListValues(kUser, "K", names), 1);
  EXPECT_EQ(names, Names({"K", ""}));
  EXPECT_EQ(registry.ListSubKeys(kUser, "", names), 1);
  EXPECT_EQ(names, Names({"", "K"}));
  EXPECT_EQ(registry.ListValues(kUser, "missing", names), 0);
  EXPECT_EQ(names, Names({"missing"}));
}

TEST_F(Registry, ReadsAValueOfAnyType) {
  const struct {
    std::string name;
    std::uint32_t type;
    std::string data;
    AnyValue value;
  } cases[] = {{"text", REG_SZ, "ab\0"s, "ab"},
               {"multi", REG_MULTI_SZ, "a\0b\0\0"s, "a\0b\0"s},
               {"bytes", REG_BINARY, "\1\2", ByteArray{1, 2}},
               {"number", REG_DWORD, "\xFF\xFF\xFF\xFF", -1},
               {"none", REG_NONE, "x", "unchanged"},
               {"link", REG_LINK, "x", "unchanged"},
               {"empty", REG_SZ, "", "unchanged"}};
  AnyValue value = "unchanged";
  for (const auto& c : cases) {
    Put(c.name, c.type, c.data);
    EXPECT_EQ(registry.ReadAnyValue(kUser, "K", c.name, value), static_cast<std::int32_t>(c.type)) << c.name;
    EXPECT_EQ(std::exchange(value, "unchanged"), c.value) << c.name;
  }
  EXPECT_EQ(registry.ReadAnyValue(kUser, "K", "Text", value), 0);
  EXPECT_EQ(value, AnyValue("unchanged"));
}

/// Runs a member on a fresh registry whose call number `failing` fails. Whether there was such a call.
bool RunFailing(int failing, const std::function<void(cRegistry&)>& member) {
  RegistryInMemory fresh;
  for (const std::string name : {"", "s", "n"}) fresh.Put(name, REG_SZ, "12345678");
  fresh.Put("l", REG_DWORD, "1234");
  SetRaw(fresh.memory, "K\\A\\B", "b", REG_BINARY, "\1\2");
  fresh.faults.Arm(failing);
  member(fresh.registry);
  EXPECT_EQ(fresh.memory.OpenHandles(), 0u) << failing;
  return fresh.faults.Count() >= failing;
}

TEST(RegistryFailures, AreToldAndLeaveNoKeyOpen) {
  static std::string text;
  static std::int32_t number;
  static ByteArray bytes;
  const struct {
    const char* name;
    bool (*run)(cRegistry&);
    int telling;  ///< the calls from the first on whose failure is the member's
  } members[] = {
      {"KeyExists", [](cRegistry& r) { return r.KeyExists(kUser, "K"); }, 1},
      {"CreateKey", [](cRegistry& r) { return r.CreateKey(kUser, "K", ""); }, 1},
      {"WriteString", [](cRegistry& r) { return r.SetString("s", "x"); }, 2},
      {"ReadString", [](cRegistry& r) { return r.GetString("s", text, ""); }, 2},
      {"WriteLong", [](cRegistry& r) { return r.SetLong("l", 1); }, 2},
      {"ReadLong", [](cRegistry& r) { return r.GetLong("l", number, 5); }, 2},
      {"WriteBinary", [](cRegistry& r) { return r.SetCurrency("c", 1); }, 2},
      {"ReadBinary", [](cRegistry& r) { return r.GetBinary("s", bytes); }, 3},
      {"DeleteValue", [](cRegistry& r) { return r.DeleteValue(kUser, "K", "s"); }, 2},
      {"DeleteKey", [](cRegistry& r) { return r.DeleteKey(kUser, "K\\A\\B"); }, 2},
  };
  for (const auto& member : members)
    for (int failing = 1, more = true; more; ++failing)
      more = RunFailing(failing, [&](cRegistry& registry) {
        const bool told = failing <= member.telling;
        EXPECT_EQ(member.run(registry), !told) << member.name << " " << failing;
        EXPECT_EQ(registry.ErrorCode() == Faults::kFailure, told) << member.name << " " << failing;
      });
}

TEST(RegistryFailures, LeaveOutWhatCanNotBeListed) {
  std::string whole;
  for (int failing = 0, more = true; more; ++failing)
    more = RunFailing(failing, [&](cRegistry& registry) {
      const std::string text = registry.ExportKey(kUser, "K", true);
      if (failing == 0) whole = text;
      EXPECT_EQ(text.empty(), failing == 1);
      EXPECT_EQ(text.find("@=") == text.npos, failing >= 1 && failing <= 4) << failing << text;
      const auto lacking = std::mismatch(text.begin(), text.end(), whole.begin(), whole.end()).first;
      EXPECT_TRUE(whole.ends_with(std::string(lacking, text.end()))) << failing << text;
    });
  for (int failing = 1, more = true; more; ++failing)
    more = RunFailing(failing, [&](cRegistry& registry) {
      AnyValue value = 7;
      registry.ReadAnyValue(kUser, "K", "s", value);
      EXPECT_EQ(value == AnyValue(7), failing <= 5 && failing != 3) << failing;
    });
}

}  // namespace
