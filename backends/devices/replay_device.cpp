#include "backends/devices/replay_device.h"

#include <algorithm>
#include <utility>

namespace halden {

namespace {

constexpr std::uint32_t kUsualBaud = 115200;

DeviceIdentity IdentityOf(const std::string& serial) {
  DeviceIdentity identity;
  identity.serial = serial;
  identity.description = kReplayedDescription;
  return identity;
}

}  // namespace

ReplayDevice::ReplayDevice(Clock& clock, const ReplayDeviceSettings& settings, const std::string& serial,
                           std::string bytes)
    : PacedDevice(
          clock, IdentityOf(serial), settings.baud.value_or(kUsualBaud),
          {settings.rate.value_or(kUnbounded),
           settings.rate && !settings.baud ? kUnbounded : settings.baud.value_or(kUsualBaud) / kBitsPerByte}),
      bytes_(std::move(bytes)),
      loop_(settings.loop) {}

std::string ReplayDevice::OnOpen() {
  place_ = 0;
  StartLines(Milliseconds(), 0);
  return "";
}

std::string_view ReplayDevice::NextLine(std::uint64_t) {
  if (loop_ && place_ == bytes_.size()) place_ = 0;
  const std::size_t start = place_;
  place_ = std::min(bytes_.find_first_of("\r\n", start), bytes_.size());
  if (bytes_.compare(place_, 2, "\r\n") == 0) {
    place_ += 2;
  } else if (place_ < bytes_.size()) {
    place_ += 1;
  }
  return std::string_view(bytes_).substr(start, place_ - start);
}

}  // namespace halden
