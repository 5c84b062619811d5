#include "host/local/local_session.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "backends/devices/replay_device.h"
#include "backends/devices/sim_device.h"
#include "host/arguments.h"
#include "host/decimal_text.h"
#include "host/findings.h"
#include "host/process.h"
#include "sdk/detection.h"

namespace halden::host {
namespace {

Platform WithLibrary(const Platform& platform, D2xx& library) {
  return {library,        platform.comm_config, platform.registry, platform.clock, platform.number_rules,
          platform.texts, platform.toolkit};
}

/// Whether a device with this serial number is plugged in now.
bool IsListed(sdk::ListeningTap& library, const std::string& serial) {
  std::int32_t count = 0;
  if (library.FT_CreateDeviceInfoList(&count) != FT_OK || count <= 0) return false;
  std::vector<FT_DEVICE_LIST_INFO_NODE> nodes(static_cast<std::size_t>(count));
  if (library.FT_GetDeviceInfoList(nodes.data(), &count) != FT_OK) return false;
  for (std::int32_t i = 0; i < count; ++i)
    if (library.SerialNumber(i) == serial) return true;
  return false;
}

}  // namespace

LocalSession::LocalSession(SystemPlatform& system, const std::optional<UserAnswer>& answer, bool cancel)
    : system_(system),
      answer_(answer),
      cancel_(cancel),
      tap_(system.platform().d2xx),
      tapped_(WithLibrary(system.platform(), tap_)),
      last_tick_(tapped_.clock.GetTickCount()),
      driver_(tapped_),
      adc_(driver_.CreateObject()) {
  tap_.SetListener([this](std::string_view received) { Listen(received); });
}

bool LocalSession::Find(Progress& progress) {
  const bool somebody_answers = answer_ || (!cancel_ && tapped_.toolkit.CanShow());
  return sdk::Detect(system_, tap_, *adc_, somebody_answers,
                     [&] { progress.Hint("Listening once more ..."); });
}

void LocalSession::Release() {
  released_ = tap_.SerialNumber(tap_.LatestIndex());
  adc_.reset();
}

bool LocalSession::FindAgain(Progress& progress) {
  progress.Hint("Waiting for the device ...");
  driver_.WaitForMessages(200);
  if (!IsListed(tap_, released_)) return false;
  EndOnStopSignals();  // Test can't be cancelled
  adc_ = driver_.CreateObject();
  system_.HoldDialogBack(true);
  const bool found = adc_ && (adc_->Test() || (sdk::SomeDeviceWasSilent(system_, tap_) && adc_->Test())) &&
                     tap_.SerialNumber(tap_.LatestIndex()) == released_;  // not another device
  system_.HoldDialogBack(false);
  CatchStopSignals();
  if (!found) adc_.reset();
  return found;
}

void LocalSession::Serve(std::chrono::milliseconds at_most) {
  driver_.WaitForMessages(static_cast<std::uint32_t>(at_most.count()));
  driver_.ServeMessages();
  if (progress_ && !watch_) WatchOnceFormatIsKnown();
}

/// Uses the platform's clock, so that a session also works on a virtual clock.
double LocalSession::Now() const {
  const std::uint32_t tick = tapped_.clock.GetTickCount();
  elapsed_ms_ += tick - std::exchange(last_tick_, tick);
  return static_cast<double>(elapsed_ms_) / 1000;
}

void LocalSession::BeginWatching(Progress& progress) {
  progress_ = &progress;
  WatchOnceFormatIsKnown();
  if (!watch_) progress.Say("No line has come yet");
}

/// If the user has named a silent device, the format isn't known before its first lines.
void LocalSession::WatchOnceFormatIsKnown() {
  const LineFormat format = driver_.Link().format;
  if (format.columns == 0) return;
  for (const std::string& line : DescribeLine(*adc_, tapped_.number_rules, format, last_line_))
    progress_->Say(line);
  watch_.emplace(tapped_.number_rules, format);
  for (std::int16_t i = 0; i < format.channels; ++i) watch_->SetRange(i, adc_->ChannelRange(i));
}

void LocalSession::ChooseRanges(const std::vector<RangeChoice>& chosen, Progress& progress) {
  const double start = Now();
  progress.Hint("Choosing the ranges ...");
  while (!StopRequested() && !DeviceLost() && !DeviceEnded()) {
    const double seconds = Now() - start;
    const int lines = watch_ ? watch_->Lines() : 0;
    if (lines > 0 && seconds >= (lines >= sdk::LineWatch::kEnoughLines ? 1 : 10)) break;
    Serve(std::chrono::milliseconds(50));
  }
  using sdk::Observation;
  // Drop observations about the old ranges.
  std::erase_if(observations_, [](const Observation& seen) {
    return seen.kind == Observation::kSaturated || seen.kind == Observation::kCoarse;
  });
  if (!watch_) return;
  std::string text;
  for (std::int16_t i = 0; i < adc_->ChannelsCount(); ++i) {
    const std::int16_t row = watch_->FittingRow(i);
    const auto names_it = [i](const RangeChoice& choice) { return choice.channel == i; };
    if (row < 0 || std::ranges::any_of(chosen, names_it)) continue;
    adc_->ChannelRange(i, row);
    watch_->SetRange(i, row);
    text += (text.empty() ? "" : ", ") + adc_->ChannelName(i) + " " +
            adc_->Ranges().at(static_cast<std::size_t>(row));
  }
  progress.Say("Ranges chosen: " + (text.empty() ? "none" : text));
}

std::string LocalSession::RateText() {
  const std::string rate = Fixed(adc_->Rate(), 1);
  if (!driver_.Link().auto_rate) return "user's rate " + rate;
  return (adc_->Rate() == adc_->RateMax() ? "highest " : "Rate ") + rate;
}

std::vector<std::string> LocalSession::WhyNotRecognised() const {
  const auto failures = system_.OpenFailures();
  std::vector<std::string> reasons;
  if (answer_ && static_cast<std::size_t>(answer_->port) >= failures.size())
    return {"--answer: the port list has no row " + std::to_string(answer_->port)};
  for (std::size_t i = 0; i < failures.size(); ++i) {
    const auto index = static_cast<std::int32_t>(i);
    reasons.push_back(
        "device " + std::to_string(i) + " (" + KindOf(index) + EscapedBytes(tap_.SerialNumber(index)) +
        ") was not recognised: " + WhyNotRecognisedText(tap_.At(index), OriginOf(index), failures[i]));
  }
  return reasons;
}

std::string LocalSession::KindOf(std::int32_t index) const {
  if (tap_.Description(index) == kSimulatedDescription) return "simulated device ";
  return OriginOf(index) == ByteOrigin::kReplayedFile ? "replayed file " : "";
}

ByteOrigin LocalSession::OriginOf(std::int32_t index) const {
  return tap_.Description(index) == kReplayedDescription ? ByteOrigin::kReplayedFile : ByteOrigin::kDevice;
}

/// Updates part_line_. An LF directly after a CR belongs to the line end, even if it arrives in the next
/// read.
void LocalSession::MeasurePartLine(std::string_view received) {
  const auto last = received.rfind('\r');
  std::string_view rest = received;
  if (last != std::string_view::npos) {
    rest.remove_prefix(last + 1);
    part_line_ = 0;
    after_return_ = true;
  }
  if (after_return_ && rest.starts_with('\n')) rest.remove_prefix(1);
  if (!received.empty()) after_return_ = received.back() == '\r';
  part_line_ += rest.size();
}

/// Remembers the last whole line and the observations. If memory runs out, a line isn't watched.
void LocalSession::Listen(std::string_view received) noexcept {
  bytes_ += received.size();
  MeasurePartLine(received);
  if (!listens_) return;
  try {
    cutter_.Add(received, [&](std::string_view line) {
      ++lines_;
      last_line_ = line;
      if (!watch_) return;
      for (auto& observation : watch_->Add(line)) observations_.push_back(std::move(observation));
      if (on_line_) on_line_(line, *watch_);
    });
  } catch (...) {
  }
}

}  // namespace halden::host
