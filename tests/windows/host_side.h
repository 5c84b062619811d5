#pragma once

#include <utility>
#include <windows.h>

namespace halden::windows_test {

/// What a host knows of the contract: its identifier, and the place of each member in the table.
inline constexpr IID kContract = {
    0x97B526A8, 0x3B46, 0x11D7, {0xB6, 0x88, 0xFD, 0xAE, 0xA8, 0x66, 0x8E, 0x28}};
enum Member {
  kADCName = 1,
  kResolution,
  kChannelsCount,
  kRateMax,
  kRanges,
  kDetected,
  kTest,
  kBasePort,
  kBusy,
  kChannelName,
  kChannelRange,
  kSetChannelRange,
  kChannelUnitScale,
  kChannelUnitOffset,
  kChannelUnitName,
  kRate,
  kSetRate,
  kSetInputSizeData,
  kInputSizeData,
  kInputCountData,
  kInputSizeKadrs,
  kInputCountKadrs,
  kInputCountChannels,
  kInputChannels,
  kSetInputChannels,
  kGetChannel,
  kGetKadr,
  kStartRecord,
  kStopRecord,
  kInputData,
  kGetData,
  kLastError,
  kShowSetting,
  kParent
};

/// A reference that is released with the object.
class Reference {
 public:
  Reference() = default;
  explicit Reference(IUnknown* object) : object_(object) {}
  Reference(Reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Reference& operator=(Reference&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Reference() { Reset(); }

  void Reset() {
    if (object_) std::exchange(object_, nullptr)->Release();
  }
  /// Somebody else has released it.
  void Forget() { object_ = nullptr; }
  explicit operator bool() const { return object_ != nullptr; }
  IUnknown* get() const { return object_; }

  Reference As(const IID& id) const {
    void* found = nullptr;
    if (object_) object_->QueryInterface(id, &found);
    return Reference(static_cast<IUnknown*>(found));
  }

  /// Calls the member at this place behind IDispatch.
  template <class... T>
  HRESULT Call(int member, T... arguments) const {
    using Function = HRESULT(STDMETHODCALLTYPE*)(void*, T...);
    constexpr int kBeforeFirst = 6;
    void* const* const table = *reinterpret_cast<void***>(object_);
    return reinterpret_cast<Function>(table[kBeforeFirst + member])(object_, arguments...);
  }
  /// What a member without arguments gives.
  template <class T>
  T Get(int member) const {
    T value{};
    return SUCCEEDED(Call(member, &value)) ? value : T{};
  }

 private:
  IUnknown* object_ = nullptr;
};

/// An apartment for as long as it lives.
class InApartment {
 public:
  InApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  ~InApartment() { CoUninitialize(); }
  InApartment(const InApartment&) = delete;
  InApartment& operator=(const InApartment&) = delete;
};

/// The default interface of a new object, by ProgID.
inline Reference NewObject() {
  CLSID id{};
  void* object = nullptr;
  if (SUCCEEDED(CLSIDFromProgID(L"Brackwell.Halden_Text", &id)))
    CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, &object);
  return Reference(static_cast<IUnknown*>(object));
}

/// Lets messages through, as a host's own loop does.
inline void Pump(DWORD milliseconds) {
  const DWORD start = GetTickCount();
  for (MSG message; GetTickCount() - start < milliseconds;
       MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT))
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

}  // namespace halden::windows_test
