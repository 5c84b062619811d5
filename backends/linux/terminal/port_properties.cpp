#include "backends/linux/terminal/port_properties.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "backends/devices/device.h"

namespace halden {

namespace {

constexpr int kFirstDataBits = 7;

struct Texts {
  const char* caption;
  const char* rate;
  const char* data_bits;
  const char* parity;
  const char* stop_bits;
  const char* parities[5];  // by code
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

/// The controls in tab order, each label in front of its box.
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

std::optional<std::uint32_t> ParseRate(std::string_view text) {
  std::uint32_t rate = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && rate >= 1 && rate <= kHighestBaud ? std::optional(rate) : std::nullopt;
}

class PortProperties {
 public:
  PortProperties(Toolkit& toolkit, const Texts& texts) : toolkit_(toolkit), texts_(texts) {}

  bool Edit(const std::string& port, Dcb* line) {
    caption_ = texts_.caption + port;
    form_ = toolkit_.NewWindow(Design());
    if (!form_) return false;
    Fill(*line);
    form_->ShowModal();
    if (accepted_) Take(line);
    return accepted_;
  }

 private:
  WindowLayout Design();
  void AddField(int row, const char* label, ControlKind kind, WindowLayout* layout) const;
  void Fill(const Dcb& line);
  void Take(Dcb* line) const;
  void Accept();

  Toolkit& toolkit_;
  const Texts& texts_;
  std::string caption_;
  std::unique_ptr<Window> form_;
  bool accepted_ = false;
};

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

/// A value that the lists don't have leaves its list without a selected row.
void PortProperties::Fill(const Dcb& line) {
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

/// What has no selected row stays as it was.
void PortProperties::Take(Dcb* line) const {
  const auto take = [this](Control list, int first, std::uint8_t* value) {
    const int row = form_->SelectedRow(list);
    if (row >= 0) *value = static_cast<std::uint8_t>(first + row);
  };
  line->BaudRate = *ParseRate(form_->Text(cboRate));
  take(cboData, kFirstDataBits, &line->ByteSize);
  take(cboParity, 0, &line->Parity);
  take(cboStop, 0, &line->StopBits);
}

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
