#include "ui/dlgPort.h"

#include <cmath>

#include "link/port_table.h"
#include "settings/driver_settings.h"
#include "stream/number_parsing.h"
#include "ui/text_table.h"

namespace halden {

namespace {

constexpr int kRateDigits = 7;  // significant digits that a 32-bit float holds
constexpr int kIcon = 2;        // number of the icon in the driver's resources

/// The controls in tab order; each is the index of its layout in Design.
enum Control : int { lblCh, cboCh, lblRate, cboRate, cmdOK, cmdCancel, cmdConfig, lstPort };

ControlLayout Button(const char* name, Bounds bounds, const char* caption, std::function<void()> click) {
  return {.name = name,
          .kind = ControlKind::kButton,
          .bounds = bounds,
          .text = caption,
          .back_color = kButtonFaceColor,
          .fore_color = kButtonTextColor,
          .click = std::move(click)};
}

ControlLayout Label(const char* name, Bounds bounds, const char* caption) {
  return {.name = name,
          .kind = ControlKind::kLabel,
          .bounds = bounds,
          .text = caption,
          .back_color = kButtonFaceColor,
          .fore_color = kButtonTextColor};
}

}  // namespace

bool dlgPort::GetUserPort(std::int16_t& iGetPort, std::int16_t& iGetCh, float& sGetRate) {
  if (store_.PortCount <= 0) return false;
  try {
    if (Load()) {
      FillPortList();
      Seed(iGetPort, iGetCh, sGetRate);
    }
    // Set this after filling the list, which selects a row; that counts as a click and sets SelectedRow.
    Accepted = false;
    SelectedRow = -1;
    if (form_) form_->ShowModal();
  } catch (...) {
    // The form's handlers must not run after the caller has caught the exception.
    form_.reset();
    throw;
  }
  form_.reset();

  const bool chosen = Accepted && SelectedRow >= 0;
  if (chosen) {
    iGetPort = SelectedRow;
    iGetCh = SelectedChannels;
    sGetRate = SelectedRate;
    platform_.toolkit.SetPointer(Pointer::kHourglass);
  }
  // Serve the queue so that the screen is redrawn without the dialog: the caller may now be busy for seconds.
  platform_.clock.ServeMessages();
  return chosen;
}

/// False if there is nothing to show the dialog on.
bool dlgPort::Load() {
  form_ = platform_.toolkit.NewWindow(Design());
  if (form_) Form_Load();
  return form_ != nullptr;
}

/// Positions and sizes are in twips (1/1440 inch), in the order left, top, width, height.
WindowLayout dlgPort::Design() {
  ControlLayout channels{
      .name = "cboCh", .kind = ControlKind::kDropDownList, .bounds = {1260, 1560, 1365, 315}};
  ControlLayout rate{.name = "cboRate",
                     .kind = ControlKind::kComboBox,
                     .bounds = {1260, 2010, 1365, 315},
                     .text = "1",
                     .validate = [this](bool& cancel) { cboRate_Validate(cancel); }};
  ControlLayout ok = Button("cmdOK", {120, 2475, 1185, 405}, "OK", [this] { cmdOK_Click(); });
  ok.default_button = true;
  ControlLayout cancel =
      Button("cmdCancel", {1440, 2490, 1155, 375}, "Cancel", [this] { cmdCancel_Click(); });
  cancel.cancel_button = true;
  ControlLayout list{
      .name = "lstPort", .kind = ControlKind::kListBox, .bounds = {120, 120, 2505, 840}, .click = [this] {
        lstPort_Click();
      }};
  return {
      .name = "dlgPort",
      .caption = "Select Port",
      .width = 2745,
      .height = 3015,
      .icon = kIcon,
      .controls = {Label("lblCh", {150, 1620, 1050, 195}, "N of &Channels:"), channels,
                   Label("lblRate", {480, 2055, 720, 195}, "&Rate (Hz):"), rate, ok, cancel,
                   Button("cmdConfig", {150, 1020, 2445, 375}, "Properties", [this] { cmdConfig_Click(); }),
                   list},
      .close_box = [this] { cmdCancel_Click(); }};
}

/// Shows the presets in the controls. What is out of range leaves the first choice, which Form_Load has
/// selected.
void dlgPort::Seed(std::int16_t port, std::int16_t channels, float rate) {
  if (port >= 0 && port < store_.PortCount) form_->SelectRow(lstPort, port);
  form_->SelectRow(cboCh, channels >= 1 && channels <= tUserChoice::kMostChannels ? channels - 1 : 0);
  if (rate > 0) {
    const NumberRules& rules = platform_.number_rules;
    form_->SetText(cboRate, rules.AnsiToUtf8(rules.NumberToText(rate, kRateDigits)));
  }
}

/// Fills the lists. The button's word is kept after localizing, because clicks on the port list append to it.
void dlgPort::Form_Load() {
  platform_.toolkit.SetPointer(Pointer::kDefault);
  form_->ClearRows(cboCh);
  for (int channels = 1; channels <= tUserChoice::kMostChannels; ++channels)
    form_->AddRow(cboCh, std::to_string(channels));
  form_->SelectRow(cboCh, 0);
  form_->ClearRows(cboRate);
  for (const char* rate : {"1", "2", "5", "10", "20", "50", "100"}) form_->AddRow(cboRate, rate);
  form_->SetText(cboRate, "1");
  LocalizeForm();
  config_tag_ = form_->Text(cmdConfig);
}

/// Texts that can't be loaded leave the English ones of the design.
void dlgPort::LocalizeForm() {
  SetFormCharset(*form_, platform_.texts);
  if (const auto title = platform_.texts.LoadText(kTextSelectPort)) form_->SetCaption(*title);
  const auto localize = [this](Control control, TextId id) {
    if (const auto text = platform_.texts.LoadText(id)) form_->SetText(control, *text);
  };
  localize(cmdCancel, kTextCancel);
  localize(cmdConfig, kTextProperties);
  localize(lblCh, kTextChannels);
  localize(lblRate, kTextRate);
}

/// Lists the ports in the order of the port table, so that a row of the list is a row of the table. Selects
/// the first one, which runs lstPort_Click.
void dlgPort::FillPortList() {
  form_->ClearRows(lstPort);
  for (int row = 0; row < store_.PortCount; ++row) form_->AddRow(lstPort, RowText(store_.PortTable[row]));
  form_->SelectRow(lstPort, 0);
}

/// Names the port on the button and reads its stored default afresh. Without one there is nothing to edit, so
/// the button is disabled.
void dlgPort::lstPort_Click() {
  tPortInfo* row = SelectPortInfo();
  if (!row) return;
  form_->SetText(cmdConfig, config_tag_ + " " + platform_.number_rules.AnsiToUtf8(row->Name) + "...");
  std::uint32_t size = sizeof row->Config;
  const bool has_default = platform_.comm_config.GetDefaultCommConfigA(row->Name, &row->Config, &size);
  if (has_default) ShowPortInfo(*row);
  form_->SetEnabled(cmdConfig, has_default);
}

/// Lets the user edit the port's line settings in the system's dialog, and makes them the port's default.
void dlgPort::cmdConfig_Click() {
  tPortInfo* row = SelectPortInfo();
  if (!row) return;
  CommConfigApi& system = platform_.comm_config;
  // Nothing is stored if the user cancels the system's dialog.
  if (!system.CommConfigDialogA(row->Name, form_->Handle(), &row->Config)) return;
  system.SetDefaultCommConfigA(row->Name, &row->Config, sizeof row->Config);
  ShowPortInfo(*row);
}

/// A bad rate keeps the dialog open. The selection then starts after the first character, not before it: that
/// is how the dialog has to behave. Without a selected port the dialog closes as if it had been cancelled.
void dlgPort::cmdOK_Click() {
  if (SelectPortInfo()) {
    SelectedChannels = static_cast<std::int16_t>(form_->SelectedRow(cboCh) + 1);
    if (!ReadRate()) {
      form_->SetFocus(cboRate);
      form_->SetSelection(cboRate, 1, static_cast<int>(form_->Text(cboRate).size()));
      ShowRateMessage();
      return;
    }
    Accepted = true;
  }
  form_->Hide();
}

/// Also for the close box. Accepted stays false.
void dlgPort::cmdCancel_Click() {
  form_->Hide();
}

/// Runs when the focus is about to leave the rate box. `Cancel` set to true keeps it there.
void dlgPort::cboRate_Validate(bool& Cancel) {
  if (ReadRate()) return;
  ShowRateMessage();
  Cancel = true;
}

/// Sets SelectedRow from the list and returns that row of the port table; null if no row is selected.
tPortInfo* dlgPort::SelectPortInfo() {
  SelectedRow = static_cast<std::int16_t>(form_->SelectedRow(lstPort));
  return SelectedRow < 0 ? nullptr : &store_.PortTable[SelectedRow];
}

/// Shows the configuration of the selected row in the list.
void dlgPort::ShowPortInfo(tPortInfo& row) {
  FormatPortConfig(row);
  form_->SetRow(lstPort, SelectedRow, RowText(row));
}

/// "COM5", a tab and "9600,N,8,1"; just the tab for a device that could not be opened.
std::string dlgPort::RowText(const tPortInfo& row) const {
  return platform_.number_rules.AnsiToUtf8(row.Name + "\t" + row.ConfigText);
}

/// Reads the rate box into SelectedRate. False if the text isn't a number in the user's format, or if a
/// 32-bit float would round it to 0 or infinity ("1e-60", "1e39"), or if it is negative.
bool dlgPort::ReadRate() {
  const NumberRules& rules = platform_.number_rules;
  const std::string text = rules.Utf8ToAnsi(form_->Text(cboRate));
  if (!IsNumericText(rules, text)) return false;
  SelectedRate = TextToFloat(rules, text);
  return SelectedRate > 0 && std::isfinite(SelectedRate);
}

void dlgPort::ShowRateMessage() {
  platform_.toolkit.ShowMessage("The \"Rate\" value must be positive number!", "Halden-Text Driver",
                                MessageIcon::kExclamation);
}

}  // namespace halden
