// The input is texts of devices, files and other processes. None of their control characters may reach the
// terminal.

#include <cstdio>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "backends/devices/device_options.h"
#include "backends/registry/registry_base.h"
#include "backends/registry/registry_text.h"
#include "fuzz/choices.h"
#include "host/commands.h"
#include "host/local/local_session.h"
#include "tests/virtual_machine.h"

namespace halden::host {
namespace {

/// Captures what is written to a standard stream while it exists. The destructor demands that the text holds
/// no control characters except LF.
class Capture {
 public:
  explicit Capture(std::FILE* stream) : stream_(stream), saved_(dup(fileno(stream))) {
    std::fflush(stream_);
    dup2(file_, fileno(stream_));
  }
  ~Capture() {
    std::fflush(stream_);
    dup2(saved_, fileno(stream_));
    close(saved_);
    std::string text(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), 0);
    const auto size = pread(file_, text.data(), text.size(), 0);
    close(file_);
    Demand(size == static_cast<ssize_t>(text.size()), "the captured output can be read");
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
      Demand((byte >= 0x20 || byte == '\n') && byte != 0x7F, "no ASCII control character is printed");
      Demand(byte != 0xC2 || next >= 0xA0, "no C1 control character is printed");
    }
  }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

 private:
  std::FILE* const stream_;
  const int file_ = memfd_create("output", 0);
  const int saved_;
};

/// A registry with this content.
struct TextRegistry : RegistryBase {
  TextRegistry(const NumberRules& rules, RegistryTree holds) : RegistryBase(rules), tree(std::move(holds)) {}
  std::int32_t Read(const Operation& operation) override { return operation(tree); }
  std::int32_t Change(const Operation& operation) override { return operation(tree); }
  RegistryTree tree;
};

/// A platform whose registry has any content.
class Settings final : public SystemPlatform {
 public:
  Settings(RegistryTree tree, std::vector<std::string> notices)
      : machine_({.devices = {"sim"}}, FixedNumberRules::Point()),
        registry_(machine_.sim.number_rules(), std::move(tree)),
        notices_(std::move(notices)) {}
  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return {}; }
  bool HasEnded(std::int32_t) const override { return false; }
  void HoldDialogBack(bool) override {}
  std::vector<std::string> TakeNotices() override { return std::exchange(notices_, {}); }

 private:
  VirtualMachine machine_;
  TextRegistry registry_;
  std::vector<std::string> notices_;
  const Platform& all_ = machine_.platform();
  Platform platform_{all_.d2xx,         all_.comm_config, registry_,   all_.clock,
                     all_.number_rules, all_.texts,       all_.toolkit};
};

/// Runs a command on a device with any serial number, which sends any bytes over and over, or can't be
/// opened.
void RunWithDevice(Choices& choices, Arguments arguments, Progress& progress) {
  std::string serial = choices.Text(16);
  std::erase(serial, ',');
  std::string error;
  arguments.platform.devices = {(choices.Below(4) == 0 ? "sim:busy,serial=" : "sim:silent,serial=") + serial};
  if (!ParseDeviceOption(arguments.platform.devices[0], &error)) return progress.Fail(error);
  VirtualMachine machine(arguments.platform, FixedNumberRules::Point());
  if (choices.Below(4) == 0) machine.failures = {choices.Text(choices.Byte())};
  if (arguments.command == Command::kDevices) return void(RunDevices(machine, arguments, progress));
  const std::string sent = choices.Text(4096);
  const auto speaking = machine.sim.clock().NewTimer(50, [&] { machine.sim.device(0).Feed(sent); });
  speaking->Enable(true);
  LocalSession session(machine, std::nullopt, true);
  if (arguments.command == Command::kExplain)
    RunExplain(session, arguments, progress);
  else
    (arguments.command == Command::kWatch ? RunWatch : RunRecord)(session, arguments, progress);
}

void Run(Choices& choices) {
  const Capture out(stdout), err(stderr);
  Arguments arguments;
  arguments.seconds = 1;
  constexpr Command kCommands[] = {Command::kDevices, Command::kSettings, Command::kExplain, Command::kWatch,
                                   Command::kRecord};
  arguments.command = kCommands[choices.Below(std::size(kCommands))];
  arguments.json = choices.Below(2) != 0;
  Progress progress(false);
  if (arguments.command != Command::kSettings) return RunWithDevice(choices, arguments, progress);
  std::vector<std::string> notices = {choices.Text(choices.Below(16))};
  const std::string key = "[HKEY_CURRENT_USER\\Software\\Corvane\\ADC\\Brackwell\\Halden-Text]\n";
  const auto tree = ParseRegistryText("REGEDIT4\n" + key + choices.Text(4096));
  Settings machine(tree.value_or(RegistryTree()), std::move(notices));
  RunSettings(machine, arguments, progress);
  for (const std::string& notice : machine.TakeNotices()) progress.Fail(notice);
}

}  // namespace
}  // namespace halden::host

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Choices choices(data, size);
  halden::host::Run(choices);
  return 0;
}
