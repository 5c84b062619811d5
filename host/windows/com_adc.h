#pragma once

#include <contract.h>

#include "model/IADC3.h"

namespace halden::host {

/// Implements the driver's interface by calling a COM object of the component, so that the host's commands
/// work with either. A call that fails returns 0, false, or an empty text or table.
class ComAdc final : public halden::IADC3 {
 public:
  /// Takes over one reference from the caller.
  explicit ComAdc(::IADC3* adc) : adc_(adc) {}
  ~ComAdc() override { adc_->Release(); }
  ComAdc(const ComAdc&) = delete;
  ComAdc& operator=(const ComAdc&) = delete;

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
  /// Null: the component's object has no shared pointer in this program.
  std::shared_ptr<IADC3> Parent() noexcept override { return nullptr; }

 private:
  /// Calls a member with these arguments, which it takes by reference, and returns its result.
  template <class... Parameters, class... Arguments>
  auto Ask(HRESULT (STDMETHODCALLTYPE ::IADC3::*member)(Parameters*...), Arguments... arguments);

  ::IADC3* adc_;
};

}  // namespace halden::host
