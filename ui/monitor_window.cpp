#include "ui/monitor_window.h"

#include "ui/text_table.h"

namespace halden {

namespace {

constexpr int kIcon = 1;  // number of the icon in the driver's resources
constexpr Color kBlack = 0x000000;
constexpr Color kGreen = 0x00FF00;

// Why the form is asked to unload.
constexpr int kByUser = 0;
constexpr int kByCode = 1;

/// The controls in tab order; each is the index of its layout in Design.
enum Control : int { cmdClose, txtInfo, txtValue };

/// " (v3.2.2)", which follows the caption.
std::string VersionText(const ComponentVersion& version) {
  return " (v" + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
         std::to_string(version.revision) + ")";
}

}  // namespace

void MonitorWindow::Load(const std::string& driver_name) {
  form_ = platform_.toolkit.NewWindow(Design());
  if (form_) LocalizeForm(driver_name);
}

/// Asks with the reason "unloaded by code", which is never refused.
void MonitorWindow::Unload() {
  bool cancel = false;
  Form_QueryUnload(cancel, kByCode);
  if (!cancel) form_.reset();
}

void MonitorWindow::ShowInfo(const std::string& text) {
  SetAnsiText(txtInfo, text);
}

void MonitorWindow::ShowValue(const std::string& text) {
  SetAnsiText(txtValue, text);
}

void MonitorWindow::SetAnsiText(int control, const std::string& text) {
  if (form_) form_->SetText(control, platform_.number_rules.AnsiToUtf8(text));
}

/// Positions and sizes are in twips (1/1440 inch): left, top, width, height.
WindowLayout MonitorWindow::Design() {
  const ControlLayout close{.name = "cmdClose",
                            .kind = ControlKind::kButton,
                            .bounds = {2280, 1080, 1500, 420},
                            .text = "Close",
                            .default_button = true,
                            .cancel_button = true,
                            .back_color = kButtonFaceColor,
                            .fore_color = kButtonTextColor,
                            .click = [this] { cmdClose_Click(); }};
  const ControlLayout info{.name = "txtInfo",
                           .kind = ControlKind::kTextBox,
                           .bounds = {1268, 90, 3525, 435},
                           .text = "Port:\r\nFTDI\r\n",
                           .tab_stop = false,
                           .multi_line = true,
                           .font = {.bold = true, .charset = kRussianCharset},
                           .back_color = kButtonFaceColor,
                           .fore_color = kButtonTextColor};
  const ControlLayout value{.name = "txtValue",
                            .kind = ControlKind::kTextBox,
                            .bounds = {173, 570, 5715, 360},
                            .text = "0",
                            .font = {.name = "Fixedsys", .points = 9.75, .charset = kRussianCharset},
                            .back_color = kBlack,
                            .fore_color = kGreen};
  const auto close_box = [this] {
    bool cancel = false;
    Form_QueryUnload(cancel, kByUser);
  };
  return {.name = "dlgFTDI",
          .caption = "Setup",
          .width = 6060,
          .height = 1650,
          .icon = kIcon,
          .controls = {close, info, value},
          .activate = [this] { Form_Activate(); },
          .close_box = close_box};
}

/// Texts that can't be loaded leave those of the design. The caption is then just the version.
void MonitorWindow::LocalizeForm(const std::string& driver_name) {
  SetFormCharset(*form_, platform_.texts);
  const TextTable table(platform_.texts, platform_.number_rules);
  form_->SetCaption(table.LoadResFormat(kTextSetup, platform_.number_rules.AnsiToUtf8(driver_name)) +
                    VersionText(platform_.texts.Version()));
  if (const auto close = platform_.texts.LoadText(kTextClose)) form_->SetText(cmdClose, *close);
}

/// Brings the window in front of the host's, then lets other windows cover it again.
void MonitorWindow::Form_Activate() {
  form_->SetTopmost(true);
  form_->SetTopmost(false);
}

/// A user who closes the window only hides it. The form stays loaded until the driver unloads it.
void MonitorWindow::Form_QueryUnload(bool& Cancel, int UnloadMode) {
  if (UnloadMode != kByUser) return;
  Cancel = true;
  form_->Hide();
}

void MonitorWindow::cmdClose_Click() {
  form_->Hide();
}

}  // namespace halden
