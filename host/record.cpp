#include <algorithm>
#include <chrono>
#include <optional>

#include "host/channels.h"
#include "host/commands.h"
#include "host/decimal_text.h"
#include "host/json.h"
#include "host/session.h"
#include "host/stop_signal.h"
#include "host/svg_picture.h"

namespace halden::host {
namespace {

using std::chrono::steady_clock;

double SecondsSince(steady_clock::time_point start) {
  return std::chrono::duration<double>(steady_clock::now() - start).count();
}

/// One recording, from StartRecord to the last frame.
class Recording {
 public:
  Recording(Session& session, const Arguments& arguments, Progress& progress)
      : session_(session), adc_(session.Adc()), arguments_(arguments), progress_(progress) {}

  int Run() {
    columns_ = ColumnsOf(adc_, adc_.InputChannels());
    if (columns_.empty()) {
      progress_.Fail("the driver has no memory for its channels");
      return kRefused;
    }
    room_.resize(std::max<std::size_t>(columns_.size(), kRoom));
    if (!adc_.StartRecord()) {
      progress_.Fail(adc_.LastError());
      return kRefused;
    }
    OpenOutputs();
    Record();
    return Finish();
  }

 private:
  static constexpr std::size_t kRoom = 1 << 16;

  /// Only now that the recording runs, so that a refused one leaves an older file alone.
  void OpenOutputs() {
    if (!arguments_.csv.empty()) {
      csv_file_.emplace(arguments_.csv);
      csv_.emplace(columns_, arguments_.codes, *csv_file_);
    }
    if (!arguments_.svg.empty()) {
      svg_file_.emplace(arguments_.svg);
      trace_.emplace(columns_.size());
    }
  }

  void Record() {
    start_ = last_frame_ = steady_clock::now();
    progress_.Say("Recording " + std::to_string(columns_.size()) +
                  (columns_.size() == 1 ? " column" : " columns") + Ending());
    while (!Enough()) {
      session_.Serve();
      Collect();
      if (progress_.Due()) progress_.Update(State());
    }
    seconds_ = SecondsSince(start_);
    rate_ = adc_.Rate();
    adc_.StopRecord();
    Collect();
  }

  std::string Ending() const {
    if (arguments_.frames) return " until " + std::to_string(*arguments_.frames) + " frames are there";
    if (arguments_.seconds) return " for " + Short(*arguments_.seconds, 3) + " s";
    return " until Ctrl-C";
  }

  bool Enough() const {
    if (StopRequested() || !OutputsOk()) return true;
    if (arguments_.frames) return frames_ >= *arguments_.frames;
    return arguments_.seconds && SecondsSince(start_) >= *arguments_.seconds;
  }

  bool OutputsOk() const { return (!csv_file_ || csv_file_->Ok()) && (!svg_file_ || svg_file_->Ok()); }

  /// Takes all frames that wait.
  void Collect() {
    ring_full_ |= adc_.InputCountKadrs() > 0 && adc_.InputCountKadrs() >= adc_.InputSizeKadrs();
    std::int32_t waiting = adc_.InputCountData();
    while (waiting > 0) {
      auto size = static_cast<std::int32_t>(room_.size());
      if (adc_.GetData(room_.data(), size, waiting) == 0) return;
      Take({room_.data(), static_cast<std::size_t>(size)});
    }
  }

  void Take(std::span<const std::int16_t> codes) {
    auto frames = static_cast<std::int64_t>(codes.size() / columns_.size());
    if (arguments_.frames) frames = std::min(frames, *arguments_.frames - frames_);
    codes = codes.first(static_cast<std::size_t>(frames) * columns_.size());
    frames_ += frames;
    last_frame_ = steady_clock::now();
    if (trace_) trace_->Add(codes);
    if (!csv_) return;
    csv_->WriteFrames(codes);
    csv_file_->Flush();
  }

  std::string State() const {
    std::string state = Fixed(SecondsSince(start_), 1) + " s, " + std::to_string(frames_) + " frames, " +
                        Fixed(FramesASecond(SecondsSince(start_)), 1) + " a second (Rate " +
                        Fixed(adc_.Rate(), 1) + ")";
    const double silence = SecondsSince(last_frame_);
    if (silence >= 2) state += ", none for " + Fixed(silence, 0) + " s";
    return state;
  }

  double FramesASecond(double seconds) const {
    return seconds > 0 ? static_cast<double>(frames_) / seconds : 0;
  }

  int Finish() {
    if (csv_file_) csv_file_->Close();
    if (svg_file_ && svg_file_->Ok()) {
      WriteSvg("COM" + std::to_string(adc_.BasePort()) + ": " + std::to_string(frames_) + " frames, " +
                   Fixed(FramesASecond(seconds_), 1) + " a second",
               *trace_, columns_, seconds_, *svg_file_);
      svg_file_->Close();
    }
    progress_.Say(std::to_string(frames_) + " frames in " + Fixed(seconds_, 2) + " s, " +
                  Fixed(FramesASecond(seconds_), 1) + " frames a second (Rate " + Fixed(rate_, 1) +
                  "); the ring " + (ring_full_ ? "stood full: frames may be missing" : "never stood full"));
    const int printed = arguments_.json ? PrintSummary() : kDone;
    for (const auto* file : {&csv_file_, &svg_file_}) {
      if (!*file || (*file)->Failure().empty()) continue;
      progress_.Fail((*file)->Failure());
      return kRefused;
    }
    return printed;
  }

  int PrintSummary() {
    const std::string summary = JsonObject()
                                    .Text("port", "COM" + std::to_string(adc_.BasePort()))
                                    .Raw("channels", std::to_string(adc_.ChannelsCount()))
                                    .Raw("columns", std::to_string(columns_.size()))
                                    .Raw("rate_max", Shortest(adc_.RateMax()))
                                    .Raw("rate", Shortest(rate_))
                                    .Raw("frames", std::to_string(frames_))
                                    .Raw("seconds", Fixed(seconds_, 3))
                                    .Raw("frames_per_second", Fixed(FramesASecond(seconds_), 3))
                                    .Flag("ring_full", ring_full_)
                                    .Close() +
                                "\n";
    if (arguments_.csv != "-") return Print(summary, progress_);
    std::fputs(summary.c_str(), stderr);
    return kDone;
  }

  Session& session_;
  IADC3& adc_;
  const Arguments& arguments_;
  Progress& progress_;

  std::vector<Column> columns_;
  std::optional<Output> csv_file_;
  std::optional<CsvWriter> csv_;
  std::optional<Output> svg_file_;
  std::optional<Trace> trace_;
  std::vector<std::int16_t> room_;

  steady_clock::time_point start_;
  steady_clock::time_point last_frame_;
  std::int64_t frames_ = 0;
  double seconds_ = 0;
  float rate_ = 0;
  bool ring_full_ = false;
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
  return Recording(session, arguments, progress).Run();
}

}  // namespace halden::host
