#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/commands.h"
#include "host/local/local_session.h"
#include "tests/scratch_files.h"
#include "tests/virtual_machine.h"

namespace halden::host {
namespace {

/// Numbered lines, enough of them to be read in several pieces.
std::string Counting(const std::string& separator, const std::string& end) {
  std::string lines;
  for (int i = 0; i < 9000; ++i)
    lines += std::to_string(i % 1000) + ".5" + separator + std::to_string(i % 77) + separator + "-3" + end;
  return lines;
}

TEST(Convert, WritesTheSameCsvAsARecordingAtTheDevicesPace) {
  const std::string numbers = Counting(";", "\r\n");
  const std::pair<std::string, std::string> captures[] = {
      {"part line first", ".25;7\r\n" + numbers},
      {"tabs, last line without an end", Counting("\t", "\r") + "1\t2\t"},
      {"blanks, the last LF is missing", Counting(" ", "\r\n") + "1 2 3\r"},
      {"parentheses, LF within lines", Counting("(\n", "\r\n")},
      {"empty lines", numbers + "\r\n\r\r\n  \r\n" + numbers},
      {"lines of 60000 bytes", numbers + "1;" + std::string(60000, ' ') + "2\r\n" + numbers + numbers + "3;" +
                                   std::string(60000, 'x') + "4\r\n" + numbers},
      {"fewer columns in the end", numbers + "1;2\r\n\xFF\x00;;\r\n8"}};
  for (const auto& [name, bytes] : captures) {
    const ScratchDirectory folder;
    SetFileText(folder / "capture", bytes);
    Progress progress(true);
    Arguments arguments;
    arguments.input = folder / "capture";
    arguments.csv = folder / "recorded";
    arguments.command = Command::kRecord;
    VirtualMachine machine({.devices = {"replay:" + arguments.input}}, FixedNumberRules::C());
    LocalSession session(machine, {});
    ASSERT_EQ(RunRecord(session, arguments, progress), kDone) << name;
    arguments.command = Command::kConvert;
    arguments.csv = folder / "converted";
    ASSERT_EQ(RunConvert(arguments, progress), kDone) << name;
    const std::string recorded = FileText(folder / "recorded");
    const std::string converted = FileText(folder / "converted");
    EXPECT_GT(std::ranges::count(recorded, '\n'), 8900) << name;
    const auto differs = std::ranges::mismatch(recorded, converted).in1 - recorded.begin();
    EXPECT_TRUE(recorded == converted) << name << ": they differ in line "
                                       << std::count(recorded.begin(), recorded.begin() + differs, '\n') + 1;
  }
}

TEST(Convert, SaysWhatIsWrongWithTheFile) {
  const std::pair<std::string, const char*> captures[] = {
      {"", "the file is empty"},
      {"1;2\n3;4\n5;6\n7;8\n", "add --eol lf; it begins with \"1;2\\n3;4"},
      {"1\r2", "the file is short or its lines are very long"},
      {std::string(300, '\xB5') + "\r", "most of the file is not text"}};
  for (const auto& [bytes, reason] : captures) {
    const ScratchDirectory folder;
    SetFileText(folder / "capture", bytes);
    Arguments arguments;
    arguments.command = Command::kConvert;
    arguments.input = folder / "capture";
    arguments.csv = folder / "csv";
    Progress progress(false);
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunConvert(arguments, progress), kRefused) << reason;
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(reason));
  }
}

}  // namespace
}  // namespace halden::host
