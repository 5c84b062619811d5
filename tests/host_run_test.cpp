#include <algorithm>
#include <csignal>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "host/arguments.h"
#include "host/commands.h"
#include "host/local/local_session.h"
#include "tests/scratch_files.h"
#include "tests/virtual_machine.h"

namespace halden::host {
namespace {

using testing::HasSubstr;

/// The output of a run of the host.
struct Printed {
  int code = -1;
  std::string out = {};
  std::string err = {};
};

/// Runs a command line of words separated by blanks. `prepare` is called with the platform before the run.
Printed RunHost(
    const std::string& line, const FixedNumberRules& rules = FixedNumberRules::C(),
    const std::function<void(VirtualMachine&)>& prepare = [](VirtualMachine&) {}) {
  std::istringstream stream(line);
  const std::vector<std::string> words(std::istream_iterator<std::string>(stream), {});
  std::vector<const char*> pointers;
  for (const std::string& word : words) pointers.push_back(word.c_str());
  Printed printed;
  const auto arguments = ParseArguments(pointers, &printed.err);
  if (!arguments) return printed;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    Progress progress(arguments->quiet);
    VirtualMachine machine(arguments->platform, rules);
    prepare(machine);
    LocalSession session(machine, arguments->platform.answer, true);
    if (arguments->command == Command::kConvert)
      printed.code = RunConvert(*arguments, progress);
    else
      printed.code =
          (arguments->command == Command::kWatch ? RunWatch : RunRecord)(session, *arguments, progress);
  }
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_DFL);  // as the host found them
  printed.err = testing::internal::GetCapturedStderr();
  printed.out = testing::internal::GetCapturedStdout();
  return printed;
}

/// A device, and what recording it prints and writes.
struct DeviceKind {
  std::string line;           ///< sent ten times a second for ten seconds; empty: `options` names the device
  const char* recorded = "";  ///< the last line of the CSV; empty: the device is not recognised
  std::vector<std::string> said = {};
  const char* options = "";  ///< of the device, then of the command
  std::string first = {};    ///< sent before
  FixedNumberRules rules = FixedNumberRules::C();
};

std::string LastLine(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  return text.substr(text.find_last_of('\n') + 1);
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

TEST(DeviceKinds, AreExplainedAndRecorded) {
  const FixedNumberRules english = FixedNumberRules::Point(), german = {',', '.', CodePage::kWestern};
  const std::string kSplit = "Lines are split at ";
  const DeviceKind kinds[] = {
      {"1.5\r\n", "1.5", {"Last line: \"1.5\"", "A line is one value:", "1.5         range ±1000"}},
      {"-12\r",
       "-12",
       {"Found replayed file COM256 with 1 channel, at most 300 frames a second"},
       ",baud=9600"},
      {"T=23.45C;H=41.2%\r\n",
       "23.45,41.2",
       {kSplit + "\";\" into 2 columns", "text around the number removed"}},
      {"1.5,2.5,3.5\r\n", "1.5", {"only the front is a number", "the comma isn't a separator"}},
      {"1.5,2.5,3.5\r\n",
       "1.5",
       {"only the front is a number", "the comma isn't a separator"},
       "",
       "",
       english},
      {"1.5,2.5,3.5\r\n", "1", {"only the front is a number", "the comma isn't a separator"}, "", "", german},
      {"1,5\t2,5\r\n", "1.5,2.5", {kSplit + "tab", "decimal mark replaced by the system's"}},
      {"1,5\t1.5\r\n", "1.5,15", {"Column2   15 "}, "", "", german},
      {"1;2\n", "", {"its lines end in LF alone", "add eol=lf", "it begins with \"1;2\\n1;2\\n"}},
      {"1;2\n", "1,2", {kSplit + "\";\" into 2 columns"}, ",eol=lf"},
      {"1;2\r\n", "1,2", {kSplit + "\";\" into 2 columns"}, "", "ready\r\n"},
      {"1;2\r\n", "1,2,0,0,0", {"Column3 has never been a number"}, "", "Sensor v1.0, 2026\r\nready\r\n"},
      {"{\"t\":23.5,\"h\":41}\r\n", "23.5", {"Last line: \"{\\\"t\\\":23.5", "the comma isn't a separator"}},
      {"101325\r\n", "1638.35", {"Column1: 101325 is outside its range ±1000; no range is that wide"}},
      {"5000\r\n",
       "1638.35",
       {"Column1: 5000 is outside its range ±1000; Int 16-bit would fit: --range 0=9, which reads"}},
      {"0.0123\r\n",
       "0",
       {"Column1 uses fewer than 20 codes of its range ±1000", "±0.1 would fit: --range 0=4"}},
      {"0.0123\r\n", "0.0123", {"range ±0.1"}, " --range 0=+-0.1"},
      {"7.5;0.0123\r\n", "7.5,0.0123", {"Ranges chosen: Column1 ±10, Column2 ±0.1"}, " --range auto"},
      {"12:34:01;2.1\r\n",
       "0,2.1",
       {"Column1: \"12:34:01\" is a time of day", "Column1 has never been a number"}},
      {"0x1A;0xE5\r\n", "0,0", {"Column1: \"0x1A\" is hexadecimal", "Column2: \"0xE5\" is hexadecimal"}},
      {"1;2;3\r\n",
       "1,2",
       {"into 2 columns", "a line has 3 fields, which doesn't match"},
       "",
       Repeated("1;2\r\n", 30)},
      {"1;;3\r\n", "1,0,3", {"no number, so 0", "Column2 has never been a number"}},
      {"hello\r\n",
       "0,0,0,0,0",
       {"no number, so 0", "the line has no such field", "Column1 has never been a number"}},
      {"\r\n", "", {"only empty lines came"}},
      {"23.5\xB0"
       "C\r\n",
       "23.5",
       {"Last line: \"23.5\\xB0C\""}},
      {"1.5E2 -3e-1\r\n", "150,-0.3", {kSplit + "blank into 2 columns"}},
      {"", "", {"simulated device SIM1) was not recognised: no byte came"}, "sim:silent"},
      {"", "", {"held by another program"}, "sim:busy"},
      {"", "", {"probably not 115200", "it sent \"\\x"}, "sim:baud=115200,speaks_at=38400"},
      {"", "", {"fewer than three line ends came", "--answer"}, "sim:rate=0.1"},
      {"", "", {"no line end (CR) came in ", "very long", "--answer"}, "sim:columns=200"},
      {"",
       "100.05",
       {"No line has come yet", "(user's rate 0.1)"},
       "sim:rate=0.1,columns=1,signal=constant --answer channels=1,rate=0.1 --seconds 61"},
  };
  const ScratchDirectory scratch;
  for (const DeviceKind& kind : kinds) {
    SCOPED_TRACE(kind.options + (" sending " + kind.line));
    SetFileText(scratch / "sent", kind.first + Repeated(kind.line, 100));
    const std::string device = kind.line.empty() ? "" : "replay:" + scratch / "sent" + ",rate=10";
    const Printed printed = RunHost("record --csv - --device " + device + kind.options, kind.rules);
    EXPECT_EQ(printed.code, *kind.recorded ? kDone : kRefused);
    EXPECT_EQ(LastLine(printed.out), kind.recorded);
    for (const std::string& text : kind.said) EXPECT_THAT(printed.err, HasSubstr(text));
  }
}

TEST(Watch, SkipsUpdatesMissedWhileStopped) {
  std::unique_ptr<PeriodicTimer> stop;
  const Printed printed = RunHost("watch --seconds 10 --device sim:columns=1", FixedNumberRules::C(),
                                  [&](VirtualMachine& machine) {
                                    stop = machine.sim.clock().NewTimer(6000, [&] {
                                      machine.sim.clock().Sleep(3000);
                                      stop.reset();
                                    });
                                    stop->Enable(true);
                                  });
  EXPECT_NEAR(static_cast<double>(std::ranges::count(printed.out, '\n')), (10 - 3) / 0.25, 1);
}

TEST(Watch, ShowsTheAgeOfTheValuesAndReportsALostDevice) {
  const ScratchDirectory scratch;
  SetFileText(scratch / "sent", Repeated("1\r\n", 60));
  const std::string watch = "watch --device replay:" + scratch / "sent" + ",rate=10 --seconds ";
  EXPECT_TRUE(LastLine(RunHost(watch + "9").out).ends_with(" 1  (5 s old)"));
  const Printed json = RunHost(watch + "4 --json");
  EXPECT_THAT(LastLine(json.out), HasSubstr("\"pace\":10."));
  const Printed lost = RunHost("watch --device sim:unplug_after=6");
  EXPECT_EQ(lost.code, kRefused);
  EXPECT_THAT(lost.err, HasSubstr("the device is gone"));
}

TEST(Record, ReportsWhenBytesWereLost) {
  std::unique_ptr<PeriodicTimer> stop;
  const auto record = [&](std::uint64_t overruns) {
    const Printed printed = RunHost("record --json --seconds 10 --device sim:columns=8,baud=2000000",
                                    FixedNumberRules::C(), [&](VirtualMachine& machine) {
                                      stop = machine.sim.clock().NewTimer(6000, [&, overruns] {
                                        machine.sim.clock().Sleep(3000);
                                        machine.overruns += overruns;
                                        stop.reset();
                                      });
                                      stop->Enable(true);
                                    });
    return printed.err + printed.out;
  };
  const std::string guessed = record(0), certain = record(2);
  EXPECT_THAT(guessed, HasSubstr("the device was not read for 3.0 s, from "));
  EXPECT_THAT(guessed, HasSubstr("s on: frames may be missing\n"));
  EXPECT_THAT(guessed, HasSubstr("; the device was not read in time once, for 3.0 s: frames may be missing"));
  EXPECT_THAT(guessed, HasSubstr("\"overruns\":0,\"gaps\":[{\"start\":"));
  EXPECT_THAT(certain, HasSubstr("s on: frames are missing\n"));
  EXPECT_THAT(certain, HasSubstr("; received bytes were lost 2 times: frames are missing"));
  EXPECT_THAT(certain, HasSubstr("\"overruns\":2,"));
}

TEST(Record, ReportsAFullRing) {
  const ScratchDirectory scratch;
  SetFileText(scratch / "sent", Repeated("1\r", 100000));
  EXPECT_THAT(RunHost("record --capacity 1024 --device replay:" + scratch / "sent,baud=2000000").err,
              HasSubstr("the ring was full"));
}

TEST(Record, LabelsTicksAWholeUnitApartWithoutDecimals) {
  const ScratchDirectory scratch;
  RunHost("record --seconds 8 --device sim:columns=1 --svg " + scratch / "picture");
  EXPECT_THAT(FileText(scratch / "picture"), HasSubstr("\"middle\">8</text>"));
}

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
    SCOPED_TRACE(name);
    const ScratchDirectory folder;
    SetFileText(folder / "capture", bytes);
    const Printed recorded = RunHost("record --csv - --quiet --device replay:" + folder / "capture");
    const Printed converted = RunHost("convert --csv - --quiet " + folder / "capture");
    EXPECT_EQ(recorded.code, kDone) << recorded.err;
    EXPECT_EQ(converted.code, kDone) << converted.err;
    EXPECT_GT(std::ranges::count(recorded.out, '\n'), 8900);
    const auto differs = std::ranges::mismatch(recorded.out, converted.out).in1;
    EXPECT_TRUE(recorded.out == converted.out)
        << "they differ in line " << std::count(recorded.out.begin(), differs, '\n') + 1;
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
    const Printed printed = RunHost("convert --csv - " + folder / "capture");
    EXPECT_EQ(printed.code, kRefused) << reason;
    EXPECT_THAT(printed.err, HasSubstr(reason));
  }
}

}  // namespace
}  // namespace halden::host
