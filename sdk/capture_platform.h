#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backends/devices/emulated_d2xx.h"
#include "backends/devices/replay_device.h"
#include "backends/registry/registry_base.h"
#include "backends/sim/virtual_clock.h"
#include "backends/system_platform.h"
#include "backends/text/common_texts.h"
#include "backends/toolkit/answering_toolkit.h"
#include "backends/toolkit/scripted_toolkit.h"

namespace halden::sdk {

/// A platform on a virtual clock whose only device is a captured file. It has no user and stores nothing.
///
/// Detection runs at the pace of 115200 baud, so that it uses up as many bytes as in a recording. Call
/// device().Hurry() after it to read the rest as fast as possible.
class CapturePlatform final : public SystemPlatform {
 public:
  /// `rules` are the user's, as in a recording. Null if the file can't be read.
  static std::unique_ptr<CapturePlatform> Open(const std::string& path, LineEnd line_end,
                                               std::unique_ptr<NumberRules> rules);

  ReplayDevice& device() { return device_; }
  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override { return library_.OpenFailures(); }
  bool HasEnded(std::int32_t place) const override { return library_.HasEnded(place); }
  void HoldDialogBack(bool) override {}

 private:
  CapturePlatform(std::unique_ptr<VirtualClock> clock, std::unique_ptr<ReplayDevice> device,
                  std::unique_ptr<NumberRules> rules);

  const std::unique_ptr<VirtualClock> clock_;
  ReplayDevice& device_;
  const std::unique_ptr<NumberRules> number_rules_;
  EmulatedD2xx library_;
  MemoryRegistry registry_{*number_rules_};
  CommonTexts texts_{TextLanguage::kEnglish, kEnglishLanguage};
  ScriptedToolkit screen_{*clock_};
  AnsweringToolkit answering_{screen_, *clock_, *number_rules_, std::nullopt, true};
  Platform platform_{library_, library_, registry_, *clock_, *number_rules_, texts_, answering_};
};

}  // namespace halden::sdk
