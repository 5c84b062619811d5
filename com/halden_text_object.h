#pragma once

#include <memory>

#include "com/adc3_vtable.h"
#include "com/component.h"
#include "com/member_names.h"
#include "model/IADC3.h"

namespace halden::com {

/// An object of the component's class. Converts between COM's types and those of the driver. Calls by name
/// reach the members of both interfaces through either one, because a script only gets IDispatch and can't
/// query for IADC3.
class HaldenTextObject final : public ADC3Vtable, public HaldenTextClass {
 public:
  /// Creates an object with one reference. Null if out of memory.
  static HaldenTextObject* Create() noexcept;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references_)); }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* arguments,
                                   VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) override;

  HRESULT STDMETHODCALLTYPE GetADC3(IUnknown** result) override;

  HRESULT STDMETHODCALLTYPE get_ADCName(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE get_Resolution(unsigned char* result) override;
  HRESULT STDMETHODCALLTYPE get_ChannelsCount(short* result) override;
  HRESULT STDMETHODCALLTYPE get_RateMax(float* result) override;
  HRESULT STDMETHODCALLTYPE get_Ranges(SAFEARRAY** result) override;
  HRESULT STDMETHODCALLTYPE get_Detected(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE Test(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE get_BasePort(short* result) override;
  HRESULT STDMETHODCALLTYPE get_Busy(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE get_ChannelName(short* Index, BSTR* result) override;
  HRESULT STDMETHODCALLTYPE get_ChannelRange(short* Index, short* result) override;
  HRESULT STDMETHODCALLTYPE put_ChannelRange(short* Index, short* RangeIndex) override;
  HRESULT STDMETHODCALLTYPE get_ChannelUnitScale(short* Index, float* result) override;
  HRESULT STDMETHODCALLTYPE get_ChannelUnitOffset(short* Index, float* result) override;
  HRESULT STDMETHODCALLTYPE get_ChannelUnitName(short* Index, BSTR* result) override;
  HRESULT STDMETHODCALLTYPE get_Rate(float* result) override;
  HRESULT STDMETHODCALLTYPE put_Rate(float* sRate) override;
  HRESULT STDMETHODCALLTYPE put_InputSizeData(long* NewSize) override;
  HRESULT STDMETHODCALLTYPE get_InputSizeData(long* result) override;
  HRESULT STDMETHODCALLTYPE get_InputCountData(long* result) override;
  HRESULT STDMETHODCALLTYPE get_InputSizeKadrs(long* result) override;
  HRESULT STDMETHODCALLTYPE get_InputCountKadrs(long* result) override;
  HRESULT STDMETHODCALLTYPE get_InputCountChannels(short* result) override;
  HRESULT STDMETHODCALLTYPE get_InputChannels(SAFEARRAY** result) override;
  HRESULT STDMETHODCALLTYPE put_InputChannels(SAFEARRAY** ChTable) override;
  HRESULT STDMETHODCALLTYPE GetChannel(short* Index, short* result) override;
  HRESULT STDMETHODCALLTYPE GetKadr(SAFEARRAY** result) override;
  HRESULT STDMETHODCALLTYPE StartRecord(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE StopRecord() override;
  HRESULT STDMETHODCALLTYPE get_InputData(SAFEARRAY** result) override;
  HRESULT STDMETHODCALLTYPE GetData(short* Data, long* DataSize, long* InputCountData, long* result) override;
  HRESULT STDMETHODCALLTYPE get_LastError(BSTR* result) override;
  HRESULT STDMETHODCALLTYPE ShowSetting(VARIANT_BOOL* result) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IDispatch** result) override;

 private:
  explicit HaldenTextObject(std::shared_ptr<halden::IADC3> adc) : adc_(std::move(adc)) {}
  ~HaldenTextObject() = default;

  KeepLoaded keep_;  // first, so that it is released last
  std::shared_ptr<halden::IADC3> adc_;
  MemberNames names_;
  LONG references_ = 1;
};

}  // namespace halden::com
