#pragma once

namespace halden {

/// The windows of the driver. A system without a screen has nothing to show them on.
class Toolkit {
 public:
  virtual ~Toolkit() = default;
};

}  // namespace halden
