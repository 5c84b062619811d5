#include "model/Halden_Text.h"

#include <algorithm>
#include <string_view>

#include "model/frame_ring.h"
#include "model/ranges.h"

namespace halden {

namespace {

constexpr std::string_view kClassName = "Halden_Text";
constexpr std::uint32_t kStopWait = 50;  // milliseconds

/// Returns the result of `answer`, or an empty result if it throws: no exception may reach the host, and the
/// only one that there can be is std::bad_alloc.
template <class Answer>
auto OrEmpty(Answer answer) noexcept -> decltype(answer()) {
  try {
    return answer();
  } catch (...) {
    return decltype(answer())();
  }
}

}  // namespace

std::string Halden_Text::DriverName() {
  std::string name(kClassName);
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

Halden_Text::Halden_Text(Store& store, Platform& platform, DriverServices& services)
    : store_(store), platform_(platform), services_(services) {
  store_.ADCState.ADCName = DriverName();
  if (store_.InstanceCount < 1) {
    // In this order: the key fixes DriverName, which the form's window shows.
    services_.InitSettingsKey(store_.ADCState.ADCName);
    InitRanges(store_, platform_.number_rules);
    CountKadrs(store_);  // 0 if frames of another width were left over: they can't be read any more
    services_.LoadForm();
  }
  ++store_.InstanceCount;
}

Halden_Text::~Halden_Text() {
  StopRecord();
  if (store_.InstanceCount < 2) services_.UnloadForm();
  --store_.InstanceCount;
}

std::string Halden_Text::ADCName() noexcept {
  return OrEmpty([&] { return store_.ADCState.ADCName; });
}

std::uint8_t Halden_Text::Resolution() noexcept {
  return store_.ADCState.Resolution;
}

std::int16_t Halden_Text::ChannelsCount() noexcept {
  return store_.ADCState.ChannelsCount;
}

float Halden_Text::RateMax() noexcept {
  return store_.InputState.RateMax;
}

std::vector<std::string> Halden_Text::Ranges() noexcept {
  return OrEmpty([&] {
    std::vector<std::string> texts;
    for (const std::string& text : store_.ADCState.Ranges) {
      // The store has the byte 177 for the sign, which is another character in some code pages (932, 949).
      const bool has_sign = text.starts_with('\xB1');
      texts.push_back((has_sign ? "\u00B1" : "") + platform_.number_rules.AnsiToUtf8(text.substr(has_sign)));
    }
    return texts;
  });
}

bool Halden_Text::Detected() noexcept {
  return store_.ADCState.ChannelsCount >= 1;
}

bool Halden_Text::Test() noexcept {
  if (Detected()) return true;
  // Detection serves the message queue, so the host may release its last reference from inside the call. The
  // object must live until the call returns.
  const auto self = weak_from_this().lock();
  return services_.DetectPort();
}

std::int16_t Halden_Text::BasePort() noexcept {
  return store_.BasePort;
}

bool Halden_Text::Busy() noexcept {
  return store_.Busy;
}

std::string Halden_Text::ChannelName(std::int16_t Index) noexcept {
  if (RowOfChannel(store_, Index) < 0) return {};
  return OrEmpty([&] { return "Column" + std::to_string(Index + 1); });
}

std::int16_t Halden_Text::ChannelRange(std::int16_t Index) noexcept {
  return std::max(RowOfChannel(store_, Index), std::int16_t{0});
}

void Halden_Text::ChannelRange(std::int16_t Index, std::int16_t RangeIndex) noexcept {
  SetChannelRange(store_, Index, RangeIndex);
}

float Halden_Text::ChannelUnitScale(std::int16_t Index) noexcept {
  const std::int16_t row = RowOfChannel(store_, Index);
  return row < 0 ? 0 : store_.ADCState.UnitScale[row];
}

float Halden_Text::ChannelUnitOffset(std::int16_t Index) noexcept {
  const std::int16_t row = RowOfChannel(store_, Index);
  return row < 0 ? 0 : store_.ADCState.UnitOffset[row];
}

std::string Halden_Text::ChannelUnitName(std::int16_t) noexcept {
  return {};
}

float Halden_Text::Rate() noexcept {
  return store_.InputState.Rate;
}

void Halden_Text::Rate(float) noexcept {}

void Halden_Text::InputSizeData(std::int32_t NewSize) noexcept {
  store_.InputState.RequestedSize = NewSize;
}

std::int32_t Halden_Text::InputSizeData() noexcept {
  return store_.InputState.InputSizeData;
}

std::int32_t Halden_Text::InputCountData() noexcept {
  return CodesOf(store_, store_.InputState.InputCountKadrs);
}

std::int32_t Halden_Text::InputSizeKadrs() noexcept {
  return store_.InputState.InputSizeKadrs;
}

std::int32_t Halden_Text::InputCountKadrs() noexcept {
  return store_.InputState.InputCountKadrs;
}

std::int16_t Halden_Text::InputCountChannels() noexcept {
  return store_.InputState.InputCountChannels;
}

std::vector<std::int16_t> Halden_Text::InputChannels() noexcept {
  return OrEmpty([&] { return store_.InputState.InputChannels; });
}

void Halden_Text::InputChannels(const std::vector<std::int16_t>& ChTable) noexcept {
  OrEmpty([&] { SetInputChannels(store_, ChTable); });
}

std::int16_t Halden_Text::GetChannel(std::int16_t Index) noexcept {
  return halden::GetChannel(store_, Index);
}

std::vector<std::int16_t> Halden_Text::GetKadr() noexcept {
  return OrEmpty([&] { return halden::GetKadr(store_); });
}

bool Halden_Text::StartRecord() noexcept {
  if (store_.Busy) return false;
  store_.ADCState.LastError.clear();
  // Written so that a rate of NaN is refused, too.
  if (!(store_.InputState.Rate > 0)) return Refuse("The Sampling Rate is not selected!");
  // SetBufferSize makes the width of an empty table 1, so the count alone doesn't show that it is empty.
  if (store_.InputState.InputCountChannels < 1 || store_.InputState.InputChannels.empty())
    return Refuse("Any channel is not selected!");
  store_.Busy = OrEmpty([&] { return ResetBuffer(store_); });
  return store_.Busy;
}

/// The wait is part of the contract. It serves no messages.
void Halden_Text::StopRecord() noexcept {
  store_.Busy = false;
  platform_.clock.Sleep(kStopWait);
}

FrameTable Halden_Text::InputData() noexcept {
  return OrEmpty([&] { return halden::InputData(store_); });
}

std::int32_t Halden_Text::GetData(std::int16_t* Data, std::int32_t& DataSize,
                                  std::int32_t& InputCountData) noexcept {
  return halden::GetData(store_, Data, DataSize, InputCountData);
}

std::string Halden_Text::LastError() noexcept {
  return OrEmpty([&] { return store_.ADCState.LastError; });
}

bool Halden_Text::ShowSetting() noexcept {
  const auto self = weak_from_this().lock();  // as in Test
  if (!store_.Busy) services_.ShowForm();
  return false;
}

std::shared_ptr<IADC3> Halden_Text::Parent() noexcept {
  return weak_from_this().lock();
}

bool Halden_Text::Refuse(const char* reason) noexcept {
  store_.ADCState.LastError = reason;  // can't throw: InitRanges has reserved room for every reason
  return false;
}

}  // namespace halden
