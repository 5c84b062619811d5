#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "backends/devices/emulated_d2xx.h"
#include "backends/devices/replay_device.h"
#include "backends/linux/locale_number_rules.h"
#include "backends/registry/registry_base.h"
#include "backends/sim/virtual_clock.h"
#include "backends/text/common_texts.h"
#include "backends/toolkit/answering_toolkit.h"
#include "backends/toolkit/scripted_toolkit.h"
#include "host/commands.h"
#include "host/local/local_session.h"
#include "host/printable_text.h"
#include "host/recording.h"

namespace halden::host {
namespace {

/// A platform on a virtual clock whose only device is a captured file. It has no user and stores nothing. The
/// number rules are the user's, as in a recording.
class CapturePlatform final : public SystemPlatform {
 public:
  /// Null if the file can't be read.
  static std::unique_ptr<CapturePlatform> Open(const std::string& path, LineEnd line_end) {
    auto clock = std::make_unique<VirtualClock>();
    auto device = ReplayDevice::Open(*clock, {.path = path, .line_end = line_end}, "REPLAY1");
    if (!device) return nullptr;
    return std::unique_ptr<CapturePlatform>(new CapturePlatform(std::move(clock), std::move(device)));
  }

  ReplayDevice& device() { return device_; }
  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return library_.OpenFailures(); }
  bool HasEnded(std::int32_t place) const override { return library_.HasEnded(place); }
  void HoldDialogBack(bool) override {}

 private:
  CapturePlatform(std::unique_ptr<VirtualClock> clock, std::unique_ptr<ReplayDevice> device)
      : clock_(std::move(clock)), device_(*device), library_(ListOf(std::move(device))) {}

  static std::vector<std::unique_ptr<Device>> ListOf(std::unique_ptr<Device> device) {
    std::vector<std::unique_ptr<Device>> list;
    list.push_back(std::move(device));
    return list;
  }

  const std::unique_ptr<VirtualClock> clock_;
  ReplayDevice& device_;
  FixedNumberRules number_rules_ = LocaleNumberRules(LocaleEnvironment::OfProcess());
  EmulatedD2xx library_;
  MemoryRegistry registry_{number_rules_};
  CommonTexts texts_{TextLanguage::kEnglish, kEnglishLanguage};
  ScriptedToolkit screen_{*clock_};
  AnsweringToolkit answering_{screen_, *clock_, number_rules_, std::nullopt, true};
  Platform platform_{library_, library_, registry_, *clock_, number_rules_, texts_, answering_};
};

/// Detection runs at the pace of 115200 baud, so that it uses up as many bytes as in a recording. After that
/// the file is read as fast as possible.
class Conversion final : public LocalSession {
 public:
  explicit Conversion(CapturePlatform& platform)
      : LocalSession(platform, std::nullopt, true), platform_(platform) {}

  /// Only the first lines are watched, because watching a line takes longer than converting it.
  void BeginWatching(Progress& progress) override {
    constexpr int kWatchedLines = 1000;
    LocalSession::BeginWatching(progress);
    SetLineListener([this](auto, const sdk::LineWatch& watch) {
      if (watch.Lines() == kWatchedLines) StopListening();
    });
    platform_.device().Hurry();
  }

 private:
  ByteOrigin OriginOf(std::int32_t) const override { return ByteOrigin::kConvertedFile; }

  CapturePlatform& platform_;
};

/// Whether `path` is the file to convert, also by another name or a link.
bool IsInput(const std::string& path, const Arguments& arguments) {
  std::error_code ignored;
  return !path.empty() && std::filesystem::equivalent(path, arguments.input, ignored);
}

}  // namespace

int RunConvert(const Arguments& arguments, Progress& progress) {
  for (const std::string& path : {arguments.csv, arguments.npy, TimesPath(arguments.npy)}) {
    if (!IsInput(path, arguments)) continue;
    progress.Fail(Quoted(path) + " is the file to convert, and can't be written");
    return kWrongArguments;
  }
  const auto platform = CapturePlatform::Open(arguments.input, arguments.line_end);
  if (!platform) {
    progress.Fail(Quoted(arguments.input) + " can't be read: convert takes the file of a captured stream");
    return kWrongArguments;
  }
  Conversion session(*platform);
  return RunRecord(session, arguments, progress);
}

}  // namespace halden::host
