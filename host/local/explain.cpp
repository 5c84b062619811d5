#include <algorithm>
#include <fstream>
#include <optional>
#include <variant>
#include <vector>

#include "backends/devices/device_options.h"
#include "host/commands.h"
#include "host/findings.h"
#include "host/local/local_session.h"
#include "host/output.h"
#include "host/process.h"

namespace halden::host {

namespace {

/// The replayed file if it is the only device; otherwise nullopt.
std::optional<ReplayDeviceSettings> ReplayedFile(const Arguments& arguments) {
  if (arguments.platform.devices.size() != 1) return std::nullopt;
  std::string error;
  const auto option = ParseDeviceOption(arguments.platform.devices[0], &error);
  const auto* const replay = option ? std::get_if<ReplayDeviceSettings>(&*option) : nullptr;
  return replay ? std::optional(*replay) : std::nullopt;
}

/// Prints the explanations of lines on standard output.
class Explainer {
 public:
  Explainer(LocalSession& session, const Arguments& arguments)
      : session_(session), arguments_(arguments), output_("-") {}

  /// Whether no more lines are wanted: --lines is reached, a stop was requested, or the output failed.
  bool Done() const { return lines_ == arguments_.lines || StopRequested() || !output_.Ok(); }
  void Take(std::string_view line, const sdk::LineWatch& watch) {
    if (Done()) return;
    ++lines_;
    const auto explain = arguments_.json ? ExplanationJson : ExplanationText;
    output_.Write(explain(session_.Adc(), session_.Format(), line, lines_, watch));
  }
  void Flush() { output_.Flush(); }

  /// Closes the output and returns the exit code.
  int Finish(Progress& progress) {
    output_.Close();
    if (output_.Failure().empty() && lines_ > 0) return kDone;
    progress.Fail(output_.Failure().empty() ? "no line came" : output_.Failure());
    return kRefused;
  }

 private:
  LocalSession& session_;
  const Arguments& arguments_;
  Output output_;
  std::int64_t lines_ = 0;
};

/// From its beginning, since the detection has listened to the first lines of the replay.
void ExplainFile(const ReplayDeviceSettings& replay, const LocalSession& session, Explainer& explainer) {
  sdk::LineWatch watch(session.Rules(), session.Format());
  sdk::LineCutter cutter;
  std::ifstream file(replay.path, std::ios::binary);
  std::vector<char> block(4096);
  while (!explainer.Done() && file) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    if (replay.line_end == LineEnd::kLf) std::ranges::replace(block, '\n', '\r');
    cutter.Add({block.data(), static_cast<std::size_t>(file.gcount())}, [&](std::string_view line) {
      watch.Add(line);
      explainer.Take(line, watch);
    });
    explainer.Flush();
  }
}

}  // namespace

int RunExplain(LocalSession& session, const Arguments& arguments, Progress& progress) {
  if (!session.Detect(progress)) return kRefused;
  CatchStopSignals();
  Explainer explainer(session, arguments);
  if (const auto replay = ReplayedFile(arguments)) {
    ExplainFile(*replay, session, explainer);
    return explainer.Finish(progress);
  }
  session.SetLineListener([&](auto line, const auto& watch) { explainer.Take(line, watch); });
  session.BeginWatching(progress);
  while (!explainer.Done() && !session.DeviceLost() && !session.DeviceEnded()) {
    session.Serve(std::chrono::milliseconds(50));
    explainer.Flush();
  }
  SayObservations(session, progress, arguments.json);
  return explainer.Finish(progress);
}

}  // namespace halden::host
