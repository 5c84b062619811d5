#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/toolkit/answering_toolkit.h"
#include "platform/platform.h"

namespace halden {

struct SystemPlatformOptions {
  std::vector<std::string> devices = {};  ///< where devices come from, in listing order; empty: one "sim"
  std::string registry_file = {};         ///< empty: the user's own
  std::optional<UserAnswer> answer = {};  ///< answers the port dialog
  bool cancel = false;                    ///< cancels the port dialog
  bool only_list = false;                 ///< devices are listed, not used: no port is opened needlessly
  std::string system_root = "/";          ///< for tests: where the system shows its devices
};

/// The backends of the system that the program runs on.
class SystemPlatform {
 public:
  virtual ~SystemPlatform() = default;
  /// Valid as long as the machine.
  virtual Platform& platform() = 0;
  /// One line for each listed device, in order, that says why it could not be opened the last time; empty
  /// where it could, or was never tried.
  virtual std::vector<std::string> OpenFailures() const = 0;
  /// Whether the open device at this place of the list will never send again, because it was a replayed file
  /// and has been read to its end.
  virtual bool HasEnded(std::int32_t place) const = 0;
  /// While held back, the port dialog is cancelled at once, and an answer that the options hold is kept for
  /// later. Call it between detections, not inside one.
  virtual void HoldDialogBack(bool hold) = 0;
  /// How often the chips or the system have reported, since the ports were opened, that received bytes were
  /// lost because they were not taken in time. If the number has grown, bytes were lost for certain. If it
  /// hasn't, or where no open device can say (nothing), a gap has to be found by other means: not every loss
  /// is reported. The number starts at 0 again when a port is opened.
  virtual std::optional<std::uint64_t> Overruns() const { return std::nullopt; }
  /// Puts the ports and the terminal back as they were found, because the process is about to end without
  /// unwinding. Async-signal-safe; nothing of the platform may be used afterwards.
  virtual void AbandonDevices() noexcept {}
  /// What a person should know and no result has said, such as that settings could not be stored: one line
  /// each, UTF-8, in order. Each is returned once.
  virtual std::vector<std::string> TakeNotices() { return {}; }
};

/// Builds the machine. Nothing on failure; then `error` is one line that names the option at fault and what
/// is allowed.
std::unique_ptr<SystemPlatform> OpenSystemPlatform(const SystemPlatformOptions& options, std::string* error);

}  // namespace halden
