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
  std::vector<std::string> devices = {};  ///< --device options, in listing order; empty: one "sim"
  std::string registry_file = {};         ///< path; empty: the user's own file
  std::optional<UserAnswer> answer = {};  ///< answers the port dialog
  bool cancel = false;                    ///< cancels the port dialog
  bool only_list = false;         ///< the program only lists devices, so ports stay closed if possible
  std::string system_root = "/";  ///< for tests: the directory that holds the system's /dev and /sys
};

/// The backends of the system that the program runs on. Used on one thread.
class SystemPlatform {
 public:
  virtual ~SystemPlatform() = default;
  /// Valid as long as this object.
  virtual Platform& platform() = 0;
  /// For each listed device, in order, one line that says why its last opening failed; empty if it succeeded
  /// or was never tried.
  virtual std::vector<std::string> OpenFailures() const = 0;
  /// Whether the open device at this index of the list will never send again: a replayed file that has been
  /// read to its end.
  virtual bool HasEnded(std::int32_t place) const = 0;
  /// While held back, the port dialog cancels itself, and an answer given in the options is kept for later.
  /// Call this between detections, not inside one.
  virtual void HoldDialogBack(bool hold) = 0;
  /// How often the chips or the system have reported an overrun (received bytes lost because they weren't
  /// read in time) since the ports were opened; opening a port resets the number to 0. nullopt if no open
  /// device can say. Growth proves a loss. The opposite doesn't hold, because not every loss is reported.
  virtual std::optional<std::uint64_t> Overruns() const { return std::nullopt; }
  /// Restores the ports and the terminal to the state they were found in. For a process that is about to end
  /// without unwinding. Async-signal-safe. The platform must not be used afterwards.
  virtual void AbandonDevices() noexcept {}
  /// Warnings for the user that no return value carried, such as "settings could not be stored": one line
  /// each, UTF-8, oldest first. Each is returned once.
  virtual std::vector<std::string> TakeNotices() { return {}; }
};

/// Builds the platform. Null on failure; then `error` is one line that names the option at fault and what is
/// allowed.
std::unique_ptr<SystemPlatform> OpenSystemPlatform(const SystemPlatformOptions& options, std::string* error);

/// The number rules of the user who runs the process, as a platform of the system has them.
std::unique_ptr<NumberRules> UserNumberRules();

}  // namespace halden
