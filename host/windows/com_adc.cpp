#include "host/windows/com_adc.h"

#include <algorithm>
#include <tuple>

#include "backends/windows/win32_text.h"

namespace halden::host {
namespace {

std::string TextOf(BSTR text) {
  return text ? Utf8Text({text, SysStringLen(text)}) : std::string();
}

/// Frees the string.
std::string TakeText(BSTR text) {
  std::string utf8 = TextOf(text);
  SysFreeString(text);
  return utf8;
}

/// Converts the elements of an array, in the order in which they are stored, and destroys the array.
template <class Element, class Result, class Convert>
std::vector<Result> TakeArray(SAFEARRAY* array, Convert convert) {
  if (!array) return {};
  std::size_t count = 1;
  for (USHORT i = 0; i < array->cDims; ++i) count *= array->rgsabound[i].cElements;
  const auto* const first = static_cast<const Element*>(array->pvData);
  std::vector<Result> elements(count);
  std::transform(first, first + count, elements.begin(), convert);
  SafeArrayDestroy(array);
  return elements;
}

std::vector<std::int16_t> TakeCodes(SAFEARRAY* array) {
  return TakeArray<short, std::int16_t>(array, [](short code) { return code; });
}

}  // namespace

template <class... Parameters, class... Arguments>
auto ComAdc::Ask(HRESULT (STDMETHODCALLTYPE ::IADC3::*member)(Parameters*...), Arguments... arguments) {
  using Result = std::tuple_element_t<sizeof...(Parameters) - 1, std::tuple<Parameters...>>;
  Result result{};
  const HRESULT outcome = (adc_->*member)(&arguments..., &result);
  return SUCCEEDED(outcome) ? result : Result{};
}

std::string ComAdc::ADCName() noexcept {
  return TakeText(Ask(&::IADC3::get_ADCName));
}

std::uint8_t ComAdc::Resolution() noexcept {
  return Ask(&::IADC3::get_Resolution);
}

std::int16_t ComAdc::ChannelsCount() noexcept {
  return Ask(&::IADC3::get_ChannelsCount);
}

float ComAdc::RateMax() noexcept {
  return Ask(&::IADC3::get_RateMax);
}

std::vector<std::string> ComAdc::Ranges() noexcept {
  return TakeArray<BSTR, std::string>(Ask(&::IADC3::get_Ranges), TextOf);
}

bool ComAdc::Detected() noexcept {
  return Ask(&::IADC3::get_Detected) != VARIANT_FALSE;
}

bool ComAdc::Test() noexcept {
  return Ask(&::IADC3::Test) != VARIANT_FALSE;
}

std::int16_t ComAdc::BasePort() noexcept {
  return Ask(&::IADC3::get_BasePort);
}

bool ComAdc::Busy() noexcept {
  return Ask(&::IADC3::get_Busy) != VARIANT_FALSE;
}

std::string ComAdc::ChannelName(std::int16_t Index) noexcept {
  return TakeText(Ask(&::IADC3::get_ChannelName, Index));
}

std::int16_t ComAdc::ChannelRange(std::int16_t Index) noexcept {
  return Ask(&::IADC3::get_ChannelRange, Index);
}

void ComAdc::ChannelRange(std::int16_t Index, std::int16_t RangeIndex) noexcept {
  adc_->put_ChannelRange(&Index, &RangeIndex);
}

float ComAdc::ChannelUnitScale(std::int16_t Index) noexcept {
  return Ask(&::IADC3::get_ChannelUnitScale, Index);
}

float ComAdc::ChannelUnitOffset(std::int16_t Index) noexcept {
  return Ask(&::IADC3::get_ChannelUnitOffset, Index);
}

std::string ComAdc::ChannelUnitName(std::int16_t Index) noexcept {
  return TakeText(Ask(&::IADC3::get_ChannelUnitName, Index));
}

float ComAdc::Rate() noexcept {
  return Ask(&::IADC3::get_Rate);
}

void ComAdc::Rate(float sRate) noexcept {
  adc_->put_Rate(&sRate);
}

void ComAdc::InputSizeData(std::int32_t NewSize) noexcept {
  long size = NewSize;
  adc_->put_InputSizeData(&size);
}

std::int32_t ComAdc::InputSizeData() noexcept {
  return Ask(&::IADC3::get_InputSizeData);
}

std::int32_t ComAdc::InputCountData() noexcept {
  return Ask(&::IADC3::get_InputCountData);
}

std::int32_t ComAdc::InputSizeKadrs() noexcept {
  return Ask(&::IADC3::get_InputSizeKadrs);
}

std::int32_t ComAdc::InputCountKadrs() noexcept {
  return Ask(&::IADC3::get_InputCountKadrs);
}

std::int16_t ComAdc::InputCountChannels() noexcept {
  return Ask(&::IADC3::get_InputCountChannels);
}

std::vector<std::int16_t> ComAdc::InputChannels() noexcept {
  return TakeCodes(Ask(&::IADC3::get_InputChannels));
}

void ComAdc::InputChannels(const std::vector<std::int16_t>& ChTable) noexcept {
  SAFEARRAY* array = SafeArrayCreateVector(VT_I2, 0, static_cast<ULONG>(ChTable.size()));
  if (!array) return;
  std::copy(ChTable.begin(), ChTable.end(), static_cast<short*>(array->pvData));
  adc_->put_InputChannels(&array);
  SafeArrayDestroy(array);
}

std::int16_t ComAdc::GetChannel(std::int16_t Index) noexcept {
  return Ask(&::IADC3::GetChannel, Index);
}

std::vector<std::int16_t> ComAdc::GetKadr() noexcept {
  return TakeCodes(Ask(&::IADC3::GetKadr));
}

bool ComAdc::StartRecord() noexcept {
  return Ask(&::IADC3::StartRecord) != VARIANT_FALSE;
}

void ComAdc::StopRecord() noexcept {
  adc_->StopRecord();
}

/// The array's first index is the position in a frame, so its upper bound gives the number of columns.
FrameTable ComAdc::InputData() noexcept {
  SAFEARRAY* const array = Ask(&::IADC3::get_InputData);
  LONG last = -1;
  if (array) SafeArrayGetUBound(array, 1, &last);
  return {static_cast<std::int16_t>(last + 1), TakeCodes(array)};
}

std::int32_t ComAdc::GetData(std::int16_t* Data, std::int32_t& DataSize,
                             std::int32_t& InputCountData) noexcept {
  long size = DataSize, waiting = 0, frames = 0;
  if (FAILED(adc_->GetData(Data, &size, &waiting, &frames))) size = frames = 0;
  DataSize = size;
  InputCountData = waiting;
  return frames;
}

std::string ComAdc::LastError() noexcept {
  return TakeText(Ask(&::IADC3::get_LastError));
}

bool ComAdc::ShowSetting() noexcept {
  return Ask(&::IADC3::ShowSetting) != VARIANT_FALSE;
}

}  // namespace halden::host
