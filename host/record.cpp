#include <algorithm>
#include <chrono>

#include "host/commands.h"
#include "host/findings.h"
#include "host/json.h"
#include "host/process.h"
#include "host/recording.h"
#include "sdk/arrival_times.h"

namespace halden::host {
namespace {

/// One recording, from StartRecord to the last frame.
class Recorder {
 public:
  Recorder(Session& session, const Arguments& arguments, Progress& progress)
      : session_(session),
        adc_(session.Adc()),
        arguments_(arguments),
        progress_(progress),
        columns_(ColumnsOf(adc_, adc_.InputChannels())),
        source_(adc_, columns_.size()) {}

  int Run() {
    if (columns_.empty()) {
      progress_.Fail("the driver has no memory for its channels");
      return kRefused;
    }
    if (!adc_.StartRecord()) {
      progress_.Fail(adc_.LastError());
      return kRefused;
    }
    OpenSinks();
    Record();
    return Finish();
  }

 private:
  /// After StartRecord, so that a refused recording leaves an older file alone.
  void OpenSinks() {
    if (!arguments_.csv.empty()) sinks_.push_back(NewCsvSink(arguments_.csv, columns_, arguments_.codes));
    if (!arguments_.svg.empty()) sinks_.push_back(NewPictureSink(arguments_.svg, columns_));
  }

  void Record() {
    start_ = session_.Now();
    last_frame_ = 0;
    progress_.Say("Recording " + std::to_string(columns_.size()) +
                  (columns_.size() == 1 ? " column" : " columns") + Ending());
    while (!Enough()) {
      session_.Serve(Rest());
      Collect();
      SayObservations(session_, progress_);
      if (progress_.Due()) progress_.Update(State());
    }
    summary_.seconds = Elapsed();
    summary_.rate = adc_.Rate();
    adc_.StopRecord();
    Collect();
  }

  /// How long the recording may rest: no longer than it lasts, and short enough to notice a stop soon.
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
    if (arguments_.frames) return " until " + std::to_string(*arguments_.frames) + " frames are there";
    if (arguments_.seconds) return " for " + Trimmed(*arguments_.seconds, 3) + " s";
    return " until Ctrl-C";
  }

  bool Enough() const {
    const auto ok = [](const auto& sink) { return sink->Ok(); };
    if (StopRequested() || !std::ranges::all_of(sinks_, ok)) return true;
    if (arguments_.frames) return summary_.frames >= *arguments_.frames;
    return arguments_.seconds && Elapsed() >= *arguments_.seconds;
  }

  /// Passes every frame that waits on to the sinks.
  void Collect() {
    times_.resize(static_cast<std::size_t>(adc_.InputCountKadrs()));
    arrivals_.Poll(Elapsed(), times_);
    std::span<const double> times = times_;
    for (auto codes = source_.Next(); !codes.empty(); codes = source_.Next()) {
      const std::size_t frames = codes.size() / columns_.size();
      Take(codes, times.first(frames));
      times = times.subspan(frames);
    }
  }

  void Take(std::span<const std::int16_t> codes, std::span<const double> times) {
    auto frames = static_cast<std::int64_t>(codes.size() / columns_.size());
    // The last block may hold more than --frames asks for.
    if (arguments_.frames) frames = std::min(frames, *arguments_.frames - summary_.frames);
    summary_.frames += frames;
    last_frame_ = Elapsed();
    codes = codes.first(static_cast<std::size_t>(frames) * columns_.size());
    times = times.first(static_cast<std::size_t>(frames));
    for (const auto& sink : sinks_) sink->Take({codes, times});
  }

  std::string State() const {
    const double seconds = Elapsed();
    const double pace = seconds > 0 ? static_cast<double>(summary_.frames) / seconds : 0;
    std::string state = Fixed(seconds, 1) + " s, " + std::to_string(summary_.frames) + " frames, " +
                        Fixed(pace, 1) + " a second (Rate " + Fixed(adc_.Rate(), 1) + ")";
    const double silence = Elapsed() - last_frame_;
    if (silence >= 2) state += ", none for " + Fixed(silence, 0) + " s";
    return state;
  }

  int Finish() {
    Summarize();
    for (const auto& sink : sinks_) sink->Finish(summary_);
    progress_.Say(std::to_string(summary_.frames) + " frames in " + Fixed(summary_.seconds, 2) + " s, " +
                  Fixed(summary_.FramesPerSecond(), 1) + " frames a second (Rate " + Fixed(summary_.rate, 1) +
                  "); the ring " +
                  (summary_.ring_full ? "was full: frames may be missing" : "was never full"));
    const int printed = arguments_.json ? PrintSummary() : kDone;
    for (const auto& sink : sinks_) {
      if (sink->Failure().empty()) continue;
      progress_.Fail(sink->Failure());
      return kRefused;
    }
    return printed;
  }

  void Summarize() {
    summary_.port = "COM" + std::to_string(adc_.BasePort());
    summary_.channels = adc_.ChannelsCount();
    summary_.columns = columns_.size();
    summary_.rate_max = adc_.RateMax();
    summary_.ring_full = source_.RingWasFull();
  }

  /// On standard error where standard output holds the CSV.
  int PrintSummary() {
    if (arguments_.csv != "-") return Print(SummaryJson(summary_), progress_);
    std::fputs(SummaryJson(summary_).c_str(), stderr);
    return kDone;
  }

  Session& session_;
  IADC3& adc_;
  const Arguments& arguments_;
  Progress& progress_;

  const std::vector<Column> columns_;
  FrameSource source_;
  std::vector<std::unique_ptr<FrameSink>> sinks_;
  sdk::ArrivalTimes arrivals_;
  std::vector<double> times_;  ///< of the frames that wait

  double start_ = 0;       ///< on the session's clock
  double last_frame_ = 0;  ///< seconds after the start
  RecordingSummary summary_;
};

}  // namespace

int RunRecord(Session& session, const Arguments& arguments, Progress& progress) {
  if (!session.Detect(progress)) return kRefused;
  std::string error;
  IADC3& adc = session.Adc();
  if (arguments.capacity) adc.InputSizeData(*arguments.capacity);
  if (!ApplyRanges(adc, arguments.ranges, &error) || !ApplyChannels(adc, arguments.channels, &error)) {
    progress.Fail(error);
    return kWrongArguments;
  }
  CatchStopSignals();
  session.BeginWatching(progress);
  return Recorder(session, arguments, progress).Run();
}

}  // namespace halden::host
