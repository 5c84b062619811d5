#include "backends/linux/registry/file_registry.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sstream>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "backends/registry/registry_base.h"
#include "tests/faults.h"
#include "tests/registry_contract.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

/// A registry whose file is changed before each read, so that nothing is answered from memory.
struct ScratchFileRegistry : private ScratchDirectory, public FileRegistry {
  explicit ScratchFileRegistry(const NumberRules& rules) : FileRegistry(*this / "new/r.reg", rules) {}
  std::int32_t Read(const Operation& operation) override {
    std::ofstream(*this / "new/r.reg", std::ios::app) << "; touched\n";
    return FileRegistry::Read(operation);
  }
};

const RegistryBackend kBackends[] = {
    {"Memory", [](const NumberRules& rules) { return std::make_unique<MemoryRegistry>(rules); }},
    {"File", [](const NumberRules& rules) { return std::make_unique<ScratchFileRegistry>(rules); }}};

INSTANTIATE_TEST_SUITE_P(Backends, RegistryContract, testing::ValuesIn(kBackends),
                         [](const auto& instance) { return instance.param.name; });

struct RegistryFile : testing::Test {
  ScratchDirectory directory;
  std::string path = directory / "r.reg";
  FixedNumberRules rules = FixedNumberRules::Comma();
  FileRegistry registry{path, rules};
};

TEST_F(RegistryFile, HasTheLayoutOfTheRegistryEditor) {
  SetRaw(registry, "Software\\\xC6\xF3\xEA", "", REG_SZ, "\xC6\xF3\xEA \"x\" C:\\");
  SetRaw(registry, "Software", "Rate\\\"\n", REG_DWORD, "\0\0\x48\x41"s);
  SetRaw(registry, "Software", "bytes", REG_BINARY, std::string(27, '\xAB'));
  EXPECT_EQ(FileText(path),
            "REGEDIT4\n\n[HKEY_CURRENT_USER]\n\n[HKEY_CURRENT_USER\\Software]\n"
            "\"Rate\\\\\\\"\\x0a\"=dword:41480000\n"
            "\"bytes\"=hex:ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,\\\n"
            "  ab,ab\n\n[HKEY_CURRENT_USER\\Software\\Жук]\n@=\"Жук \\\"x\\\" C:\\\\\"\n");
}

TEST_F(RegistryFile, CanBeEditedAndKeepsCharactersOutsideTheCodePage) {
  SetFileText(
      path,
      "\xEF\xBB\xBFREGEDIT4\r\n; mine\r\n[HKEY_CURRENT_USER\\A\\B] \r\n\r\n  \"n\" = dword:000000Ff \r\n"
      "\"h\"=hex(7): 61, 00,\\\r\n  0,0\r\n[HKEY_CURRENT_USER\\A]\r\n@=\"\xE2\x82\xAC\xE6\xB0\xB4\"\r\n"
      "\"no text\"=hex(1):61,a0\n[HKEY_CURRENT_USER\\a\\b]\n\"N\"=\"last\"");
  EXPECT_EQ(GetRaw(registry, "A\\B", "n"), "1:last");
  EXPECT_EQ(GetRaw(registry, "A\\B", "h"), "7:a\0\0\0"s);
  SetRaw(registry, "A", "new", REG_SZ, "");
  EXPECT_NE(FileText(path).find("@=\"\xE2\x82\xAC\xE6\xB0\xB4\"\n\"no text\"=hex(1):61,a0\n"),
            std::string::npos);
  EXPECT_EQ(GetRaw(registry, "A", ""), "1:\x88?");
  EXPECT_EQ(GetRaw(registry, "A", "no text"), "1:a?");
}

TEST_F(RegistryFile, IsReadAgainAfterEachChangeAndFastWithManyValues) {
  for (const char digit : "1234567"s) {  // the same size, within one step of the file's time
    SetFileText(path, "REGEDIT4\n[HKEY_CURRENT_USER\\A]\n\"v\"=\""s + digit + "\"\n");
    EXPECT_EQ(GetRaw(registry, "A", "v"), "1:"s + digit);
  }
  constexpr int kMany = 20000;
  std::string text = "REGEDIT4\n[HKEY_CURRENT_USER\\A]\n";
  for (int i = 0; i < kMany; ++i) text += "\"V" + std::to_string(i) + "\"=dword:0000000a\n";
  for (int i = kMany; i > 0; --i) text += "[HKEY_CURRENT_USER\\B\\" + std::to_string(i) + "]\n";
  const auto start = std::chrono::steady_clock::now();
  SetFileText(path, text);
  EXPECT_EQ(SetRaw(registry, "a", "v19998", REG_SZ, "last"), 0);
  for (int i = 0; i < kMany; i += 2) {
    const std::string name = "v" + std::to_string(i);
    EXPECT_EQ(GetRaw(registry, "A", name), i == 19998 ? "1:last" : "4:\n\0\0\0"s) << name;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(RegistryFile, IsSetAsideWhenDamagedAndTheChangeIsStored) {
  std::istringstream bad(
      "[HKEY_MINE\\A]\n[HKEY_CURRENT_USER\\\\B]\n[HKEY_CURRENT_USER\\A\n\"v\"=\"\xE6\"\n@=\"C:\\Temp\"\n"
      "@=\"x\n@=\"x\"y\n@=dword:123456789\n@=dword:412\n@=hex:01 02\n@=hex:100\n@=hex:01,\n");
  int number = 0;
  for (std::string line; std::getline(bad, line);) {
    const std::string text = "REGEDIT4\n[HKEY_CURRENT_USER\\A]\n" + line;
    const std::string kept = path + ".bad" + (++number > 1 ? std::to_string(number) : "");
    SetFileText(path, text);
    EXPECT_EQ(GetRaw(registry, "A", "v"), "error 1009") << text;
    EXPECT_EQ(SetRaw(registry, "A", "v", REG_SZ, "x"), 0);
    EXPECT_EQ(FileText(kept), text);
    EXPECT_EQ(GetRaw(registry, "A", "v"), "1:x");
    const std::string notice =
        "the registry file " + path + " is damaged, or not a registry file; it is kept as " + kept;
    EXPECT_EQ(registry.TakeNotices(), std::vector{notice});
  }
}

TEST_F(RegistryFile, KeepsItsModeAndReachesTheDiskBeforeItReplacesTheOldOne) {
  SetRaw(registry, "A", "v", REG_SZ, "before");
  std::filesystem::permissions(path, std::filesystem::perms(0666));  // more than the umask would leave
  FileCallLog log;
  SetRaw(registry, "A", "v", REG_SZ, "after");
  EXPECT_EQ(log.calls, "fchmod fsync rename ");
  EXPECT_TRUE(std::filesystem::status(path).permissions() == std::filesystem::perms(0666));
}

TEST_F(RegistryFile, IsWrittenOnlyWhereAllowedAndUnchangedByAFullDisk) {
  EXPECT_EQ(SetRaw(registry, "A", "v", REG_SZ, "x"), 0);
  std::filesystem::create_symlink(path, directory / "link");
  std::filesystem::create_directory(directory / "folder");
  std::filesystem::create_symlink(directory / "target", directory / "linked.lock");
  mkfifo((directory / "pipe.lock").c_str(), 0666);
  const struct {
    std::string place, unreadable, unwritable;
  } kPlaces[] = {{"link", "", ""},
                 {"r.reg/below", "r.reg/below: Not a directory", ""},
                 {"folder", "folder: not a regular file", ""},
                 {"linked", "", "linked.lock: Too many levels of symbolic links"},
                 {"pipe", "", "pipe.lock: not a regular file"}};
  for (const auto& [place, unreadable, unwritable] : kPlaces) {
    FileRegistry there(directory / place, rules);
    std::vector<std::string> notices;
    if (!unreadable.empty()) notices.push_back("the registry can't be read: " + directory / unreadable);
    if (!unwritable.empty()) notices.push_back("settings could not be stored: " + directory / unwritable);
    for (int again = 0; again < 2; ++again)  // which repeats no notice
      EXPECT_EQ(SetRaw(there, "A", "v", REG_SZ, place), notices.empty() ? 0 : ERROR_ACCESS_DENIED) << place;
    EXPECT_EQ(GetRaw(there, "A", "v"), notices.empty()      ? "1:link"
                                       : unreadable.empty() ? "error 2"
                                                            : "error 5");
    EXPECT_EQ(there.TakeNotices(), notices) << place;
    EXPECT_EQ(GetRaw(registry, "A", "v"), "1:link");
  }
  EXPECT_FALSE(std::filesystem::exists(directory / "target"));

  signal(SIGXFSZ, SIG_IGN);
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit full = {20, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full);
  EXPECT_EQ(SetRaw(registry, "A", "v", REG_SZ, "after"), ERROR_DISK_FULL);
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(GetRaw(registry, "A", "v"), "1:link");
}

TEST_F(RegistryFile, WaitsOnceForALockThatIsHeld) {
  constexpr std::chrono::milliseconds kWait{500};
  FileRegistry patient(path, rules, kWait);
  EXPECT_EQ(SetRaw(patient, "A", "v", REG_SZ, "before"), 0);
  const int lock = open((path + ".lock").c_str(), O_RDONLY | O_CLOEXEC);
  flock(lock, LOCK_EX);
  /// How long the failing attempt took.
  const auto attempt = [&] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SetRaw(patient, "A", "v", REG_SZ, "after"), ERROR_SHARING_VIOLATION);
    return std::chrono::steady_clock::now() - start;
  };
  EXPECT_GE(attempt(), kWait - std::chrono::milliseconds(20));
  EXPECT_LT(attempt(), kWait) << "the lock has just timed out";
  EXPECT_EQ(patient.TakeNotices(),
            std::vector{"settings could not be stored: " + path + ".lock: locked by another program"});
  close(lock);
  EXPECT_EQ(SetRaw(patient, "A", "v", REG_SZ, "after"), 0);
  EXPECT_EQ(GetRaw(registry, "A", "v"), "1:after");
}

TEST_F(RegistryFile, LosesNoFinishedWriteWhenWritersAreKilled) {
  constexpr int kProcesses = 10, kKills = 50;
  SetRaw(registry, "A", "", REG_SZ, std::string(9000, '.'));  // so that many kills hit a write
  /// The number that a process wrote last.
  const auto stored = [&](int who) {
    return std::atoi(GetRaw(registry, "A", std::to_string(who)).substr(2).c_str());
  };
  int ends[2], reported[kProcesses] = {};
  ASSERT_EQ(pipe(ends), 0);
  const auto start = [&](int who) {
    if (const pid_t child = fork()) return child;
    for (int number = stored(who) + 1;; ++number)
      if (SetRaw(registry, "A", std::to_string(who), REG_SZ, std::to_string(number)) ||
          write(ends[1], &who, sizeof who) != sizeof who)
        _exit(1);
  };
  pid_t children[kProcesses];
  for (int who = 0; who < kProcesses; ++who) children[who] = start(who);
  std::mt19937 random(1);
  for (int kills = 0, who = 0, status = 0; kills < kKills; ++kills) {
    // Waits for a number of writes, not for a time, so that a busy machine changes nothing.
    for (unsigned writes = 1 + random() % 8; writes > 0; --writes) {
      ASSERT_EQ(read(ends[0], &who, sizeof who), static_cast<ssize_t>(sizeof who));
      EXPECT_GE(stored(who), ++reported[who]);
    }
    who = static_cast<int>(random() % kProcesses);
    kill(children[who], SIGKILL);
    waitpid(children[who], &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "process " << who << " could not write";
    children[who] = start(who);
  }
  for (const pid_t child : children) kill(child, SIGKILL), waitpid(child, nullptr, 0);
}

}  // namespace
}  // namespace halden
