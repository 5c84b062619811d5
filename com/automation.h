#pragma once

#include <string>
#include <vector>
#include <windows.h>

namespace halden::com {

// New strings and arrays, which the caller owns and hands to the host. Null if out of memory.

BSTR NewString(const std::string& utf8) noexcept;
SAFEARRAY* NewStringArray(const std::vector<std::string>& texts) noexcept;
SAFEARRAY* NewCodeArray(const std::vector<short>& codes) noexcept;
/// A table of zeros with two indexes: first the column, then the row. The columns of a row are adjacent in
/// memory.
SAFEARRAY* NewCodeTable(ULONG columns, ULONG rows) noexcept;

/// Copies the codes from one of the host's arrays. DISP_E_TYPEMISMATCH unless its elements are 16-bit
/// numbers, DISP_E_BADINDEX unless it has one index that starts at 0, E_INVALIDARG if it is null, has no
/// storage, or has more than 32767 elements.
HRESULT ReadCodeArray(SAFEARRAY* array, std::vector<short>* codes) noexcept;

/// The VARIANT type of a parameter of type T.
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

/// Converts an array that a script passes to an array of 16-bit numbers with the same bounds. It may be an
/// array of VARIANTs or of another type of number, or a JScript array, which is an object. Puts the result
/// into `to`, which must be empty before and be cleared by the caller afterwards, on failure too.
/// DISP_E_OVERFLOW if a number doesn't fit into 16 bits, DISP_E_TYPEMISMATCH for a fraction, for what isn't a
/// number and for anything else than an array, DISP_E_BADINDEX for an array with more than one index.
HRESULT ConvertArray(const VARIANT& from, VARIANT* to) noexcept;

/// An argument of a call by name, converted to what the member takes: a pointer to a T. Owns the converted
/// copy, if there is one.
template <class T>
class Argument {
 public:
  explicit Argument(VARIANT& given) {
    VARIANT* variant = &given;
    // Visual Basic passes an untyped variable as a reference to a VARIANT.
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

  /// S_OK, or why the argument can't be converted; Pointer() is null then.
  HRESULT Result() const { return result_; }
  /// Points to the caller's variable if that has exactly this type, so that the member can change it;
  /// otherwise to a converted copy.
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
