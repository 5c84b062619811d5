#pragma once

#include <memory>
#include <string>

#include "model/IADC3.h"
#include "model/store.h"
#include "platform/platform.h"

namespace halden {

/// What a driver object needs of the parts above the store. Only InitSettingsKey throws.
class DriverServices {
 public:
  virtual ~DriverServices() = default;

  /// Fixes the settings key by the driver's name, makes it and labels it. Throws std::bad_alloc.
  virtual void InitSettingsKey(const std::string& name) = 0;
  /// Loads the form that owns device, buffer and timer. Nothing is shown and no device touched.
  virtual void LoadForm() noexcept = 0;
  /// Closes the port, saves the settings and takes the form down.
  virtual void UnloadForm() noexcept = 0;
  /// Finds and opens the device. False inside a running detection.
  virtual bool DetectPort() noexcept = 0;
  /// Shows the form until the user hides it. Nothing happens where it can't be shown or is shown already.
  virtual void ShowForm() noexcept = 0;
};

/// A face on the store. Objects hold nothing of their own and count themselves: the first one sets the driver
/// up, the last one takes it down. Store, platform and services outlive it. Always owned by a shared_ptr.
class Halden_Text final : public IADC3, public std::enable_shared_from_this<Halden_Text> {
 public:
  /// Throws std::bad_alloc; the object then does not count.
  Halden_Text(Store& store, Platform& platform, DriverServices& services);
  ~Halden_Text() override;
  Halden_Text(const Halden_Text&) = delete;
  Halden_Text& operator=(const Halden_Text&) = delete;

  /// Name of the driver, from that of the class.
  static std::string DriverName();

  /// The object itself, for a host that holds the class and wants the interface.
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
  bool Refuse(const char* reason);

  Store& store_;
  Platform& platform_;
  DriverServices& services_;
};

}  // namespace halden
