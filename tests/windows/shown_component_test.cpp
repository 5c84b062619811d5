#include <cstdlib>
#include <gtest/gtest.h>

#include "tests/port_dialog_flows.h"
#include "tests/windows/host_side.h"
#include "tests/windows/screen_user.h"

using namespace halden;
using namespace halden::windows_test;

namespace {

/// The component that the host uses, with windows on the screen of this thread.
class ShownComponent : public testing::Test {
 protected:
  ~ShownComponent() override {
    adc = nullptr;
    CoFreeUnusedLibrariesEx(0, 0);  // so that the next one finds its own devices
  }
  void Connect(const char* devices) {
    _putenv((std::string("HALDEN_SIM=") + devices).c_str());
    adc = NewObject();
  }
  /// What the member gives that shows a dialog with these controls, in which the user does these steps.
  VARIANT_BOOL Show(HRESULT (STDMETHODCALLTYPE IADC3::*member)(VARIANT_BOOL*),
                    const std::vector<std::string>& controls, const std::vector<FormStep>& steps) {
    ScreenUser user(controls, steps);
    const auto shown = Get(adc, member);
    EXPECT_FALSE(user.abandoned);
    messages = user.messages;
    return shown;
  }
  VARIANT_BOOL ShowSetting(const std::vector<FormStep>& steps) {
    return Show(&IADC3::ShowSetting, {"cmdClose", "txtInfo", "txtValue"}, steps);
  }
  FormStep Note(std::string* text) {
    return [=, this](FormUser& user) {
      form = static_cast<ScreenUser&>(user).Form();
      value = static_cast<ScreenUser&>(user).Control("txtValue");
      *text = user.Text("txtValue");
    };
  }
  /// Some ticks of the driver's timer, each of which brings lines, between the two.
  std::vector<FormStep> Changing(const FormStep& close) {
    std::vector<FormStep> steps(20, [](FormUser&) {});
    steps.front() = Note(&first);
    steps.push_back(Note(&last));
    steps.push_back(close);
    return steps;
  }

  InApartment apartment;
  IADC3Ptr adc;
  HWND form = nullptr, value = nullptr;
  std::string first, last;
  int messages = 0;
};

}  // namespace

TEST_F(ShownComponent, ShowsTheLiveLineUntilTheUserClosesIt) {
  Connect("sim:signal=ramp,columns=2,rate=200,com=300,serial=A1B2C3");
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  EXPECT_EQ(ShowSetting(Changing(Enter())), VARIANT_FALSE);
  EXPECT_NE(first, last);
  const HWND before = form;
  const std::string hidden = ScreenUser::WindowText(value);
  EXPECT_FALSE(IsWindowVisible(before));
  Pump(200);
  EXPECT_EQ(ScreenUser::WindowText(value), hidden) << "stands still while it is hidden";

  for (const FormStep& close : {Escape(), Press("cmdClose"), CloseBox()}) {
    std::vector<FormStep> steps = Changing(close);
    steps[1] = SeeText("txtInfo", "Port: COM300\r\nFT232R  A1B2C3");
    steps[2] = SeeFocus("cmdClose");
    steps[3] = Tab();
    steps[4] = SeeFocus("txtValue");
    steps[5] = Tab();
    ShowSetting(steps);
    EXPECT_EQ(form, before);
    EXPECT_NE(first, last);
    EXPECT_FALSE(IsWindowVisible(form));
  }
}

TEST_F(ShownComponent, ShowsNothingWhileItRecordsOrWhereNobodySees) {
  Connect("sim:signal=ramp,columns=2,rate=200,com=300");
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  ASSERT_EQ(Get(adc, &IADC3::StartRecord), VARIANT_TRUE);
  const FormStep note = Note(&last);
  EXPECT_EQ(ShowSetting({note}), VARIANT_FALSE);
  adc->StopRecord();

  const HWINSTA seen = GetProcessWindowStation();
  const HWINSTA unseen = CreateWindowStationW(L"unseen", 0, MAXIMUM_ALLOWED, nullptr);
  ASSERT_TRUE(SetProcessWindowStation(unseen));
  EXPECT_EQ(ShowSetting({note}), VARIANT_FALSE);
  adc = nullptr;
  CoFreeUnusedLibrariesEx(0, 0);
  Connect("sim:silent");
  EXPECT_EQ(Show(&IADC3::Test, kPortControls, {note}), VARIANT_FALSE);
  SetProcessWindowStation(seen);
  CloseWindowStation(unseen);
  EXPECT_EQ(form, nullptr);
}

TEST_F(ShownComponent, AsksTheUserForADeviceThatDoesNotAnswer) {
  Connect("sim:silent,com=301 sim:silent,com=302,serial=SECOND");
  const std::vector<FormStep> steps = {
      PickRow("lstPort", 1), PickRow("cboCh", 3), Type("cboRate", "abc"), Enter(),       Tab(),
      Press("cmdCancel"),    SeeFocus("cboRate"), Type("cboRate", "7"),   Press("cmdOK")};
  EXPECT_EQ(Show(&IADC3::Test, kPortControls, steps), VARIANT_TRUE);
  EXPECT_EQ(messages, 3);
  EXPECT_EQ(Get(adc, &IADC3::get_BasePort), 302);
  EXPECT_EQ(Get(adc, &IADC3::get_ChannelsCount), 4);
  EXPECT_EQ(Get(adc, &IADC3::get_Rate), 7);
}
