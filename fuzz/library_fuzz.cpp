// The input is everything that the device library returns: statuses, handles, counts, list entries and bytes.
// The driver must survive all of it.

#include <cstring>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"
#include "fuzz/choices.h"

namespace halden {
namespace {

/// A device library that answers with the input's bytes. Like the real one, it never stores more than the
/// caller has room for.
class AnyD2xx : public D2xx {
 public:
  explicit AnyD2xx(Choices& choices) : choices_(choices) {}

  FT_STATUS FT_CreateDeviceInfoList(std::int32_t* count) override { return Answer(count); }
  FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* nodes, std::int32_t* count) override {
    if (*count > 0) {
      const std::string bytes = choices_.Text(sizeof *nodes);
      std::memcpy(static_cast<void*>(nodes), bytes.data(), bytes.size());
    }
    return Answer(count);
  }
  FT_STATUS FT_ListDevices(std::int32_t* number, void*, std::uint32_t) override { return Answer(number); }
  FT_STATUS FT_Open(std::int32_t index, FT_HANDLE* handle) override {
    constexpr std::int32_t kMostDevices = 3;  // each silent device costs seconds of waiting
    if (index >= kMostDevices) return 2;
    const FT_STATUS status = Answer(handle);
    if (status == FT_OK && *handle != -1) open_ = *handle;
    return status;
  }
  FT_STATUS FT_Close(FT_HANDLE handle) override {
    Demand(handle == -1 || handle == open_, "only the open device is closed");
    open_ = -1;
    return Status();
  }
  FT_STATUS FT_SetBaudRate(FT_HANDLE, std::uint32_t) override { return Status(); }
  FT_STATUS FT_SetDataCharacteristics(FT_HANDLE, std::uint8_t, std::uint8_t, std::uint8_t) override {
    return Status();
  }
  FT_STATUS FT_Read(FT_HANDLE, void* buffer, std::uint32_t count, std::uint32_t* read) override {
    const std::string bytes = choices_.Text(count);
    std::memcpy(buffer, bytes.data(), bytes.size());
    *read = static_cast<std::uint32_t>(bytes.size());
    return Answer(read, 1);
  }
  FT_STATUS FT_Write(FT_HANDLE, const void*, std::uint32_t, std::uint32_t*) override {
    Demand(false, "nothing is written to a device");
    return FT_OK;
  }
  FT_STATUS FT_ResetDevice(FT_HANDLE) override { return Status(); }
  FT_STATUS FT_ResetPort(FT_HANDLE) override { return Status(); }
  FT_STATUS FT_GetComPortNumber(FT_HANDLE, std::int32_t* number) override { return Answer(number); }
  FT_STATUS FT_SetDtr(FT_HANDLE) override { return Status(); }
  FT_STATUS FT_ClrDtr(FT_HANDLE) override { return Status(); }
  FT_STATUS FT_SetRts(FT_HANDLE) override { return Status(); }
  FT_STATUS FT_ClrRts(FT_HANDLE) override { return Status(); }
  FT_STATUS FT_SetLatencyTimer(FT_HANDLE, std::uint8_t) override { return Status(); }
  FT_STATUS FT_GetQueueStatus(FT_HANDLE, std::uint32_t* rx_bytes) override { return Answer(rx_bytes); }
  FT_STATUS FT_GetStatus(FT_HANDLE, std::uint32_t* rx_bytes, std::uint32_t*, std::uint32_t*) override {
    return Answer(rx_bytes);
  }
  FT_STATUS FT_Purge(FT_HANDLE, std::uint32_t) override { return Status(); }

  FT_HANDLE open() const { return open_; }

 private:
  FT_STATUS Status() { return choices_.Below(8) == 1 ? 18 : FT_OK; }
  /// Usually a small count, sometimes any.
  /// `ordinary` is not 0 if *count already holds a sensible value.
  template <class Count>
  FT_STATUS Answer(Count* count, int ordinary = 0) {
    const int kind = choices_.Below(8);
    if (kind == 0 || ordinary == 0) *count = static_cast<Count>(choices_.Byte() % 200);
    if (kind == 1) *count = static_cast<Count>(choices_.Number());
    return kind == 2 ? 18 : FT_OK;
  }

  Choices& choices_;
  FT_HANDLE open_ = -1;
};

/// Up to three lives of one driver. Each detects a device, records a few ticks and is released.
void Run(Choices choices) {
  SimPlatform sim({});
  AnyD2xx library(choices);
  Platform& machine = sim.platform();
  Platform platform{library,       machine.comm_config, machine.registry, machine.clock, machine.number_rules,
                    machine.texts, machine.toolkit};
  Driver driver(platform);
  for (int life = 0; life < 3 && choices.Left(); ++life) {
    std::shared_ptr<IADC3> adc = driver.CreateObject();
    const bool found = adc->Test();
    Demand(found == (library.open() != -1), "a device is open exactly if Test found one");
    Demand(found == (adc->ChannelsCount() > 0), "a device that was found has channels");
    adc->InputSizeData(1024);
    adc->InputChannels({0, 1});
    adc->StartRecord();
    for (int tick = 0; tick < 4 && choices.Left(); ++tick) sim.clock().RunFor(50);
    Demand(adc->InputCountKadrs() <= adc->InputSizeKadrs(),
           "the ring holds no more frames than it has slots");
    adc->InputData();
    adc.reset();
    Demand(library.open() == -1, "the last release closes the device");
  }
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Run({data, size});
  return 0;
}
