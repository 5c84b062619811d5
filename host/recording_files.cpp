#include "host/recording_files.h"

#include <algorithm>
#include <chrono>

#include "host/output.h"

namespace halden::host {

std::string WhyNotWritable(const Arguments& arguments) {
  // With --rotate only the first file is checked.
  const auto first = [&](const std::string& path) {
    return path.empty() || arguments.rotation.Never() ? path : NumberedPath(path, 1);
  };
  const std::string npy = first(arguments.npy);
  const bool times = !npy.empty() && arguments.time != TimeColumn::kNone;
  for (const std::string& path : {first(arguments.csv), npy, times ? TimesPath(npy) : ""})
    if (const std::string reason = WhyNotWritable(path, arguments.existing); !reason.empty())
      // The reason for a file that exists ends in "--force overwrites it".
      return reason.ends_with("overwrites it") ? reason + ", --append continues it" : reason;
  return WhyNotWritable(arguments.svg, arguments.force ? Existing::kOverwrite : Existing::kRefuse);
}

RecordingFiles::RecordingFiles(const Arguments& arguments, const std::vector<Column>& columns) {
  FileOptions options{.existing = arguments.existing,
                      .raw_codes = arguments.codes,
                      .time = arguments.time,
                      .start = std::chrono::system_clock::now()};
  if (!arguments.csv.empty()) Add(NewCsvSink, arguments.csv, columns, options, arguments.rotation);
  if (!arguments.npy.empty()) Add(NewNpySink, arguments.npy, columns, options, arguments.rotation);
  // A picture can't be continued: with --append it is a new file.
  if (options.existing == Existing::kContinue)
    options.existing = arguments.force ? Existing::kOverwrite : Existing::kRefuse;
  if (!arguments.svg.empty()) sinks_.push_back(NewPictureSink(arguments.svg, columns, options));
}

void RecordingFiles::Take(const Frames& frames) {
  for (const auto& sink : sinks_) sink->Take(frames);
}

void RecordingFiles::Sync() {
  for (const auto& sink : sinks_) sink->Sync();
}

void RecordingFiles::Pause(const RecordingSummary& summary) {
  for (const auto& sink : sinks_) sink->Pause(summary);
}

void RecordingFiles::Finish(const RecordingSummary& summary) {
  for (const auto& sink : sinks_) sink->Finish(summary);
}

bool RecordingFiles::Ready() const {
  return std::ranges::all_of(sinks_, [](const auto& sink) { return sink->Ready(); });
}

bool RecordingFiles::Ok() const {
  return std::ranges::all_of(sinks_, [](const auto& sink) { return sink->Ok(); });
}

std::string RecordingFiles::Failure() const {
  for (const auto& sink : sinks_)
    if (!sink->Failure().empty()) return sink->Failure();
  return {};
}

std::int64_t RecordingFiles::Written(std::int64_t taken) const {
  for (const auto& sink : sinks_)
    if (const std::int64_t written = sink->Written(); written >= 0) taken = std::min(taken, written);
  return taken;
}

void RecordingFiles::Add(Maker* make, const std::string& path, const std::vector<Column>& columns,
                         const FileOptions& options, const Rotation& rotation) {
  if (rotation.Never()) {
    sinks_.push_back(make(path, columns, options));
    return;
  }
  sinks_.push_back(NewRotatingSink(
      rotation, [=](int number) { return make(NumberedPath(path, number), columns, options); }));
}

}  // namespace halden::host
