#pragma once

#include <windows.h>

namespace halden::com {

template <class T>
inline constexpr VARTYPE kVariantType = VT_EMPTY;
template <>
inline constexpr VARTYPE kVariantType<short> = VT_I2;
template <>
inline constexpr VARTYPE kVariantType<long> = VT_I4;
template <>
inline constexpr VARTYPE kVariantType<float> = VT_R4;
template <>
inline constexpr VARTYPE kVariantType<SAFEARRAY*> = VT_ARRAY | VT_I2;

/// A new array of 16-bit numbers with the bounds and values of a script's array, whose elements are VARIANTs.
/// It is in `to`, which is empty. DISP_E_TYPEMISMATCH for any other array, and DISP_E_BADINDEX for one with
/// more than one index.
HRESULT ConvertArray(const VARIANT& from, VARIANT* to) noexcept;

/// An argument of a by-name call, as the member takes it: a pointer to a T.
template <class T>
class Argument {
 public:
  explicit Argument(VARIANT& given) {
    VARIANT* variant = &given;
    if (variant->vt == (VT_BYREF | VT_VARIANT) && variant->pvarVal) variant = variant->pvarVal;
    if (variant->vt == (VT_BYREF | kVariantType<T>)) {
      pointer_ = static_cast<T*>(variant->byref);
    } else if (variant->vt == kVariantType<T>) {
      pointer_ = reinterpret_cast<T*>(&variant->byref);
    } else {
      Convert(*variant);
    }
  }
  ~Argument() { VariantClear(&own_); }
  Argument(const Argument&) = delete;
  Argument& operator=(const Argument&) = delete;

  /// Why there is no pointer.
  HRESULT Result() const { return result_; }
  /// To the caller's own variable where it has just this type, else to a converted copy.
  T* Pointer() const { return pointer_; }

 private:
  void Convert(VARIANT& variant) {
    if constexpr ((kVariantType<T> & VT_ARRAY) != 0) {
      result_ = ConvertArray(variant, &own_);
    } else {
      result_ = VariantChangeType(&own_, &variant, 0, kVariantType<T>);
    }
    if (SUCCEEDED(result_)) pointer_ = reinterpret_cast<T*>(&own_.byref);
  }

  VARIANT own_ = {};
  T* pointer_ = nullptr;
  HRESULT result_ = S_OK;
};

}  // namespace halden::com
