#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/store.h"
#include "platform/platform.h"

namespace halden {

/// The dialog in which the user enters the port, the channels and the rate of a device that can't be
/// recognised. GetUserPort loads the form at each call and unloads it before it returns. The public members
/// keep the values of the last call.
class dlgPort {
 public:
  /// Both arguments must outlive the dialog, which reads and changes the rows of the store's PortTable.
  dlgPort(mPortText& store, Platform& platform) : store_(store), platform_(platform) {}

  /// Asks the user for a row of PortTable, 1 to 32 channels and a rate in hertz above 0. The arguments are
  /// the presets; one that is out of range presets the first choice. True: the arguments hold the user's
  /// choice, and the pointer is the hourglass. False: the user cancelled, PortTable is empty, or there is
  /// nothing to show the dialog on; the arguments are unchanged. Serves the message queue meanwhile. Must not
  /// be called from within that. Throws std::bad_alloc, with the form unloaded.
  bool GetUserPort(std::int16_t& iGetPort, std::int16_t& iGetCh, float& sGetRate);

  bool Accepted = false;              ///< the user pressed OK and the values were valid
  std::int16_t SelectedRow = -1;      ///< row of PortTable, from 0; -1: none
  std::int16_t SelectedChannels = 0;  ///< 1 to 32 after OK
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
  std::string config_tag_;        // caption of cmdConfig without a port's name
};

}  // namespace halden
