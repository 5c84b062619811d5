#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/system_platform.h"
#include "driver/driver.h"
#include "host/findings.h"
#include "host/session.h"
#include "sdk/heard.h"
#include "sdk/line_watch.h"

namespace halden::host {

/// A session with the driver linked into the program. It sees the bytes of the device on their way to the
/// driver.
class LocalSession : public Session {
 public:
  /// `system` must outlive the session. `answer` and `cancel` are the options that `system` was built with.
  LocalSession(SystemPlatform& system, const std::optional<UserAnswer>& answer, bool cancel = false);

  /// Called with each whole line (ANSI) once the format is known, after the line was added to `watch`.
  using LineListener = std::function<void(std::string_view line, const sdk::LineWatch& watch)>;
  void SetLineListener(LineListener listener) { on_line_ = std::move(listener); }
  /// The format that the driver learned last.
  LineFormat Format() const { return driver_.Link().format; }
  const NumberRules& Rules() const { return tapped_.number_rules; }

  void Serve(std::chrono::milliseconds at_most) override;
  double Now() const override;
  void Release() override;
  bool FindAgain(Progress& progress) override;
  void ChooseRanges(const std::vector<RangeChoice>& chosen, Progress& progress) override;
  std::string RateText() override;
  std::string LastLine() const override { return tapped_.number_rules.AnsiToUtf8(last_line_); }
  std::uint64_t LinesReceived() const override { return lines_; }
  std::uint64_t BytesReceived() const override { return bytes_; }
  std::uint64_t PartLineReceived() const override { return part_line_; }
  std::uint64_t Overruns() const override { return system_.Overruns().value_or(0); }
  std::vector<std::string> TakeNotices() override { return system_.TakeNotices(); }
  void BeginWatching(Progress& progress) override;
  std::vector<sdk::Observation> TakeObservations() override { return std::exchange(observations_, {}); }
  bool DeviceLost() const override { return tap_.Lost(); }
  bool DeviceEnded() const override { return system_.HasEnded(tap_.LatestIndex()); }

 protected:
  IADC3* Object() override { return adc_.get(); }
  bool Find(Progress& progress) override;
  std::vector<std::string> WhyNotRecognised() const override;
  /// Where the bytes of the device at this place of the list come from.
  virtual ByteOrigin OriginOf(std::int32_t index) const;
  std::string KindOfDevice() const override { return KindOf(tap_.LatestIndex()); }
  /// Stops watching lines. Watching a line takes longer than the driver needs to read it.
  void StopListening() { listens_ = false; }

 private:
  void MeasurePartLine(std::string_view received);
  void WatchOnceFormatIsKnown();
  std::string KindOf(std::int32_t index) const;
  void Listen(std::string_view received) noexcept;

  SystemPlatform& system_;
  const std::optional<UserAnswer> answer_;
  const bool cancel_;
  sdk::ListeningTap tap_;
  Platform tapped_;          ///< the system's platform with tap_ as its device library
  std::uint64_t bytes_ = 0;  ///< received
  std::uint64_t lines_ = 0;
  std::uint64_t part_line_ = 0;  ///< bytes after the last line end
  bool after_return_ = false;    ///< the last byte was a CR
  bool listens_ = true;
  LineListener on_line_;
  std::string released_;  ///< serial number of the device that was open when Release was called
  sdk::LineCutter cutter_;
  std::string last_line_;                ///< as received, ANSI
  Progress* progress_ = nullptr;         ///< of BeginWatching
  std::optional<sdk::LineWatch> watch_;  ///< nullopt until the format is known
  std::vector<sdk::Observation> observations_;
  mutable std::uint32_t last_tick_;  ///< of the clock, at the last look
  mutable std::uint64_t elapsed_ms_ = 0;
  Driver driver_;
  std::shared_ptr<IADC3> adc_;
};

}  // namespace halden::host
