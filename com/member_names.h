#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <windows.h>

namespace halden::com {

class HaldenTextObject;

/// The members of an object by their names, for hosts that know no more than that. The identifiers are those
/// of the contract's type library where the machine has that registered. Where it has not, they are
/// identifiers of our own, which hold for this component alone: a host is to ask for them by name.
class MemberNames {
 public:
  MemberNames() = default;
  ~MemberNames();
  MemberNames(const MemberNames&) = delete;
  MemberNames& operator=(const MemberNames&) = delete;

  /// The description of IADC3 in the contract's library, null where that isn't registered. Not the caller's.
  ITypeInfo* TypeInfo();
  /// As IDispatch::GetIDsOfNames. Parameters have no names.
  HRESULT GetIds(LPOLESTR* names, UINT count, DISPID* ids);
  /// As IDispatch::Invoke. Arguments are converted to what the member takes; one that is passed by reference
  /// in just that type is handed on as it is. Results and bad argument may be null.
  HRESULT Invoke(HaldenTextObject& object, DISPID id, WORD flags, DISPPARAMS& arguments, VARIANT* result,
                 UINT* bad_argument);

 private:
  static constexpr std::size_t kRows = 35;  // of the table: a property that can be set has two

  const std::array<DISPID, kRows>& Ids();

  ITypeInfo* type_info_ = nullptr;
  std::optional<std::array<DISPID, kRows>> ids_;  // nothing until they are asked for
};

}  // namespace halden::com
