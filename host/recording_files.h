#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/arguments.h"
#include "host/recording.h"

namespace halden::host {

/// Why a file that the arguments name can't be written; empty if all can. Changes no file.
std::string WhyNotWritable(const Arguments& arguments);

/// The files that the arguments ask for, each with its format. Everything is passed on to all of them.
class RecordingFiles {
 public:
  RecordingFiles(const Arguments& arguments, const std::vector<Column>& columns);

  void Take(const Frames& frames);
  void Sync();
  void Pause(const RecordingSummary& summary);
  void Finish(const RecordingSummary& summary);
  bool Ready() const;
  bool Ok() const;
  /// Of the first file that has failed; empty if none has.
  std::string Failure() const;
  /// The fewest frames that a file holds, or `taken` where no file holds frames.
  std::int64_t Written(std::int64_t taken) const;

 private:
  using Maker = std::unique_ptr<FrameSink>(const std::string&, std::vector<Column>, const FileOptions&);

  void Add(Maker* make, const std::string& path, const std::vector<Column>& columns,
           const FileOptions& options, const Rotation& rotation);

  std::vector<std::unique_ptr<FrameSink>> sinks_;
};

}  // namespace halden::host
