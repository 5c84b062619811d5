#include <cstdlib>
#include <gtest/gtest.h>

#include "tests/port_dialog_flows.h"
#include "tests/windows/host_side.h"
#include "tests/windows/screen_user.h"

using namespace halden;
using namespace halden::windows_test;

namespace {

constexpr VARIANT_BOOL kTrue = -1;
constexpr VARIANT_BOOL kFalse = 0;

/// The component that the host uses, with windows on the screen of this thread.
class ShownComponent : public testing::Test {
 protected:
  ~ShownComponent() override {
    adc.Reset();
    object.Reset();
    CoFreeUnusedLibrariesEx(0, 0);  // so that the next one finds its own devices
  }
  void Connect(const char* devices) {
    _putenv((std::string("HALDEN_SIM=") + devices).c_str());
    object = NewObject();
    adc = object.As(kContract);
    ASSERT_TRUE(adc);
  }
  VARIANT_BOOL Show(const std::vector<FormStep>& steps) {
    ScreenUser user({"cmdClose", "txtInfo", "txtValue"}, steps);
    const auto shown = adc.Get<VARIANT_BOOL>(kShowSetting);
    EXPECT_FALSE(user.abandoned);
    return shown;
  }
  FormStep Note(std::string* text) {
    return [=, this](FormUser& user) {
      form = static_cast<ScreenUser&>(user).Form();
      value = static_cast<ScreenUser&>(user).Control("txtValue");
      *text = user.Text("txtValue");
    };
  }
  /// Some ticks of the driver's timer, each of which brings lines.
  static std::vector<FormStep> Waiting(std::vector<FormStep> before, const std::vector<FormStep>& after) {
    before.resize(before.size() + 20, [](FormUser&) {});
    before.insert(before.end(), after.begin(), after.end());
    return before;
  }
  std::string HiddenValue() const {
    wchar_t text[200] = {};
    GetWindowTextW(value, text, 200);
    return Utf8Text(text);
  }

  InApartment apartment;
  Reference object, adc;
  HWND form = nullptr;
  HWND value = nullptr;
};

}  // namespace

TEST_F(ShownComponent, ShowsTheLiveLineUntilTheUserClosesIt) {
  Connect("sim:signal=ramp,columns=2,rate=200,com=300,serial=A1B2C3");
  ASSERT_EQ(adc.Get<VARIANT_BOOL>(kTest), kTrue);
  std::string first, last;
  EXPECT_EQ(Show(Waiting({Note(&first)}, {Note(&last), Enter()})), kFalse);
  EXPECT_NE(first, last);
  const HWND before = form;
  const std::string hidden = HiddenValue();
  EXPECT_FALSE(IsWindowVisible(before));
  Pump(200);
  EXPECT_EQ(HiddenValue(), hidden) << "stands still while it is hidden";

  std::string info;
  const auto note_info = [&](FormUser& user) { info = user.Text("txtInfo"); };
  EXPECT_EQ(Show(Waiting({Note(&first), note_info}, {Note(&last), Escape()})), kFalse);
  EXPECT_EQ(form, before);
  EXPECT_NE(first, last);
  EXPECT_EQ(info.substr(0, info.find('\n')), "Port: COM300\r");
  EXPECT_NE(info.find("  A1B2C3"), std::string::npos);
  for (const FormStep& close : {Press("cmdClose"), CloseBox()}) {
    Show(
        {SeeFocus("cmdClose"), Tab(), SeeFocus("txtValue"), Tab(), SeeFocus("cmdClose"), Note(&last), close});
    EXPECT_EQ(form, before);
    EXPECT_FALSE(IsWindowVisible(form));
  }
}

TEST_F(ShownComponent, RefusesToShowWhileRecording) {
  Connect("sim:signal=ramp,columns=2,rate=200,com=300");
  ASSERT_EQ(adc.Get<VARIANT_BOOL>(kTest), kTrue);
  ASSERT_EQ(adc.Get<VARIANT_BOOL>(kStartRecord), kTrue);
  std::string text;
  {
    ScreenUser nobody({"cmdClose", "txtInfo", "txtValue"}, {Note(&text)});
    EXPECT_EQ(adc.Get<VARIANT_BOOL>(kShowSetting), kFalse);
    Pump(100);
  }
  EXPECT_EQ(form, nullptr);
  adc.Call(kStopRecord);
}

TEST_F(ShownComponent, AsksTheUserForADeviceThatDoesNotAnswer) {
  Connect("sim:silent,com=301 sim:silent,com=302,serial=SECOND");
  {
    ScreenUser user(kPortControls, {Escape()});
    EXPECT_EQ(adc.Get<VARIANT_BOOL>(kTest), kFalse);
    EXPECT_FALSE(user.abandoned);
  }
  ScreenUser user(kPortControls,
                  {PickRow("lstPort", 1), PickRow("cboCh", 3), Type("cboRate", "abc"), Enter(), Tab(),
                   Press("cmdCancel"), SeeFocus("cboRate"), Type("cboRate", "7"), Press("cmdOK")});
  EXPECT_EQ(adc.Get<VARIANT_BOOL>(kTest), kTrue);
  EXPECT_EQ(user.messages, 3);
  EXPECT_FALSE(user.abandoned);
  EXPECT_EQ(adc.Get<short>(kBasePort), 302);
  EXPECT_EQ(adc.Get<short>(kChannelsCount), 4);
  EXPECT_EQ(adc.Get<float>(kRate), 7);
}
