#include "backends/linux/terminal/port_properties.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "backends/devices/device.h"

namespace halden {

namespace {

constexpr int kFirstDataBits = 7;  // of the list's first row

/// The texts of the form in one language, UTF-8. An "&" marks an access key, which must be unique in the
/// form.
struct Texts {
  const char* caption;
  const char* rate;
  const char* data_bits;
  const char* parity;
  const char* stop_bits;
  const char* parities[5];  // by the code in Dcb::Parity
  const char* cancel;
  const char* bad_rate;
};

constexpr Texts kEnglish = {"Properties of ", "&Bits per second:",
                            "&Data bits:",    "&Parity:",
                            "&Stop bits:",    {"None", "Odd", "Even", "Mark", "Space"},
                            "Cancel",         "The rate must be a whole number from 1 to 12000000!"};
constexpr Texts kRussian = {"Свойства ",       "&Скорость (бит/с):",
                            "&Биты данных:",   "&Чётность:",
                            "С&топовые биты:", {"Нет", "Нечёт", "Чёт", "Маркер", "Пробел"},
                            "Отмена",          "Скорость должна быть целым числом от 1 до 12000000!"};

/// The controls in tab order. Each label comes right before its box, so that its access key leads there.
enum Control : int {
  lblRate,
  cboRate,
  lblData,
  cboData,
  lblParity,
  cboParity,
  lblStop,
  cboStop,
  cmdOK,
  cmdCancel
};

/// A whole number from 1 to kHighestBaud without blanks or a sign; else nothing.
std::optional<std::uint32_t> ParseRate(std::string_view text) {
  std::uint32_t rate = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && rate >= 1 && rate <= kHighestBaud ? std::optional(rate) : std::nullopt;
}

/// The form, for one call of EditPortProperties.
class PortProperties {
 public:
  PortProperties(Toolkit& toolkit, const Texts& texts) : toolkit_(toolkit), texts_(texts) {}

  bool Edit(const std::string& port, Dcb* line) {
    caption_ = texts_.caption + port;
    form_ = toolkit_.NewWindow(Design());
    if (!form_) return false;
    ShowSettings(*line);
    form_->ShowModal();
    if (accepted_) ReadSettings(line);
    return accepted_;
  }

 private:
  WindowLayout Design();
  void AddField(int row, const char* label, ControlKind kind, WindowLayout* layout) const;
  void ShowSettings(const Dcb& line);
  void ReadSettings(Dcb* line) const;
  void Accept();

  Toolkit& toolkit_;
  const Texts& texts_;
  std::string caption_;
  std::unique_ptr<Window> form_;
  bool accepted_ = false;  // OK was pressed, and the rate is valid
};

/// Adds a label and its box, `row` rows below the first.
void PortProperties::AddField(int row, const char* label, ControlKind kind, WindowLayout* layout) const {
  const int top = 200 + 400 * row;
  layout->controls.push_back(
      {.kind = ControlKind::kLabel, .bounds = {120, top + 60, 1560, 195}, .text = label});
  layout->controls.push_back({.kind = kind, .bounds = {1760, top, 1440, 315}});
}

WindowLayout PortProperties::Design() {
  const auto close = [this] { form_->Hide(); };
  WindowLayout layout{
      .name = "PortProperties", .caption = caption_, .width = 3360, .height = 2600, .close_box = close};
  AddField(0, texts_.rate, ControlKind::kComboBox, &layout);
  AddField(1, texts_.data_bits, ControlKind::kDropDownList, &layout);
  AddField(2, texts_.parity, ControlKind::kDropDownList, &layout);
  AddField(3, texts_.stop_bits, ControlKind::kDropDownList, &layout);
  layout.controls.push_back({.name = "cmdOK",
                             .kind = ControlKind::kButton,
                             .bounds = {480, 2000, 1120, 405},
                             .text = "OK",
                             .default_button = true,
                             .click = [this] { Accept(); }});
  layout.controls.push_back({.name = "cmdCancel",
                             .kind = ControlKind::kButton,
                             .bounds = {1760, 2000, 1120, 405},
                             .text = texts_.cancel,
                             .cancel_button = true,
                             .click = close});
  return layout;
}

/// A value that isn't in its list, 5 data bits for instance, leaves the list without a selected row.
void PortProperties::ShowSettings(const Dcb& line) {
  for (const char* rate :
       {"1200", "2400", "4800", "9600", "19200", "38400", "57600", "115200", "230400", "460800", "921600"}) {
    form_->AddRow(cboRate, rate);
  }
  form_->SetText(cboRate, std::to_string(line.BaudRate));
  for (const char* bits : {"7", "8"}) form_->AddRow(cboData, bits);
  form_->SelectRow(cboData, line.ByteSize - kFirstDataBits);
  for (const char* parity : texts_.parities) form_->AddRow(cboParity, parity);
  form_->SelectRow(cboParity, line.Parity);
  for (const char* bits : {"1", "1.5", "2"}) form_->AddRow(cboStop, bits);
  form_->SelectRow(cboStop, line.StopBits);
}

/// A value whose list has no selected row keeps its value: confirming doesn't change what the form couldn't
/// show.
void PortProperties::ReadSettings(Dcb* line) const {
  const auto read = [this](Control list, int first, std::uint8_t* value) {
    const int row = form_->SelectedRow(list);
    if (row >= 0) *value = static_cast<std::uint8_t>(first + row);
  };
  line->BaudRate = *ParseRate(form_->Text(cboRate));
  read(cboData, kFirstDataBits, &line->ByteSize);
  read(cboParity, 0, &line->Parity);
  read(cboStop, 0, &line->StopBits);
}

/// Closes the form, or explains what is wrong and keeps it open.
void PortProperties::Accept() {
  if (ParseRate(form_->Text(cboRate))) {
    accepted_ = true;
    form_->Hide();
    return;
  }
  form_->SetFocus(cboRate);
  toolkit_.ShowMessage(texts_.bad_rate, caption_, MessageIcon::kExclamation);
}

}  // namespace

bool EditPortProperties(Toolkit& toolkit, TextLanguage language, const std::string& port, Dcb* line) {
  return PortProperties(toolkit, language == TextLanguage::kRussian ? kRussian : kEnglish).Edit(port, line);
}

}  // namespace halden
