#pragma once

#include <windows.h>

namespace halden::com {

/// The contract between a data-acquisition host and its driver, as COM sees it: the order of the members is
/// the order of the virtual table. model/IADC3.h describes what each member does. Common to all of them:
/// - calls come on the thread that made the object;
/// - every parameter is passed by reference, and a null pointer gives E_POINTER and changes nothing;
/// - strings and arrays that are handed out belong to the host; Booleans are VARIANT_BOOL;
/// - an index out of range isn't an error: S_OK, with the result that model/IADC3.h gives for it.
struct ADC3Vtable : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_ADCName(BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Resolution(unsigned char* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelsCount(short* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_RateMax(float* result) = 0;
  /// Strings, 0 to 14.
  virtual HRESULT STDMETHODCALLTYPE get_Ranges(SAFEARRAY** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Detected(VARIANT_BOOL* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE Test(VARIANT_BOOL* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_BasePort(short* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Busy(VARIANT_BOOL* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelName(short* Index, BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelRange(short* Index, short* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_ChannelRange(short* Index, short* RangeIndex) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelUnitScale(short* Index, float* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelUnitOffset(short* Index, float* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ChannelUnitName(short* Index, BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Rate(float* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Rate(float* sRate) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_InputSizeData(long* NewSize) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InputSizeData(long* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InputCountData(long* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InputSizeKadrs(long* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InputCountKadrs(long* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InputCountChannels(short* result) = 0;
  /// 16-bit codes, indexed from 0, as in every array below.
  virtual HRESULT STDMETHODCALLTYPE get_InputChannels(SAFEARRAY** result) = 0;
  /// DISP_E_TYPEMISMATCH unless the elements are VT_I2, DISP_E_BADINDEX unless there is one index that starts
  /// at 0, E_INVALIDARG if the array has no storage or more than 32767 elements. The table stays as it was
  /// then.
  virtual HRESULT STDMETHODCALLTYPE put_InputChannels(SAFEARRAY** ChTable) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetChannel(short* Index, short* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetKadr(SAFEARRAY** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE StartRecord(VARIANT_BOOL* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE StopRecord() = 0;
  /// Indexed by the position in a frame, then by the row: row 0 is the channel table, row 1 the oldest frame.
  /// E_OUTOFMEMORY leaves the frames in the buffer.
  virtual HRESULT STDMETHODCALLTYPE get_InputData(SAFEARRAY** result) = 0;
  /// Data points to the first code of a buffer of the host's for at least *DataSize codes.
  virtual HRESULT STDMETHODCALLTYPE GetData(short* Data, long* DataSize, long* InputCountData,
                                            long* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_LastError(BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE ShowSetting(VARIANT_BOOL* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Parent(IDispatch** result) = 0;
};

/// `_Halden_Text`, the default interface of the class.
struct HaldenTextClass : IDispatch {
  /// The object itself, with one more reference. The host queries it for IADC3.
  virtual HRESULT STDMETHODCALLTYPE GetADC3(IUnknown** result) = 0;
};

inline constexpr wchar_t kProgId[] = L"Brackwell.Halden_Text";

inline constexpr CLSID kClassId = {
    0x292810AF, 0xC28E, 0x4FEE, {0xB0, 0xF3, 0x69, 0x3F, 0x6D, 0xFE, 0xC0, 0xEF}};
/// The type library in the component's resources. It doesn't define IADC3.
inline constexpr GUID kLibraryId = {
    0xD206948B, 0x0409, 0x4916, {0x8C, 0xB7, 0x8F, 0xFD, 0xF6, 0xBF, 0xB0, 0x0F}};
inline constexpr IID kHaldenTextId = {
    0x0058F2CF, 0x423E, 0x42C8, {0x86, 0xC9, 0xF2, 0x32, 0x3C, 0x00, 0x0C, 0x21}};

inline constexpr IID kADC3Id = {0x97B526A8, 0x3B46, 0x11D7, {0xB6, 0x88, 0xFD, 0xAE, 0xA8, 0x66, 0x8E, 0x28}};
/// The type library of the contract, version 1.0. The host's installation registers it.
inline constexpr GUID kADC3LibraryId = {
    0x97B526A7, 0x3B46, 0x11D7, {0xB6, 0x88, 0xFD, 0xAE, 0xA8, 0x66, 0x8E, 0x28}};
/// The description of the members in the component's second type library (members.idl).
inline constexpr GUID kMembersId = {
    0x0714907E, 0x7657, 0x49C1, {0x8C, 0x97, 0xA6, 0xD6, 0x54, 0x0A, 0xD6, 0x48}};

}  // namespace halden::com
