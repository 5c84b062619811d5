#include <gtest/gtest.h>

#include "platform/windows/win32_toolkit.h"
#include "tests/port_dialog_flows.h"
#include "tests/windows/screen_user.h"

using namespace halden;

namespace {

class PortDialogFlows : public testing::TestWithParam<Flows (*)()> {};

}  // namespace

TEST_P(PortDialogFlows, RunOnTheScreen) {
  const Flows all = GetParam()();
  for (const Flow& flow : all.flows) {
    SCOPED_TRACE(flow.name);
    FormMachine machine(all.machine);
    Win32Toolkit toolkit(GetModuleHandleW(nullptr));
    Platform shown = machine.PlatformOn(toolkit);
    dlgPort dialog(machine.store, shown);
    ScreenUser user(kPortControls, flow.steps);
    EXPECT_EQ(Ask(dialog, flow.presets), flow.expected);
    EXPECT_EQ(user.messages, flow.messages);
    EXPECT_FALSE(user.abandoned);
  }
}

INSTANTIATE_TEST_SUITE_P(PortDialog, PortDialogFlows,
                         testing::Values(&PresetFlows, &CommaFlows, &BadRateFlows));
