#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

#include "host/commands.h"
#include "host/findings.h"
#include "host/json.h"
#include "host/process.h"
#include "host/recording.h"
#include "host/recording_files.h"
#include "sdk/arrival_times.h"

namespace halden::host {
namespace {

/// Buffer size, ranges and channels. False if a channel doesn't exist; `error` says which.
bool ApplyChoices(IADC3& adc, const Arguments& arguments, std::string* error) {
  if (arguments.capacity) adc.InputSizeData(*arguments.capacity);
  return ApplyRanges(adc, arguments.ranges, error) && ApplyChannels(adc, arguments.channels, error);
}

/// One recording, from the first StartRecord to the last frame. Each time the device is lost and comes back,
/// the recording continues with a new driver object.
class Recorder {
 public:
  Recorder(Session& session, const Arguments& arguments, Progress& progress)
      : session_(session),
        arguments_(arguments),
        progress_(progress),
        columns_(ColumnsOf(adc(), adc().InputChannels())),
        channels_(adc().ChannelsCount()) {}

  /// Returns the exit code.
  int Run() {
    if (columns_.empty()) {
      progress_.Fail("there is not enough memory for the channels");
      return kRefused;
    }
    if (!Serve()) return kRefused;
    // Open the files after StartRecord: a recording that is refused must not overwrite older files.
    if (!StartRecord()) return kRefused;
    start_ = session_.Now();
    if (Converts()) {
      summary_.skipped_bytes = session_.BytesReceived() - session_.PartLineReceived();
      summary_.skipped_lines = session_.LinesReceived();
      summary_.timed = arguments_.line_rate.has_value();
    }
    files_ = std::make_unique<RecordingFiles>(arguments_, columns_);
    SayWhatIsRecorded();
    do Record();
    while (device_lost_ && arguments_.reconnect && files_->Ok() && Reconnect());
    if (device_lost_) summary_.seconds = Elapsed();
    return Finish();
  }

 private:
  IADC3& adc() const { return session_.Adc(); }

  bool StartRecord() {
    if (!adc().StartRecord()) {
      progress_.Fail(adc().LastError());
      return false;
    }
    source_ = std::make_unique<FrameSource>(adc(), columns_.size());
    overruns_ = session_.Overruns();
    return true;
  }

  /// Serves the page, if it is asked for.
  bool Serve() {
    if (arguments_.serve.port == 0) return true;
    web_ = std::make_unique<WebView>("COM" + std::to_string(adc().BasePort()), columns_);
    std::string error;
    web_->server = WebServer::Start(arguments_.serve, web_->feed, &error);
    if (web_->server)
      progress_.Say("Serving " + WebServer::UrlOf(arguments_.serve));
    else
      progress_.Fail(error);
    return web_->server != nullptr;
  }

  void SayWhatIsRecorded() {
    progress_.Say((Converts() ? "Converting " : "Recording ") + std::to_string(columns_.size()) +
                  (columns_.size() == 1 ? " column" : " columns") + Ending());
    if (arguments_.csv.empty() && arguments_.npy.empty() && arguments_.svg.empty() && !web_)
      progress_.Say("Nothing is stored: name a file with --csv, --npy or --svg");
  }

  /// Records until the recording is over or the device is lost.
  void Record() {
    device_lost_ = false;
    last_serve_ = Elapsed();
    while (!Enough()) {
      session_.Serve(Rest());
      NoteLoss();
      Collect();
      if (web_) web_->feed.Send(session_.LastLine(), session_.RateText());
      SayObservations(session_, progress_, arguments_.json);
      if (progress_.Due()) progress_.Update(State());
      if (arguments_.sync && Elapsed() >= next_sync_) Sync();
    }
    if (!Converts()) summary_.seconds = Elapsed();
    if (Converts()) summary_.unfinished_bytes = session_.PartLineReceived();
    summary_.rate = adc().Rate();
    rate_text_ = session_.RateText();
    summary_.rate_max = adc().RateMax();
    summary_.port = "COM" + std::to_string(adc().BasePort());
    adc().StopRecord();
    // StopRecord keeps the frames of the last tick. Write them even if a sink isn't ready.
    StampNewFrames();
    TakeAll();
    if (Converts()) summary_.seconds = static_cast<double>(frames_) / arguments_.line_rate.value_or(1);
    summary_.ring_full |= source_->RingWasFull();
  }

  void Sync() {
    files_->Sync();
    next_sync_ = Elapsed() + 1;
  }

  /// How long to wait for the next tick: not beyond the end of the recording, and short enough to react to a
  /// stop signal.
  std::chrono::milliseconds Rest() const {
    constexpr std::chrono::milliseconds kLongest(50);
    if (!arguments_.seconds) return kLongest;
    const std::chrono::duration<double> left(*arguments_.seconds - Elapsed());
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(left), std::chrono::milliseconds(0),
                      kLongest);
  }

  /// Seconds since the start.
  double Elapsed() const { return session_.Now() - start_; }

  std::string Ending() const {
    if (Converts()) return "";
    if (arguments_.frames) return " for " + std::to_string(*arguments_.frames) + " frames";
    if (arguments_.seconds) return " for " + Trimmed(*arguments_.seconds, 3) + " s";
    return " until Ctrl-C";
  }

  /// Whether the recording is over. If that is a failure, failure_ says why.
  bool Enough() {
    if (StopRequested() || !files_->Ok()) return true;
    if (arguments_.frames && frames_ >= *arguments_.frames) return true;
    if (arguments_.seconds && Elapsed() >= *arguments_.seconds) return true;
    const double silence = Elapsed() - last_frame_;
    if (arguments_.silence && silence >= *arguments_.silence) {
      failure_ = "no frame came for " + Trimmed(*arguments_.silence, 3) + " s";
      return true;
    }
    if (session_.DeviceLost()) {
      device_lost_ = true;
      if (!arguments_.reconnect)
        failure_ = "the device is gone after " + Fixed(Elapsed(), 1) + " s; --reconnect waits for it";
      return true;
    }
    if (!session_.DeviceEnded() || arguments_.seconds) return false;
    if (arguments_.frames) failure_ = "the file has ended after " + std::to_string(frames_) + " frames";
    return true;
  }

  /// Warns where bytes of the device were lost for certain, or may have been.
  void NoteLoss() {
    const std::uint64_t reported = session_.Overruns();
    const std::uint64_t fresh = reported - std::min(reported, std::exchange(overruns_, reported));
    const bool first = summary_.overruns == 0;
    summary_.overruns += fresh;
    if (NoteGap(fresh > 0) || fresh == 0 || !first) return;
    progress_.Warn("received bytes were lost, " + Fixed(Elapsed(), 1) +
                   " s after the start, because they weren't read in time: frames are missing");
  }

  /// Notes a gap since the last tick in which bytes may have been lost, and returns whether there was one.
  /// The driver reads the device only in ticks, so if a tick is late (the process was stopped, or a write
  /// took long) the queues before the driver may overflow. `lost`: bytes were lost for certain.
  bool NoteGap(bool lost) {
    constexpr double kNoticeable = 0.25;        // seconds; ticks come every 0.05 s
    constexpr double kQueueSize = 16 * 1024;    // bytes; the queues before the driver hold at least this many
    constexpr double kUnknownPace = 32 * 1024;  // bytes per second, where received bytes can't be counted
    const double now = Elapsed();
    const double gap = now - std::exchange(last_serve_, now);
    if (gap < kNoticeable) return false;
    double gaps = 0;
    for (const Stretch& earlier : summary_.gaps) gaps += earlier.length;
    const auto bytes = static_cast<double>(session_.BytesReceived());
    const double pace = bytes > 0 ? bytes / std::max(now - gap - gaps, 0.1) : kUnknownPace;
    if (!lost && gap * pace < kQueueSize) return false;
    summary_.gaps.push_back({now - gap, gap});
    progress_.Warn("the device was not read for " + Fixed(gap, 1) + " s, from " + Fixed(now - gap, 1) +
                   " s on: frames " + (lost ? "are" : "may be") + " missing");
    return true;
  }

  /// Moves waiting frames to the sinks while the sinks are ready. The rest stay in the driver's ring, so that
  /// a slow reader of a pipe doesn't hold up the ticks.
  void Collect() {
    StampNewFrames();
    while (files_->Ready() && TakeBlock()) {
    }
  }

  void TakeAll() {
    while (TakeBlock()) {
    }
  }

  /// Passes one block of frames to the sinks. False if no frame is waiting.
  bool TakeBlock() {
    const auto codes = source_->Next();
    if (codes.empty()) return false;
    const std::size_t frames = codes.size() / columns_.size();
    Take(codes, std::span(times_).subspan(stamped_ - waiting_, frames));
    waiting_ -= frames;
    return true;
  }

  /// Gives times to the frames that arrived since the last call. The times of the frames still waiting are
  /// the last waiting_ of the first stamped_ elements of times_.
  void StampNewFrames() {
    const auto count = static_cast<std::size_t>(adc().InputCountKadrs());
    const std::size_t fresh = count > waiting_ ? count - waiting_ : 0;
    if (waiting_ == 0) stamped_ = 0;
    if (times_.size() < stamped_ + fresh) times_.resize(stamped_ + fresh);
    const auto times = std::span(times_).subspan(stamped_, fresh);
    if (Converts())
      StampByLineRate(times);
    else
      arrivals_.Poll(Elapsed(), times);
    stamped_ += fresh;
    waiting_ = count;
    if (fresh > 0) last_frame_ = Elapsed();
  }

  bool Converts() const { return arguments_.command == Command::kConvert; }

  /// For a conversion. Without --line-rate the times are computed but not written.
  void StampByLineRate(std::span<double> times) {
    for (double& time : times) time = static_cast<double>(converted_++) / arguments_.line_rate.value_or(1);
  }

  void Take(std::span<const std::int16_t> codes, std::span<const double> times) {
    auto frames = static_cast<std::int64_t>(codes.size() / columns_.size());
    // The last block may hold more frames than --frames asks for; drop the rest.
    if (arguments_.frames) frames = std::min(frames, *arguments_.frames - frames_);
    if (frames == 0) return;
    codes = codes.first(static_cast<std::size_t>(frames) * columns_.size());
    times = times.first(static_cast<std::size_t>(frames));
    if (frames_ == 0) summary_.first_time = times.front();
    summary_.last_time = times.back();
    frames_ += frames;
    files_->Take({codes, times});
    if (web_) web_->feed.Add({codes, times});
  }

  std::string State() const {
    if (Converts()) return std::to_string(frames_) + " frames";
    const double seconds = Elapsed();
    const double pace = seconds > 0 ? static_cast<double>(frames_) / seconds : 0;
    std::string state = Fixed(seconds, 1) + " s, " + std::to_string(frames_) + " frames, " + Fixed(pace, 1) +
                        " a second (" + session_.RateText() + ")";
    const double silence = seconds - last_frame_;
    if (silence >= 2) state += ", none for " + Fixed(silence, 0) + " s";
    return state;
  }

  /// Waits until the device is plugged in and recognised again, with the same number of channels. False if
  /// the recording ends first; if that is a failure, failure_ says why.
  bool Reconnect() {
    const double lost = Elapsed();
    progress_.Say("The device is gone after " + Fixed(lost, 1) + " s, waiting for it");
    Summarize();
    files_->Pause(summary_);  // during detection a stop signal ends the process at once
    if (arguments_.sync) Sync();
    session_.Release();
    while (!session_.FindAgain(progress_)) {
      if (StopRequested()) return false;
      if (arguments_.seconds && Elapsed() >= *arguments_.seconds) return false;
      if (arguments_.silence && Elapsed() - last_frame_ >= *arguments_.silence) {
        failure_ = "the device did not come back within " + Trimmed(*arguments_.silence, 3) + " s";
        return false;
      }
    }
    CatchStopSignals();
    if (!Resume()) return false;
    summary_.away.push_back({lost, Elapsed() - lost});
    progress_.Say("The device is back after " + Fixed(Elapsed() - lost, 1) + " s");
    return true;
  }

  bool Resume() {
    if (adc().ChannelsCount() != channels_) {
      failure_ = "the device came back with " + std::to_string(adc().ChannelsCount()) + " channels, not " +
                 std::to_string(channels_);
      return false;
    }
    if (!ApplyChoices(adc(), arguments_, &failure_) || !StartRecord()) return false;
    waiting_ = 0;
    arrivals_.Poll(Elapsed(), {});
    last_frame_ = Elapsed();
    return true;
  }

  int Finish() {
    web_.reset();
    Summarize();
    files_->Finish(summary_);
    summary_.frames = files_->Written(frames_);  // again: Finish may have written the last frames
    progress_.Say(SummaryText());
    const int printed = arguments_.json ? PrintSummary() : kDone;
    if (const std::string failure = files_->Failure(); !failure.empty()) failure_ = failure;
    if (failure_.empty() && frames_ == 0)
      failure_ =
          Converts() ? "no line is left: all of them were used to recognise the device" : "no frame came";
    if (failure_.empty()) return printed;
    progress_.Fail(failure_);
    return kRefused;
  }

  void Summarize() {
    summary_.channels = channels_;
    summary_.columns = columns_.size();
    summary_.frames = files_->Written(frames_);
  }

  std::string SummaryText() const {
    if (Converts()) return ConversionText();
    std::string text = std::to_string(summary_.frames) + " frames in " + Fixed(summary_.seconds, 2) + " s, " +
                       Fixed(summary_.FramesPerSecond(), 1) + " frames a second (" + rate_text_ +
                       "); the ring " +
                       (summary_.ring_full ? "was full: frames may be missing" : "was never full");
    if (!summary_.gaps.empty())
      text +=
          "; the device was not read in time " + TimesAndLength(summary_.gaps) + ": frames may be missing";
    if (summary_.overruns > 0)
      text += "; received bytes were lost " + Times(summary_.overruns) + ": frames are missing";
    if (!summary_.away.empty()) text += "; the device was away " + TimesAndLength(summary_.away);
    return text;
  }

  std::string ConversionText() const {
    return std::to_string(summary_.frames) + " frames" +
           (arguments_.line_rate ? " over " + Fixed(summary_.seconds, 2) + " s" : "") + "; the " +
           std::to_string(summary_.skipped_lines) + " lines before them, " +
           std::to_string(summary_.skipped_bytes) + " bytes, were used to recognise the device" +
           (summary_.unfinished_bytes > 0 ? "; the last " + std::to_string(summary_.unfinished_bytes) +
                                                " bytes have no line end and are left out"
                                          : "") +
           (summary_.ring_full ? "; the ring was full: frames may be missing" : "");
  }

  static std::string Times(std::uint64_t count) {
    return count == 1 ? "once" : std::to_string(count) + " times";
  }

  /// "once, for 2.3 s" or "3 times, for 7.1 s in all".
  static std::string TimesAndLength(const std::vector<Stretch>& stretches) {
    double length = 0;
    for (const Stretch& stretch : stretches) length += stretch.length;
    return Times(stretches.size()) + ", for " + Fixed(length, 1) +
           (stretches.size() == 1 ? " s" : " s in all");
  }

  /// On standard error where standard output holds the CSV.
  int PrintSummary() {
    if (arguments_.csv != "-") return Print(SummaryJson(summary_), progress_);
    std::fputs(SummaryJson(summary_).c_str(), stderr);
    return kDone;
  }

  Session& session_;
  const Arguments& arguments_;
  Progress& progress_;

  const std::vector<Column> columns_;
  const int channels_;  ///< of the device
  std::unique_ptr<FrameSource> source_;
  std::unique_ptr<WebView> web_;  ///< null unless --serve is given
  std::unique_ptr<RecordingFiles> files_;
  sdk::ArrivalTimes arrivals_;
  std::vector<double> times_;
  std::size_t stamped_ = 0;
  std::size_t waiting_ = 0;

  // Seconds from the start, which is a time on the session's clock.
  double start_ = 0;
  double last_frame_ = 0;
  double last_serve_ = 0;
  double next_sync_ = 1;

  std::uint64_t overruns_ = 0;  ///< Session::Overruns as last seen
  std::int64_t converted_ = 0;  ///< frames stamped
  std::int64_t frames_ = 0;     ///< passed on to the sinks
  bool device_lost_ = false;
  std::string failure_;
  std::string rate_text_;  ///< Session::RateText at the end
  RecordingSummary summary_;
};

}  // namespace

int RunRecord(Session& session, const Arguments& arguments, Progress& progress) {
  if (const std::string reason = WhyNotWritable(arguments); !reason.empty()) {
    progress.Fail(reason);
    return kRefused;
  }
  if (!session.Detect(progress)) return kRefused;
  std::string error;
  if (!ApplyChoices(session.Adc(), arguments, &error)) {
    progress.Fail(error);
    return kWrongArguments;
  }
  CatchStopSignals();
  session.BeginWatching(progress);
  if (arguments.auto_ranges) session.ChooseRanges(arguments.ranges, progress);
  return Recorder(session, arguments, progress).Run();
}

}  // namespace halden::host
