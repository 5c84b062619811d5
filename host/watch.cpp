#include <chrono>
#include <limits>
#include <memory>
#include <span>

#include "host/channels.h"
#include "host/commands.h"
#include "host/findings.h"
#include "host/json.h"
#include "host/output.h"
#include "host/process.h"
#include "host/recording.h"
#include "host/web/web_server.h"
#include "sdk/arrival_times.h"

namespace halden::host {
namespace {

using std::chrono::milliseconds;

constexpr double kPace = 0.25;  // seconds between two updates

/// The last value of every channel as text. On a terminal with enough rows it is a table redrawn in place;
/// otherwise each update is one line.
class LiveView {
 public:
  LiveView(Session& session, bool json)
      : session_(session),
        adc_(session.Adc()),
        channels_(AllChannels(adc_)),
        columns_(ColumnsOf(adc_, channels_)),
        last_line_(session.Now()),
        json_(json),
        redraw_(!json && OutputIsTerminal() && static_cast<int>(channels_.size()) + 2 <= OutputRows()) {}

  /// Updates the pace with the lines received since the last call.
  void CountLines() {
    const std::uint64_t lines = session_.LinesReceived();
    const double now = session_.Now();
    times_.resize(static_cast<std::size_t>(lines - lines_));
    arrivals_.Poll(now, times_);
    if (lines != lines_) last_line_ = now;
    lines_ = lines;
  }

  /// What to print now, `seconds` after the start.
  std::string Show(double seconds) {
    if (json_) return Json(seconds);
    return redraw_ ? Rows() : Line(seconds);
  }

  /// The pace measured by arrivals_, because the driver updates its rate only every hundred lines.
  std::string Pace() const {
    const double age = session_.Now() - last_line_;
    if (lines_ > 0 && age > kOld) return "no line for " + Fixed(age, 0) + " s";
    return (lines_ > 0 ? Fixed(arrivals_.Pace(), 1) + " lines a second, " : "") + session_.RateText();
  }

 private:
  std::string Value(std::size_t i) {
    char text[kValueRoom];
    return {text, WriteValue(adc_.GetChannel(channels_[i]), columns_[i].format, text)};
  }

  /// The table. Leaves the cursor below it; the next call first moves the cursor back up.
  std::string Rows() {
    std::string rows = drawn_ ? "\x1b[" + std::to_string(columns_.size() + 1) + "A" : "";
    drawn_ = true;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::string value = Value(i);
      rows += columns_[i].name + std::string(12 - std::min<std::size_t>(columns_[i].name.size(), 11), ' ') +
              std::string(12 - std::min<std::size_t>(value.size(), 12), ' ') + value + "\x1b[K\n";
    }
    return rows + Pace() + "\x1b[K\n";
  }

  std::string Line(double seconds) {
    std::string line = Fixed(seconds, 2) + " s ";
    for (std::size_t i = 0; i < columns_.size(); ++i) line += " " + Value(i);
    const double age = session_.Now() - last_line_;
    return line + (lines_ > 0 && age > kOld ? "  (" + Fixed(age, 0) + " s old)" : "") + "\n";
  }

  std::string Json(double seconds) {
    LiveValues live{.seconds = seconds, .rate = adc_.Rate(), .pace = arrivals_.Pace()};
    if (lines_ > 0) live.age = session_.Now() - last_line_;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      live.values.push_back(Value(i));
      live.codes.push_back(adc_.GetChannel(channels_[i]));
    }
    return LiveValuesJson(live);
  }

  static constexpr double kOld = 2;  // seconds without a line after which values are marked as old

  Session& session_;
  IADC3& adc_;
  std::vector<std::int16_t> channels_;
  std::vector<Column> columns_;
  std::uint64_t lines_ = 0;
  double last_line_;  ///< when the last line was received
  sdk::ArrivalTimes arrivals_;
  std::vector<double> times_;  ///< of the lines of one poll
  bool json_;
  bool redraw_;
  bool drawn_ = false;
};

/// Records without storing anything, so that a page shows every frame.
class WatchedFrames {
 public:
  /// Null on failure; then `progress` has said why.
  static std::unique_ptr<WatchedFrames> Serve(Session& session, const WebAddress& where, Progress& progress) {
    auto frames = std::make_unique<WatchedFrames>(session);
    std::string error = session.Adc().LastError();
    if (frames->recording_) frames->web_.server = WebServer::Start(where, frames->web_.feed, &error);
    if (frames->web_.server) {
      progress.Say("Serving " + WebServer::UrlOf(where));
      return frames;
    }
    progress.Fail(error);
    return nullptr;
  }
  explicit WatchedFrames(Session& session)
      : session_(session),
        start_(session.Now()),
        recording_(Record(session.Adc())),
        source_(session.Adc(), AllChannels(session.Adc()).size()),
        web_("COM" + std::to_string(session.Adc().BasePort()),
             ColumnsOf(session.Adc(), AllChannels(session.Adc()))) {
    arrivals_.Poll(0, {});
  }
  ~WatchedFrames() { session_.Adc().StopRecord(); }
  WatchedFrames(const WatchedFrames&) = delete;
  WatchedFrames& operator=(const WatchedFrames&) = delete;

  /// Passes the frames that have come to the page.
  void Collect() {
    times_.resize(static_cast<std::size_t>(session_.Adc().InputCountKadrs()));
    arrivals_.Poll(session_.Now() - start_, times_);
    const std::size_t width = AllChannels(session_.Adc()).size();
    for (std::span<const double> left = times_; !left.empty();) {
      const auto codes = source_.Next();
      const std::size_t count = std::min(codes.size() / width, left.size());
      if (count == 0) break;
      web_.feed.Add({codes.first(count * width), left.first(count)});
      left = left.subspan(count);
    }
    web_.feed.Send(session_.LastLine(), session_.RateText());
  }

 private:
  static bool Record(IADC3& adc) {
    adc.InputChannels(AllChannels(adc));
    return adc.StartRecord();
  }

  Session& session_;
  const double start_;
  const bool recording_;
  FrameSource source_;
  sdk::ArrivalTimes arrivals_;
  std::vector<double> times_;
  WebView web_;
};

}  // namespace

int RunWatch(Session& session, const Arguments& arguments, Progress& progress) {
  if (!session.Detect(progress)) return kRefused;
  std::string error;
  if (!ApplyRanges(session.Adc(), arguments.ranges, &error)) {
    progress.Fail(error);
    return kWrongArguments;
  }
  CatchStopSignals();
  session.BeginWatching(progress);
  if (arguments.auto_ranges) session.ChooseRanges(arguments.ranges, progress);
  std::unique_ptr<WatchedFrames> served;
  if (arguments.serve.port > 0) {
    served = WatchedFrames::Serve(session, arguments.serve, progress);
    if (!served) return kRefused;
  }
  LiveView view(session, arguments.json);
  Output output("-");
  const double start = session.Now();
  const double end = arguments.seconds ? start + *arguments.seconds : std::numeric_limits<double>::infinity();
  for (double due = start; due < end && !StopRequested() && output.Ok();) {
    // After the program was stopped, skip the updates that were missed.
    due += kPace;
    if (due < session.Now()) due = session.Now() + kPace;
    due = std::min(due, end);
    for (double now = session.Now(); now < due && !StopRequested(); now = session.Now()) {
      session.Serve(std::chrono::ceil<milliseconds>(std::chrono::duration<double>(due - now)));
      view.CountLines();
      if (served) served->Collect();
    }
    SayObservations(session, progress, arguments.json);
    if (session.DeviceLost()) {
      progress.Fail("the device is gone");
      return kRefused;
    }
    if (!arguments.json && !OutputIsTerminal() && progress.Due()) progress.Update(view.Pace());
    if (output.Waiting()) output.Flush();
    if (output.Waiting()) continue;  // the reader is slow: skip this update
    output.Write(view.Show(session.Now() - start));
    output.Flush();
  }
  output.Close(milliseconds(0));
  if (output.Failure().empty() || StopRequested()) return kDone;
  progress.Fail(output.Failure());
  return kRefused;
}

}  // namespace halden::host
