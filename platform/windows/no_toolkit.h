#pragma once

#include "platform/toolkit.h"

namespace halden {

/// Nothing can be shown.
class NoToolkit final : public Toolkit {
 public:
  bool CanShow() const override { return false; }
  std::unique_ptr<Window> NewWindow(WindowSpec) override { return nullptr; }
  void ShowMessage(const std::string&, const std::string&, MessageIcon) override {}
  void SetPointer(Pointer) override {}
};

}  // namespace halden
