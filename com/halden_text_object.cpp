#include "com/halden_text_object.h"

#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "com/automation.h"

namespace halden::com {
namespace {

/// Stores a result for the host. A null pointer as `value` means out of memory and gives E_OUTOFMEMORY.
template <class Out, class In>
HRESULT Give(Out* result, const In& value) {
  if constexpr (std::is_same_v<In, bool>) {
    *result = value ? VARIANT_TRUE : VARIANT_FALSE;
  } else {
    *result = value;
  }
  if constexpr (std::is_pointer_v<Out>) return *result ? S_OK : E_OUTOFMEMORY;
  return S_OK;
}

HRESULT Give(BSTR* result, const std::string& text) {
  return Give<BSTR, BSTR>(result, NewString(text));
}

HRESULT Give(SAFEARRAY** result, const std::vector<short>& codes) {
  return Give<SAFEARRAY*, SAFEARRAY*>(result, NewCodeArray(codes));
}

/// Holds an extra reference during a call. Test and ShowSetting dispatch messages, and the host's code that
/// runs then may release its last reference.
class Hold {
 public:
  explicit Hold(ADC3Vtable* object) : object_(object) { object_->AddRef(); }
  ~Hold() { object_->Release(); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  ADC3Vtable* object_;
};

}  // namespace

HaldenTextObject* HaldenTextObject::Create() noexcept {
  auto adc = CreateDriverObject();
  return adc ? new (std::nothrow) HaldenTextObject(std::move(adc)) : nullptr;
}

HRESULT HaldenTextObject::QueryInterface(REFIID id, void** result) {
  if (!result) return E_POINTER;
  *result = nullptr;
  if (id == IID_IUnknown || id == IID_IDispatch || id == kHaldenTextId) {
    *result = static_cast<HaldenTextClass*>(this);
  } else if (id == kADC3Id) {
    *result = static_cast<ADC3Vtable*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG HaldenTextObject::Release() {
  const LONG left = InterlockedDecrement(&references_);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT HaldenTextObject::GetTypeInfoCount(UINT* count) {
  if (!count) return E_POINTER;
  *count = names_.TypeInfo() ? 1 : 0;
  return S_OK;
}

HRESULT HaldenTextObject::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  if (!info) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  if (!names_.TypeInfo()) return TYPE_E_LIBNOTREGISTERED;
  *info = names_.TypeInfo();
  (*info)->AddRef();
  return S_OK;
}

HRESULT HaldenTextObject::GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!names || !ids) return E_POINTER;
  return names_.GetIds(names, count, ids);
}

HRESULT HaldenTextObject::Invoke(DISPID id, REFIID reserved, LCID, WORD flags, DISPPARAMS* arguments,
                                 VARIANT* result, EXCEPINFO*, UINT* bad_argument) {
  if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!arguments) return E_POINTER;
  return names_.Invoke(*this, id, flags, *arguments, result, bad_argument);
}

HRESULT HaldenTextObject::GetADC3(IUnknown** result) {
  return QueryInterface(IID_IUnknown, reinterpret_cast<void**>(result));
}

HRESULT HaldenTextObject::get_ADCName(BSTR* result) {
  return result ? Give(result, adc_->ADCName()) : E_POINTER;
}

HRESULT HaldenTextObject::get_Resolution(unsigned char* result) {
  return result ? Give(result, adc_->Resolution()) : E_POINTER;
}

HRESULT HaldenTextObject::get_ChannelsCount(short* result) {
  return result ? Give(result, adc_->ChannelsCount()) : E_POINTER;
}

HRESULT HaldenTextObject::get_RateMax(float* result) {
  return result ? Give(result, adc_->RateMax()) : E_POINTER;
}

HRESULT HaldenTextObject::get_Ranges(SAFEARRAY** result) {
  return result ? Give(result, NewStringArray(adc_->Ranges())) : E_POINTER;
}

HRESULT HaldenTextObject::get_Detected(VARIANT_BOOL* result) {
  return result ? Give(result, adc_->Detected()) : E_POINTER;
}

HRESULT HaldenTextObject::Test(VARIANT_BOOL* result) {
  if (!result) return E_POINTER;
  const Hold hold(this);
  return Give(result, adc_->Test());
}

HRESULT HaldenTextObject::get_BasePort(short* result) {
  return result ? Give(result, adc_->BasePort()) : E_POINTER;
}

HRESULT HaldenTextObject::get_Busy(VARIANT_BOOL* result) {
  return result ? Give(result, adc_->Busy()) : E_POINTER;
}

HRESULT HaldenTextObject::get_ChannelName(short* Index, BSTR* result) {
  return Index && result ? Give(result, adc_->ChannelName(*Index)) : E_POINTER;
}

HRESULT HaldenTextObject::get_ChannelRange(short* Index, short* result) {
  return Index && result ? Give(result, adc_->ChannelRange(*Index)) : E_POINTER;
}

HRESULT HaldenTextObject::put_ChannelRange(short* Index, short* RangeIndex) {
  if (!Index || !RangeIndex) return E_POINTER;
  adc_->ChannelRange(*Index, *RangeIndex);
  return S_OK;
}

HRESULT HaldenTextObject::get_ChannelUnitScale(short* Index, float* result) {
  return Index && result ? Give(result, adc_->ChannelUnitScale(*Index)) : E_POINTER;
}

HRESULT HaldenTextObject::get_ChannelUnitOffset(short* Index, float* result) {
  return Index && result ? Give(result, adc_->ChannelUnitOffset(*Index)) : E_POINTER;
}

HRESULT HaldenTextObject::get_ChannelUnitName(short* Index, BSTR* result) {
  return Index && result ? Give(result, adc_->ChannelUnitName(*Index)) : E_POINTER;
}

HRESULT HaldenTextObject::get_Rate(float* result) {
  return result ? Give(result, adc_->Rate()) : E_POINTER;
}

HRESULT HaldenTextObject::put_Rate(float* sRate) {
  if (!sRate) return E_POINTER;
  adc_->Rate(*sRate);
  return S_OK;
}

HRESULT HaldenTextObject::put_InputSizeData(long* NewSize) {
  if (!NewSize) return E_POINTER;
  adc_->InputSizeData(*NewSize);
  return S_OK;
}

HRESULT HaldenTextObject::get_InputSizeData(long* result) {
  return result ? Give(result, adc_->InputSizeData()) : E_POINTER;
}

HRESULT HaldenTextObject::get_InputCountData(long* result) {
  return result ? Give(result, adc_->InputCountData()) : E_POINTER;
}

HRESULT HaldenTextObject::get_InputSizeKadrs(long* result) {
  return result ? Give(result, adc_->InputSizeKadrs()) : E_POINTER;
}

HRESULT HaldenTextObject::get_InputCountKadrs(long* result) {
  return result ? Give(result, adc_->InputCountKadrs()) : E_POINTER;
}

HRESULT HaldenTextObject::get_InputCountChannels(short* result) {
  return result ? Give(result, adc_->InputCountChannels()) : E_POINTER;
}

HRESULT HaldenTextObject::get_InputChannels(SAFEARRAY** result) {
  return result ? Give(result, adc_->InputChannels()) : E_POINTER;
}

HRESULT HaldenTextObject::put_InputChannels(SAFEARRAY** ChTable) {
  if (!ChTable) return E_POINTER;
  std::vector<short> channels;
  const HRESULT read = ReadCodeArray(*ChTable, &channels);
  if (SUCCEEDED(read)) adc_->InputChannels(channels);
  return read;
}

HRESULT HaldenTextObject::GetChannel(short* Index, short* result) {
  return Index && result ? Give(result, adc_->GetChannel(*Index)) : E_POINTER;
}

HRESULT HaldenTextObject::GetKadr(SAFEARRAY** result) {
  return result ? Give(result, adc_->GetKadr()) : E_POINTER;
}

HRESULT HaldenTextObject::StartRecord(VARIANT_BOOL* result) {
  return result ? Give(result, adc_->StartRecord()) : E_POINTER;
}

HRESULT HaldenTextObject::StopRecord() {
  adc_->StopRecord();
  return S_OK;
}

HRESULT HaldenTextObject::get_InputData(SAFEARRAY** result) {
  if (!result) return E_POINTER;
  // Allocate the array before taking the frames, because frames that InputData has taken can't be put back.
  // No line is parsed in between, so the size doesn't change.
  const auto rows = static_cast<ULONG>(adc_->InputCountKadrs()) + 1;
  *result = NewCodeTable(static_cast<ULONG>(adc_->InputCountChannels()), rows);
  if (!*result) return E_OUTOFMEMORY;
  const FrameTable table = adc_->InputData();
  if (table.Rows() > 0) {
    std::memcpy((*result)->pvData, table.Codes.data(), table.Codes.size() * sizeof(short));
    return S_OK;
  }
  SafeArrayDestroy(std::exchange(*result, nullptr));
  return E_OUTOFMEMORY;
}

HRESULT HaldenTextObject::GetData(short* Data, long* DataSize, long* InputCountData, long* result) {
  if (!Data || !DataSize || !InputCountData || !result) return E_POINTER;
  std::int32_t size = *DataSize, waiting = 0;
  *result = adc_->GetData(Data, size, waiting);
  *DataSize = size;
  *InputCountData = waiting;
  return S_OK;
}

HRESULT HaldenTextObject::get_LastError(BSTR* result) {
  return result ? Give(result, adc_->LastError()) : E_POINTER;
}

HRESULT HaldenTextObject::ShowSetting(VARIANT_BOOL* result) {
  if (!result) return E_POINTER;
  const Hold hold(this);
  return Give(result, adc_->ShowSetting());
}

HRESULT HaldenTextObject::get_Parent(IDispatch** result) {
  return QueryInterface(IID_IDispatch, reinterpret_cast<void**>(result));
}

}  // namespace halden::com
