#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/store.h"
#include "platform/platform.h"

namespace halden {

/// The dialog in which the user names the port, the channels and the rate of a device that can't be
/// recognised. Each GetUserPort loads the form anew and unloads it when it closes; the members below outlive
/// that.
class dlgPort {
 public:
  /// Both must outlive the dialog, which works on the rows of the store's PortTable.
  dlgPort(mPortText& store, Platform& platform) : store_(store), platform_(platform) {}

  /// Asks the user, with the values given as presets: a row of PortTable, 1 to 32 channels, a rate in hertz
  /// above 0; a value outside presets the first choice. True: they hold the user's choice, and the pointer
  /// is the hourglass. False, with the values unchanged: the user cancelled, or there is no port to choose or
  /// nothing to show the dialog on. Serves the message queue meanwhile, and must not be called from inside.
  bool GetUserPort(std::int16_t& iGetPort, std::int16_t& iGetCh, float& sGetRate);

  bool Accepted = false;              ///< OK has passed its checks
  std::int16_t SelectedRow = -1;      ///< row of PortTable; -1: none
  std::int16_t SelectedChannels = 0;  ///< 1 to 32 once OK was pressed
  float SelectedRate = 0;             ///< hertz, as last read from the rate box

 private:
  bool Load();
  void Seed(std::int16_t port, std::int16_t channels, float rate);
  void LocalizeForm();
  void FillPortList();

  void Form_Load();
  void lstPort_Click();
  void cmdConfig_Click();
  void cmdOK_Click();
  void cmdCancel_Click();
  void cboRate_Validate(bool& Cancel);

  WindowLayout Design();
  tPortInfo* SelectPortInfo();
  void ShowPortInfo(tPortInfo& row);
  std::string RowText(const tPortInfo& row) const;
  bool ReadRate();
  void ShowRateMessage();

  mPortText& store_;
  Platform& platform_;
  std::unique_ptr<Window> form_;  // null: not loaded
  std::string config_tag_;        // the plain word of cmdConfig, from which its captions are built
};

}  // namespace halden
