#include <chrono>

#include "host/channels.h"
#include "host/commands.h"
#include "host/findings.h"
#include "host/json.h"
#include "host/output.h"
#include "host/process.h"

namespace halden::host {
namespace {

using Seconds = std::chrono::duration<double>;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPace{250};

/// The last value of every channel as text: on a terminal with enough rows a table that is redrawn in place,
/// else a line each time.
class LiveView {
 public:
  LiveView(IADC3& adc, bool json)
      : adc_(adc),
        channels_(AllChannels(adc)),
        columns_(ColumnsOf(adc, channels_)),
        json_(json),
        redraw_(!json && OutputIsTerminal() && static_cast<int>(channels_.size()) + 2 <= OutputRows()) {}

  /// What to print now, `seconds` after the start.
  std::string Show(double seconds) {
    if (json_) return Json(seconds);
    return redraw_ ? Rows() : Line(seconds);
  }

 private:
  std::string Value(std::size_t i) {
    char text[kValueRoom];
    return {text, WriteValue(adc_.GetChannel(channels_[i]), columns_[i].format, text)};
  }

  /// Ends with the cursor below the table, from where the next call moves it back up.
  std::string Rows() {
    std::string rows = drawn_ ? "\x1b[" + std::to_string(columns_.size() + 1) + "A" : "";
    drawn_ = true;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::string value = Value(i);
      rows += columns_[i].name + std::string(12 - std::min<std::size_t>(columns_[i].name.size(), 11), ' ') +
              std::string(12 - std::min<std::size_t>(value.size(), 12), ' ') + value + "\x1b[K\n";
    }
    return rows + Fixed(adc_.Rate(), 1) + " lines a second\x1b[K\n";
  }

  std::string Line(double seconds) {
    std::string line = Fixed(seconds, 2) + " s ";
    for (std::size_t i = 0; i < columns_.size(); ++i) line += " " + Value(i);
    return line + "\n";
  }

  std::string Json(double seconds) {
    LiveValues live{.seconds = seconds, .rate = adc_.Rate()};
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      live.values.push_back(Value(i));
      live.codes.push_back(adc_.GetChannel(channels_[i]));
    }
    return LiveValuesJson(live);
  }

  IADC3& adc_;
  std::vector<std::int16_t> channels_;
  std::vector<Column> columns_;
  bool json_;
  bool redraw_;
  bool drawn_ = false;
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
  LiveView view(session.Adc(), arguments.json);
  Output output("-");
  const auto start = steady_clock::now();
  const auto elapsed = [&] { return Seconds(steady_clock::now() - start).count(); };
  auto end = steady_clock::time_point::max();
  if (arguments.seconds)
    end = start + std::chrono::duration_cast<steady_clock::duration>(Seconds(*arguments.seconds));
  for (auto due = start; due < end && !StopRequested() && output.Ok();) {
    // Values that were due while the program was stopped are skipped, not shown all at once.
    due = std::min(std::max(due + kPace, steady_clock::now()), end);
    for (auto now = steady_clock::now(); now < due && !StopRequested(); now = steady_clock::now())
      session.Serve(std::chrono::ceil<milliseconds>(due - now));
    SayObservations(session, progress);
    output.Write(view.Show(elapsed()));
    output.Flush();
  }
  if (output.Failure().empty()) return kDone;
  progress.Fail(output.Failure());
  return kRefused;
}

}  // namespace halden::host
