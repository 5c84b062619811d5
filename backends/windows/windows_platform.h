#pragma once

#include "backends/windows/imported_d2xx.h"
#include "backends/windows/resource_texts.h"
#include "backends/windows/win32_clock.h"
#include "backends/windows/win32_comm_config.h"
#include "backends/windows/win32_number_rules.h"
#include "backends/windows/win32_registry.h"
#include "backends/windows/win32_toolkit.h"
#include "platform/platform.h"

namespace halden {

/// Windows, for the thread that makes it.
class WindowsPlatform {
 public:
  /// `module` holds the component's texts, and must stay loaded.
  explicit WindowsPlatform(void* module)
      : texts_(module), toolkit_(module), platform_{d2xx_,         comm_config_, registry_, clock_,
                                                    number_rules_, texts_,       toolkit_} {}
  WindowsPlatform(const WindowsPlatform&) = delete;
  WindowsPlatform& operator=(const WindowsPlatform&) = delete;

  Platform& platform() { return platform_; }

 private:
  ImportedD2xx d2xx_;
  Win32CommConfig comm_config_;
  Win32Registry registry_;
  Win32Clock clock_;
  Win32NumberRules number_rules_;
  ResourceTexts texts_;
  Win32Toolkit toolkit_;
  Platform platform_;
};

}  // namespace halden
