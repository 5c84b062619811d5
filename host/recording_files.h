#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/arguments.h"
#include "host/recording.h"

namespace halden::host {

/// Checks whether all files named in the arguments can be written, without changing any. Returns one line
/// that says why not, or "".
std::string WhyNotWritable(const Arguments& arguments);

/// All files of a recording. Each call is passed on to every file's sink.
class RecordingFiles {
 public:
  RecordingFiles(const Arguments& arguments, const std::vector<Column>& columns);

  void Take(const Frames& frames);
  void Sync();
  void Pause(const RecordingSummary& summary);
  void Finish(const RecordingSummary& summary);
  bool Ready() const;
  bool Ok() const;
  /// The failure of the first file that failed; empty if none has.
  std::string Failure() const;
  /// The smallest FrameSink::Written of all files, or `taken` if no file stores frames.
  std::int64_t Written(std::int64_t taken) const;

 private:
  using Maker = std::unique_ptr<FrameSink>(const std::string&, std::vector<Column>, const FileOptions&);

  void Add(Maker* make, const std::string& path, const std::vector<Column>& columns,
           const FileOptions& options, const Rotation& rotation);

  std::vector<std::unique_ptr<FrameSink>> sinks_;
};

}  // namespace halden::host
