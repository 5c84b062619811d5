#include "sdk/capture_platform.h"

#include <utility>

namespace halden::sdk {
namespace {

std::vector<std::unique_ptr<Device>> ListOf(std::unique_ptr<Device> device) {
  std::vector<std::unique_ptr<Device>> list;
  list.push_back(std::move(device));
  return list;
}

}  // namespace

std::unique_ptr<CapturePlatform> CapturePlatform::Open(const std::string& path, LineEnd line_end,
                                                       std::unique_ptr<NumberRules> rules) {
  auto clock = std::make_unique<VirtualClock>();
  auto device = ReplayDevice::Open(*clock, {.path = path, .line_end = line_end}, "REPLAY1");
  if (!device) return nullptr;
  return std::unique_ptr<CapturePlatform>(
      new CapturePlatform(std::move(clock), std::move(device), std::move(rules)));
}

CapturePlatform::CapturePlatform(std::unique_ptr<VirtualClock> clock, std::unique_ptr<ReplayDevice> device,
                                 std::unique_ptr<NumberRules> rules)
    : clock_(std::move(clock)),
      device_(*device),
      number_rules_(std::move(rules)),
      library_(ListOf(std::move(device))) {}

}  // namespace halden::sdk
