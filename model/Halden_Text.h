#pragma once

#include <memory>
#include <string>

#include "model/IADC3.h"
#include "model/store.h"
#include "platform/platform.h"

namespace halden {

/// What a driver object needs from the layers above: an interface, so that no include points upward. Only
/// InitSettingsKey throws.
class DriverServices {
 public:
  virtual ~DriverServices() = default;

  /// Derives the settings key from the driver's name, creates it and labels it. Throws std::bad_alloc.
  virtual void InitSettingsKey(const std::string& name) = 0;
  /// Loads the form that owns device, receive buffer and timer. Shows nothing and touches no device.
  virtual void LoadForm() noexcept = 0;
  /// Closes the port, saves the settings and unloads the form.
  virtual void UnloadForm() noexcept = 0;
  /// Finds and opens the device. False if there is none, and when called from inside a running detection.
  virtual bool DetectPort() noexcept = 0;
  /// Shows the form and returns when the user has hidden it; immediately if it can't be shown or is shown
  /// already.
  virtual void ShowForm() noexcept = 0;
};

/// The driver as the host sees it. An object holds no state: all objects work on one store and are counted
/// there. The first one sets the driver up, the last one takes it down. Must be owned by a shared_ptr. Store,
/// platform and services must outlive it. IADC3 documents the members.
class Halden_Text final : public IADC3, public std::enable_shared_from_this<Halden_Text> {
 public:
  /// Throws std::bad_alloc, and the object then isn't counted.
  Halden_Text(Store& store, Platform& platform, DriverServices& services);
  /// Ends the recording, whichever object started it. Holds the thread for 50 ms.
  ~Halden_Text() override;
  Halden_Text(const Halden_Text&) = delete;
  Halden_Text& operator=(const Halden_Text&) = delete;

  /// The driver's name, "Halden-Text", which follows from that of the class.
  static std::string DriverName();

  /// The object itself, for a host that holds the class and asks for the interface.
  std::shared_ptr<IADC3> GetADC3() noexcept { return weak_from_this().lock(); }

  std::string ADCName() noexcept override;
  std::uint8_t Resolution() noexcept override;
  std::int16_t ChannelsCount() noexcept override;
  float RateMax() noexcept override;
  std::vector<std::string> Ranges() noexcept override;
  bool Detected() noexcept override;
  bool Test() noexcept override;
  std::int16_t BasePort() noexcept override;
  bool Busy() noexcept override;
  std::string ChannelName(std::int16_t Index) noexcept override;
  std::int16_t ChannelRange(std::int16_t Index) noexcept override;
  void ChannelRange(std::int16_t Index, std::int16_t RangeIndex) noexcept override;
  float ChannelUnitScale(std::int16_t Index) noexcept override;
  float ChannelUnitOffset(std::int16_t Index) noexcept override;
  std::string ChannelUnitName(std::int16_t Index) noexcept override;
  float Rate() noexcept override;
  void Rate(float sRate) noexcept override;
  void InputSizeData(std::int32_t NewSize) noexcept override;
  std::int32_t InputSizeData() noexcept override;
  std::int32_t InputCountData() noexcept override;
  std::int32_t InputSizeKadrs() noexcept override;
  std::int32_t InputCountKadrs() noexcept override;
  std::int16_t InputCountChannels() noexcept override;
  std::vector<std::int16_t> InputChannels() noexcept override;
  void InputChannels(const std::vector<std::int16_t>& ChTable) noexcept override;
  std::int16_t GetChannel(std::int16_t Index) noexcept override;
  std::vector<std::int16_t> GetKadr() noexcept override;
  bool StartRecord() noexcept override;
  void StopRecord() noexcept override;
  FrameTable InputData() noexcept override;
  std::int32_t GetData(std::int16_t* Data, std::int32_t& DataSize,
                       std::int32_t& InputCountData) noexcept override;
  std::string LastError() noexcept override;
  bool ShowSetting() noexcept override;
  std::shared_ptr<IADC3> Parent() noexcept override;

 private:
  /// Stores the reason in LastError and returns false.
  bool Refuse(const char* reason) noexcept;

  Store& store_;
  Platform& platform_;
  DriverServices& services_;
};

}  // namespace halden
