#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "backends/system_platform.h"
#include "host/commands.h"
#include "host/local/local_session.h"
#include "host/printable_text.h"
#include "host/recording.h"
#include "sdk/capture_platform.h"

namespace halden::host {
namespace {

class Conversion final : public LocalSession {
 public:
  explicit Conversion(sdk::CapturePlatform& platform)
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

  sdk::CapturePlatform& platform_;
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
  const auto platform = sdk::CapturePlatform::Open(arguments.input, arguments.line_end, UserNumberRules());
  if (!platform) {
    progress.Fail(Quoted(arguments.input) + " can't be read: convert takes the file of a captured stream");
    return kWrongArguments;
  }
  Conversion session(*platform);
  return RunRecord(session, arguments, progress);
}

}  // namespace halden::host
