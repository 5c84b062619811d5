#include "platform/linux/file_registry.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/registry_backends.h"

using namespace halden;
using namespace std::string_literals;

namespace {

class FileRegistryTest : public testing::Test {
 protected:
  /// Runs `work` in a process of its own, which ends with the result.
  static pid_t Start(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    return child;
  }
  static int Wait(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::vector<std::string> Files() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory / ""))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  ScratchDirectory directory;
  std::string path = directory / "r.reg";
  FixedNumberRules rules = FixedNumberRules::Comma();
  FileRegistry registry{path, rules};
};

TEST_F(FileRegistryTest, WritesTheLayoutOfTheRegistryEditor) {
  SetRaw(registry, "Software\\\xC6\xF3\xEA", "", REG_SZ, "\xC6\xF3\xEA \"x\" C:\\");
  SetRaw(registry, "Software", "Rate\\\"\n", REG_DWORD, "\0\0\x48\x41"s);
  SetRaw(registry, "Software", "short", REG_DWORD, "\1");
  SetRaw(registry, "Software", "bytes", REG_BINARY, std::string(27, '\xAB'));
  SetRaw(registry, "Software", "terminated", REG_SZ, "ab\0"s);
  SetRaw(registry, "Software", "other", 11, "");
  EXPECT_EQ(FileText(path),
            "REGEDIT4\n\n[HKEY_CURRENT_USER]\n\n[HKEY_CURRENT_USER\\Software]\n"
            "\"Rate\\\\\\\"\\x0a\"=dword:41480000\n"
            "\"short\"=hex(4):01\n"
            "\"bytes\"=hex:ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,\\\n"
            "  ab,ab\n"
            "\"terminated\"=hex(1):61,62,00\n"
            "\"other\"=hex(b):\n"
            "\n[HKEY_CURRENT_USER\\Software\\Жук]\n@=\"Жук \\\"x\\\" C:\\\\\"\n");
  EXPECT_EQ(Files(), std::vector<std::string>({"r.reg", "r.reg.lock"}));
}

TEST_F(FileRegistryTest, ReadsWhatAPersonHasWrittenAndKeepsWhatItCanNotTell) {
  SetFileText(
      path,
      "\xEF\xBB\xBFREGEDIT4\r\n; mine\r\n[HKEY_CURRENT_USER\\A\\B] \r\n\r\n  \"n\" = dword:Ff \r\n"
      "\"h\"=hex(7): 61, 00,\\\r\n  0,0\r\n[HKEY_CURRENT_USER\\A]\r\n@=\"\xE2\x82\xAC\xE6\xB0\xB4\"\r\n"
      "[HKEY_CURRENT_USER\\a\\b]\n\"N\"=\"last\"");
  EXPECT_EQ(GetRaw(registry, "A\\B", "n"), "1:last");
  EXPECT_EQ(GetRaw(registry, "A\\B", "h"), "7:a\0\0\0"s);
  EXPECT_EQ(GetRaw(registry, "A", ""), "1:\x88?");
  SetRaw(registry, "A", "new", REG_SZ, "");
  EXPECT_NE(FileText(path).find("@=\"\xE2\x82\xAC\xE6\xB0\xB4\"\n"), std::string::npos);
  SetFileText(path, " \r\n");
  EXPECT_EQ(GetRaw(registry, "A", ""), "error 2");
}

TEST_F(FileRegistryTest, GivesAnotherReaderEveryByte) {
  FileRegistry other(path, rules);
  std::string every_byte;
  for (int i = 0; i < 256; ++i) every_byte += static_cast<char>(i);
  for (const std::uint32_t type : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 11u, 0xFFFF0001u})
    for (const std::string& data : {""s, "a\\\"]b;"s, "text\0"s, " \r\n"s, "1234"s, every_byte})
      for (const std::string& name : {""s, "z\\\"]=@\r\n\x7F\x98 "s}) {
        ASSERT_EQ(SetRaw(registry, "K]\x98 \xDF", name, type, data), 0);
        ASSERT_EQ(GetRaw(other, "k]\x98 \xFF", name), std::to_string(type) + ":" + data);
      }
}

TEST_F(FileRegistryTest, KeepsAFileThatItCanNotRead) {
  const std::string head = "REGEDIT4\n[HKEY_CURRENT_USER\\A]\n";
  const std::string bad[] = {"[HKEY_CURRENT_USER\\A]\n",
                             "REGEDIT4\n\"v\"=\"before any key\"\n",
                             "REGEDIT4\n[HKEY_MINE\\A]\n",
                             "REGEDIT4\n[HKEY_CURRENT_USER\\A\\\\B]\n",
                             "REGEDIT4\n[HKEY_CURRENT_USER\\A\n",
                             head + "word\n",
                             head + "\"v\"\n",
                             head + "\"v=\"x\"\n",
                             head + "\"v\"=\"C:\\Temp\"\n",
                             head + "\"v\"=\"C:\\xray\"\n",
                             head + "\"v\"=\"x\n",
                             head + "\"v\"=\"x\"y\n",
                             head + "\"v\"=dword:123456789\n",
                             head + "\"v\"=dword:\n",
                             head + "\"v\"=hex:01 02\n",
                             head + "\"v\"=hex:100\n",
                             head + "\"v\"=hex:01,\n",
                             head + "\"v\"=hex(g):01\n",
                             head + "\"v\"=\"\xE6\"\n"};
  std::size_t number = 0;
  for (const std::string& text : bad) {
    SetFileText(path, text);
    EXPECT_EQ(GetRaw(registry, "A", "v"), "error 1009") << text;
    EXPECT_EQ(FileText(path), text);
    EXPECT_EQ(SetRaw(registry, "A", "v", REG_SZ, "x"), ERROR_BADDB);
    ++number;
    EXPECT_EQ(FileText(path + ".bad" + (number > 1 ? std::to_string(number) : "")), text);
    EXPECT_EQ(GetRaw(registry, "A", "v"), "error 2");
  }
  EXPECT_EQ(SetRaw(registry, "A", "v", REG_SZ, "x"), 0);
}

TEST_F(FileRegistryTest, WritesOnlyWhatChangesAndOnlyWhereItMay) {
  EXPECT_EQ(GetRaw(registry, "A", "v"), "error 2");
  EXPECT_EQ(registry.RegDeleteKeyA(HKEY_CURRENT_USER, "A"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Files(), std::vector<std::string>());
  EXPECT_EQ(SetRaw(registry, "A", "v", REG_SZ, "x"), 0);
  chmod(path.c_str(), 0640);
  struct stat before, after;
  stat(path.c_str(), &before);
  SetRaw(registry, "a", "V", REG_SZ, "x");
  stat(path.c_str(), &after);
  EXPECT_EQ(after.st_ino, before.st_ino);
  SetRaw(registry, "A", "v", REG_SZ, "y");
  stat(path.c_str(), &after);
  EXPECT_NE(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode & 0777, 0640u);

  std::filesystem::create_symlink(path, directory / "link");
  FileRegistry by_link(directory / "link", rules);
  EXPECT_EQ(SetRaw(by_link, "A", "v", REG_SZ, "z"), 0);
  EXPECT_EQ(GetRaw(registry, "A", "v"), "1:z");
  for (const std::string place : {"r.reg/below", ""}) {
    FileRegistry nowhere(directory / place, rules);
    EXPECT_EQ(SetRaw(nowhere, "A", "v", REG_SZ, "x"), ERROR_ACCESS_DENIED) << place;
  }
  EXPECT_EQ(GetRaw(registry, "A", "v"), "1:z");
}

TEST_F(FileRegistryTest, KeepsTheFileWhenTheDiskIsFull) {
  SetRaw(registry, "A", "v", REG_SZ, "before");
  const pid_t child = Start([&] {
    const rlimit limit = {20, 20};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    return SetRaw(registry, "A", "v", REG_SZ, "after");
  });
  EXPECT_EQ(Wait(child), ERROR_DISK_FULL);
  EXPECT_EQ(GetRaw(registry, "A", "v"), "1:before");
  EXPECT_EQ(Files(), std::vector<std::string>({"r.reg", "r.reg.lock"}));
}

TEST_F(FileRegistryTest, LosesNoChangeOfTwoProcessesAndShowsNoHalfOfOne) {
  constexpr int kChanges = 50;
  const std::string texts[] = {"1:" + std::string(900, 'a'), "1:" + std::string(700, 'b')};
  const auto write = [&](const std::string& who, int i) {
    return SetRaw(registry, "A", who + std::to_string(i), REG_DWORD, "1234") ||
           SetRaw(registry, "A", "shared", REG_SZ, texts[i % 2].substr(2));
  };
  ASSERT_EQ(write("p", 0), 0);
  const pid_t child = Start([&] {
    for (int i = 0; i < kChanges; ++i)
      if (write("c", i)) return 1;
    return 0;
  });
  for (int i = 0; i < kChanges; ++i) {
    ASSERT_EQ(write("p", i), 0);
    const std::string text = GetRaw(registry, "A", "shared");
    ASSERT_TRUE(text == texts[0] || text == texts[1]) << text;
  }
  EXPECT_EQ(Wait(child), 0);
  for (int i = 0; i < kChanges; ++i)
    for (const std::string who : {"c", "p"})
      EXPECT_EQ(GetRaw(registry, "A", who + std::to_string(i)), "4:1234") << who << i;
}

TEST_F(FileRegistryTest, TenProcessesKilledAtAnyMomentLoseNoWriteThatWasDone) {
  constexpr int kProcesses = 10;
  const auto name = [](int who) { return "v" + std::to_string(who); };
  const auto text = [](int number) { return std::to_string(number) + std::string(900, '.'); };
  std::mt19937 random(1);
  int done[kProcesses] = {};
  for (int round = 0; round < 5; ++round) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::vector<pid_t> children;
    for (char who = 0; who < kProcesses; ++who)
      children.push_back(Start([&, who] {
        for (int i = done[static_cast<int>(who)] + 1;; ++i)
          if (SetRaw(registry, "A", name(who), REG_SZ, text(i)) || write(ends[1], &who, 1) != 1) return 1;
      }));
    close(ends[1]);
    char who = 0;
    while (!children.empty()) {
      // Counted in writes, not in time: however busy the machine is, something has been written.
      for (unsigned writes = 1 + random() % 8; writes > 0 && read(ends[0], &who, 1) == 1; --writes)
        ++done[static_cast<int>(who)];
      usleep(static_cast<useconds_t>(random() % 300));
      const auto victim = children.begin() + random() % children.size();
      kill(*victim, SIGKILL);
      EXPECT_EQ(Wait(*victim), -1) << "it could not write";
      children.erase(victim);
    }
    while (read(ends[0], &who, 1) == 1) ++done[static_cast<int>(who)];
    close(ends[0]);
    const int lock = open((path + ".lock").c_str(), O_RDONLY);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    close(lock);
    for (int i = 0; i < kProcesses; ++i) {
      const std::string value = GetRaw(registry, "A", name(i));
      if (value == "error 2" && done[i] == 0) continue;
      const int number = std::atoi(value.substr(2).c_str());
      EXPECT_EQ(value, "1:" + text(number));
      EXPECT_TRUE(number == done[i] || number == done[i] + 1) << number << " instead of " << done[i];
      done[i] = number;
    }
  }
}

TEST_F(FileRegistryTest, LiesBelowTheUsersConfiguration) {
  const struct {
    const char *config, *home, *path;
  } cases[] = {{"/c", "/h", "/c/halden-text/registry.reg"},
               {nullptr, "/h", "/h/.config/halden-text/registry.reg"},
               {"relative", "/h", "/h/.config/halden-text/registry.reg"},
               {"", "/h", "/h/.config/halden-text/registry.reg"}};
  for (const auto& c : cases)
    EXPECT_EQ(DefaultRegistryFile([&](const char* name) { return name == "HOME"s ? c.home : c.config; }),
              c.path);
}

}  // namespace
