#include "settings/cRegistry.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "platform/common_texts.h"
#include "tests/faulty_platform.h"
#include "tests/registry_backends.h"

using namespace halden;
using namespace std::string_literals;

namespace {

class Registry : public testing::Test {
 protected:
  Registry() { registry.KeyPath("K"); }
  std::string Raw(const std::string& name) { return GetRaw(memory, "K", name); }
  void Put(const std::string& name, std::uint32_t type, const std::string& data) {
    ASSERT_EQ(SetRaw(memory, "K", name, type, data), 0);
  }

  FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory{rules};
  Faults faults;
  FaultyRegistry counting{memory, faults};
  CommonTexts texts{TextLanguage::kEnglish, 0x0409};
  cRegistry registry{counting, texts};
};

TEST_F(Registry, SelectsRootAndKey) {
  faults.Arm(0);
  cRegistry fresh(counting, texts);
  fresh.RootKey(HKEY_CURRENT_USER);
  EXPECT_EQ(fresh.KeyPath(), "Software");
  fresh.KeyPath("Software");
  EXPECT_EQ(faults.Count(), 0);
  fresh.KeyPath("A\\B\\C");
  EXPECT_TRUE(fresh.KeyExists(HKEY_CURRENT_USER, "a\\b\\c"));
  EXPECT_TRUE(fresh.CreateKey(HKEY_CURRENT_USER, "A", "label"));
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
  const double nan = std::numeric_limits<double>::quiet_NaN();
  registry.StringValue("s", "te\xE9xt");
  registry.LongValue("l", -2);
  registry.ByteValue("b", 255);
  registry.IntegerValue("i", -1);
  registry.BooleanValue("t", true);
  registry.BooleanValue("f", false);
  registry.SingleValue("r", 12.5f);
  registry.SingleValue("n", std::nanf(""));
  registry.DoubleValue("d", -1.5);
  registry.DoubleValue("dn", nan);
  registry.CurrencyValue("c", -12345678901234);
  registry.BinaryValue("x", {0, 10, 255});
  registry.StringValue("", "");
  const struct {
    std::string name, raw;
  } stored[] = {{"s", "1:te\xE9xt"},
                {"l", "4:\xFE\xFF\xFF\xFF"},
                {"b", "4:\xFF\0\0\0"s},
                {"i", "4:\xFF\xFF\0\0"s},
                {"t", "4:\1\0\0\0"s},
                {"f", "4:\0\0\0\0"s},
                {"r", "4:\0\0\x48\x41"s},
                {"d", "3:\0\0\0\0\0\0\xF8\xBF"s},
                {"c", "3:\x0E\xD0\x31\x8C\xC5\xF4\xFF\xFF"s},
                {"x", "3:\0\x0A\xFF"s},
                {"", "1:"}};
  for (const auto& value : stored) EXPECT_EQ(Raw(value.name), value.raw) << value.name;
  EXPECT_EQ(registry.StringValue("S"), "te\xE9xt");
  EXPECT_EQ(registry.LongValue("l"), -2);
  EXPECT_EQ(registry.ByteValue("b"), 255);
  EXPECT_EQ(registry.IntegerValue("b"), 255);
  EXPECT_EQ(registry.IntegerValue("i"), -1);
  EXPECT_EQ(registry.LongValue("i"), 65535);
  EXPECT_EQ(registry.BooleanValue("t"), true);
  EXPECT_EQ(registry.BooleanValue("f"), false);
  EXPECT_EQ(registry.BooleanValue("l"), true);
  EXPECT_EQ(registry.SingleValue("r"), 12.5f);
  EXPECT_TRUE(std::isnan(registry.SingleValue("n")));
  EXPECT_EQ(registry.DoubleValue("d"), -1.5);
  EXPECT_TRUE(std::isnan(registry.DoubleValue("dn")));
  EXPECT_EQ(registry.CurrencyValue("c"), -12345678901234);
  EXPECT_EQ(registry.BinaryValue("x"), ByteArray({0, 10, 255}));
  EXPECT_EQ(registry.BinaryValue("d").size(), 8u);
  EXPECT_EQ(memory.OpenHandles(), 0u);
}

TEST_F(Registry, TakesWhatFitsAndDefaultsOtherwise) {
  Put("high", REG_DWORD, "\x45\x23\x01\0"s);
  Put("short", REG_BINARY, "\x05");
  Put("text", REG_SZ, "abc\0"s);
  Put("long text", REG_SZ, "abcd\0"s);
  Put("multi", REG_MULTI_SZ, "one\0two\0\0"s);
  Put("empty", REG_BINARY, "");
  Put("four", REG_BINARY, "1234");
  std::int16_t integer = 7;
  EXPECT_TRUE(registry.GetInteger("high", integer, 1));
  EXPECT_EQ(integer, 0x2345);
  EXPECT_TRUE(registry.GetInteger("text", integer, 1));
  EXPECT_EQ(integer, 'a' + 256 * 'b');
  EXPECT_TRUE(registry.GetInteger("short", integer, 1));
  EXPECT_EQ(integer, 5);
  EXPECT_FALSE(registry.GetInteger("long text", integer, 1));
  EXPECT_EQ(integer, 1);
  EXPECT_EQ(registry.ErrorCode(), ERROR_MORE_DATA);
  std::int32_t number = 0x11111111;
  EXPECT_TRUE(registry.ReadLong(HKEY_CURRENT_USER, "K", "short", number));
  EXPECT_EQ(number, 0x11111105);

  std::string text = "old";
  EXPECT_FALSE(registry.GetString("missing", text, ""));
  EXPECT_EQ(text, "old");
  EXPECT_EQ(registry.ErrorCode(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(registry.GetString("missing", text, "x"));
  EXPECT_EQ(text, "x");
  EXPECT_TRUE(registry.GetString("empty", text, "x"));
  EXPECT_EQ(text, "");
  EXPECT_EQ(registry.StringValue("multi"), "one");

  std::uint8_t byte = 0;
  bool yes = false;
  float single = 0;
  EXPECT_FALSE(registry.GetByte("missing", byte, 3));
  EXPECT_FALSE(registry.GetBoolean("missing", yes, true));
  EXPECT_FALSE(registry.GetSingle("missing", single, 0.5f));
  EXPECT_TRUE(byte == 3 && yes && single == 0.5f);
  EXPECT_TRUE(registry.GetByte("high", byte, 3) && registry.GetBoolean("high", yes, false) &&
              registry.GetSingle("high", single, 0));
  double real = 1;
  registry.DoubleValue("real", 8);
  EXPECT_TRUE(registry.GetDouble("real", real, 1));
  EXPECT_FALSE(registry.GetDouble("four", real, 2.5));
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(registry.ErrorCode(), 0);
  EXPECT_EQ(registry.CurrencyValue("multi"), 0);
  ByteArray bytes{9};
  EXPECT_FALSE(registry.GetBinary("empty", bytes));
  EXPECT_EQ(bytes, ByteArray{9});
  EXPECT_EQ(registry.BinaryValue("missing"), ByteArray{0});
  EXPECT_FALSE(registry.SetBinary("none", {}));
  EXPECT_EQ(Raw("none"), "error 2");
  EXPECT_FALSE(registry.WriteLong(HKEY_CURRENT_USER, "missing", "v", 1));
  EXPECT_FALSE(registry.DeleteKey(HKEY_CURRENT_USER, "missing"));
  EXPECT_EQ(registry.ErrorText(), "The system cannot find the file specified");
}

TEST_F(Registry, AsksForTheRightsThatItNeeds) {
  const HKEY root = HKEY_CURRENT_USER;
  Put("v", REG_DWORD, "\1\0\0\0"s);
  const auto allowed = [&](std::uint32_t rights) {
    memory.SetRights(root, "K", rights);
    std::string text;
    std::int32_t number;
    ByteArray bytes;
    const bool answers[] = {registry.KeyExists(root, "K"),
                            registry.WriteString(root, "K", "s", "x"),
                            registry.WriteBinary(root, "K", "x", {1}),
                            registry.WriteLong(root, "K", "l", 1),
                            registry.DeleteValue(root, "K", "l"),
                            registry.ReadString(root, "K", "v", text),
                            registry.ReadLong(root, "K", "v", number),
                            registry.ReadBinary(root, "K", "v", bytes),
                            registry.CreateKey(root, "K", ""),
                            registry.DeleteKey(root, "K")};
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

/// Runs a member on a fresh registry whose call number `failing` fails; checks what always holds. Whether
/// there was such a call.
bool RunFailing(int failing, const std::function<void(cRegistry&)>& member) {
  const FixedNumberRules rules = FixedNumberRules::Point();
  MemoryRegistry memory(rules);
  Faults faults;
  FaultyRegistry counting(memory, faults);
  CommonTexts texts(TextLanguage::kEnglish, 0x0409);
  cRegistry registry(counting, texts);
  registry.KeyPath("K");
  for (const std::string name : {"", "s", "n"}) SetRaw(memory, "K", name, REG_SZ, "12345678");
  SetRaw(memory, "K", "l", REG_DWORD, "1234");
  SetRaw(memory, "K\\A\\B", "b", REG_BINARY, "\1\2");
  faults.Arm(failing);
  member(registry);
  EXPECT_EQ(memory.OpenHandles(), 0u) << failing;
  return faults.Count() >= failing;
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
      {"KeyExists", [](cRegistry& r) { return r.KeyExists(r.RootKey(), "K"); }, 1},
      {"CreateKey", [](cRegistry& r) { return r.CreateKey(r.RootKey(), "K", ""); }, 1},
      {"WriteString", [](cRegistry& r) { return r.SetString("s", "x"); }, 2},
      {"ReadString", [](cRegistry& r) { return r.GetString("s", text, ""); }, 2},
      {"WriteLong", [](cRegistry& r) { return r.SetLong("l", 1); }, 2},
      {"ReadLong", [](cRegistry& r) { return r.GetLong("l", number, 5); }, 2},
      {"WriteBinary", [](cRegistry& r) { return r.SetCurrency("c", 1); }, 2},
      {"ReadBinary", [](cRegistry& r) { return r.GetBinary("s", bytes); }, 3},
      {"DeleteValue", [](cRegistry& r) { return r.DeleteValue(r.RootKey(), "K", "s"); }, 2},
      {"DeleteKey", [](cRegistry& r) { return r.DeleteKey(r.RootKey(), "K\\A\\B"); }, 2},
  };
  for (const auto& member : members)
    for (int failing = 1, more = true; more; ++failing)
      more = RunFailing(failing, [&](cRegistry& registry) {
        const bool told = failing <= member.telling;
        EXPECT_EQ(member.run(registry), !told) << member.name << " " << failing;
        EXPECT_EQ(registry.ErrorCode() == Faults::kFailure, told) << member.name << " " << failing;
      });
}

/// Whether `text` is `whole` with lines left out.
bool IsPartOf(const std::string& text, const std::string& whole) {
  std::size_t at = 0;
  for (std::size_t first = 0; first < text.size();) {
    const std::string line = text.substr(first, text.find('\n', first) + 1 - first);
    at = whole.find(line, at);
    if (at == whole.npos) return false;
    at += line.size();
    first += line.size();
  }
  return true;
}

TEST(RegistryFailures, LeaveOutWhatCanNotBeListed) {
  std::string whole;
  for (int failing = 0, more = true; more; ++failing)
    more = RunFailing(failing, [&](cRegistry& registry) {
      const std::string text = registry.ExportKey(HKEY_CURRENT_USER, "K", true);
      if (failing == 0) whole = text;
      EXPECT_EQ(text.empty(), failing == 1);
      EXPECT_TRUE(IsPartOf(text, whole)) << failing << text;
      EXPECT_EQ(text.find("@=") == text.npos, failing >= 1 && failing <= 4) << failing << text;
    });
  for (int failing = 1, more = true; more; ++failing)
    more = RunFailing(failing, [&](cRegistry& registry) {
      AnyValue value = 7;
      const bool data_read =
          registry.ReadAnyValue(HKEY_CURRENT_USER, "K", "s", value) && value != AnyValue(7);
      EXPECT_EQ(data_read, failing != 1 && failing != 2 && failing != 4 && failing != 5) << failing;
    });
}

}  // namespace
