#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <windows.h>

namespace halden::com {

class HaldenTextObject;

/// Calls members by name, for script hosts (IDispatch).
///
/// The identifiers of the members are those of the contract's type library if that is registered on the
/// machine. If not, they are the component's own, and a host must ask for them by name instead of relying on
/// their values.
class MemberNames {
 public:
  MemberNames() = default;
  ~MemberNames();
  MemberNames(const MemberNames&) = delete;
  MemberNames& operator=(const MemberNames&) = delete;

  /// The description of IADC3 in the contract's type library, or the component's own description of the
  /// members if that isn't registered. Null if the system can't load either. Owned by this object.
  ITypeInfo* TypeInfo();
  /// As IDispatch::GetIDsOfNames: case doesn't matter. Parameters have no names: DISP_E_UNKNOWNNAME.
  HRESULT GetIds(LPOLESTR* names, UINT count, DISPID* ids);
  /// As IDispatch::Invoke. Arguments are converted to the types of the member's parameters. An argument that
  /// is passed by reference in exactly that type is passed on, so that the member can change the host's
  /// variable. `result` and `bad_argument` may be null.
  HRESULT Invoke(HaldenTextObject& object, DISPID id, WORD flags, DISPPARAMS& arguments, VARIANT* result,
                 UINT* bad_argument);

 private:
  static constexpr std::size_t kRows =
      35;  // 34 members of IADC3, whose gets and sets count apart, and GetADC3

  /// The identifier of each row of the table of members. Looked up on first use.
  const std::array<DISPID, kRows>& Ids();

  ITypeInfo* type_info_ = nullptr;
  std::optional<std::array<DISPID, kRows>> ids_;
};

}  // namespace halden::com
