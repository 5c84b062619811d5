#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"

namespace halden {

/// A host that calls IADC3 at random, with pauses, beside a model of all that it can see: the ring is a
/// deque, the channels are two vectors. `Choices` decides: Below(bound) gives 0 to bound - 1, Number any
/// 32-bit number.
template <class Choices>
class HostModel {
 public:
  /// `longest_pause`: milliseconds, below 2^31.
  explicit HostModel(Choices& choices, std::uint32_t longest_pause = 1000)
      : choices_(choices), longest_pause_(longest_pause) {
    Create();
  }

  VirtualClock& Clock() { return sim_.clock(); }
  /// Whether the last object has just been released, with no frame left.
  bool Fresh() const { return fresh_; }
  /// Those that the host has read.
  std::uint64_t Frames() const { return frames_read_; }

  /// Makes one call. What the driver answered otherwise than the model; empty if nothing.
  std::string Step() {
    using Model = HostModel;
    static constexpr void (Model::*kCalls[])() = {
        &Model::Lines, &Model::Lines,   &Model::Lines,  &Model::Range,   &Model::Size,    &Model::Table,
        &Model::Start, &Model::Start,   &Model::Stop,   &Model::GetData, &Model::GetData, &Model::InputData,
        &Model::Live,  &Model::Release, &Model::Detect, &Model::Ignored, &Model::Pause,   &Model::Burst};
    wrong_.clear();
    fresh_ = false;
    (this->*kCalls[choices_.Below(static_cast<int>(std::size(kCalls)))])();
    Compare();
    return wrong_;
  }

 private:
  using Codes = std::vector<std::int16_t>;
  static constexpr int kChannels = 3;

  void Is(bool right, const char* what) {
    if (!right && wrong_.empty()) wrong_ = what;
  }

  void Create() {
    adc_ = driver_.CreateObject();
    detected_ = false;
    table_.assign(1, 0);
    if (std::exchange(width_, 1) != 1) ring_.clear();  // frames of a width that is no more are nobody's
    adc_->InputSizeData(requested_ = 1024);
  }

  /// Any release stops a recording, the last one forgets what was set. Behind it a device that was gone is
  /// found anew.
  void Release() {
    if (choices_.Below(4) != 0) {
      driver_.CreateObject();
      busy_ = false;
      return;
    }
    if (choices_.Below(2) == 0) {
      sim_.device(0).Unplug();
      Tick();
      sim_.device(0).Plug();
    }
    adc_.reset();
    fresh_ = ring_.empty();
    Is(!detected_ || sim_.calls(0).back() == "close", "the last release closes the device");
    busy_ = false;
    Create();
  }

  void Detect() {
    if (!detected_) {
      values_.assign(kChannels, 0);
      rows_.assign(kChannels, 0);
      // One pass later, since the opening serves the queue before it purges the device.
      sim_.clock().Post([this] {
        sim_.clock().Post([this] {
          for (int line = 0; line < 200; ++line) sim_.device(0).Feed("0;0;0\r");
        });
      });
    }
    Is(adc_->Test(), "Test");
    detected_ = true;
  }

  void Lines() {
    if (!detected_) return;
    for (int left = 1 + choices_.Below(choices_.Below(16) == 0 ? 1100 : 10); left > 0; --left) {
      std::string text;
      for (double& value : values_) {
        value = static_cast<int>(choices_.Number() % 6000) - 3000 + 0.5 * choices_.Below(2);
        text += (text.empty() ? "" : ";") + std::to_string(value);
      }
      sim_.device(0).Feed(text + "\r");
      AddFrame();
    }
    Tick();
  }

  /// As much at once as just fits behind what is held, or one byte more, which drops that.
  void Burst() {
    if (!detected_) return;
    constexpr int kBuffer = 65536, kLine = 32;
    constexpr double kHeld = 9e6;  // by so much it makes the first value larger
    const bool fits = choices_.Below(2) == 0;
    for (const std::string& held : {std::string("\r"), std::string(kLine - fits, ' ') + "9"}) {
      sim_.device(0).Feed(held);
      Tick();
    }
    for (int line = 1; line < kBuffer / kLine; ++line) {
      for (double& value : values_) value = choices_.Below(200) + 0.5;
      char text[kLine + 1];
      std::snprintf(text, sizeof text, "%08.1f;%08.1f;%012.1f\r\n", values_[0], values_[1], values_[2]);
      sim_.device(0).Feed(text);
      if (line == 1 && fits) values_[0] += kHeld;
      AddFrame();
    }
    Tick();
  }

  void Tick() {
    sim_.clock().Sleep(49);
    sim_.clock().RunFor(1);
  }

  /// But for an empty line and the blank of a next one nothing comes.
  void Pause() {
    if (detected_) sim_.device(0).Feed("\r ");
    Tick();
    const float rate = adc_->Rate();
    if (choices_.Below(8) == 0) sim_.clock().RunFor(5050);  // ticks for which no line counts
    Is(adc_->Rate() == rate, "Rate");
    sim_.clock().Sleep(choices_.Number() % longest_pause_);
  }

  void AddFrame() {
    if (busy_ && ring_.size() < capacity_) ring_.push_back(Kadr());
  }

  void Range() {
    const auto channel =
        static_cast<std::int16_t>(choices_.Below(6) == 0 ? choices_.Number() : choices_.Below(4));
    const auto row =
        static_cast<std::int16_t>(choices_.Below(6) == 0 ? choices_.Number() : choices_.Below(15));
    adc_->ChannelRange(channel, row);
    const bool exists = detected_ && channel >= 0 && channel < kChannels;
    if (exists) rows_[channel] = std::clamp<int>(row, 0, 14);
    Is(adc_->ChannelRange(channel) == (exists ? rows_[channel] : 0), "ChannelRange");
    Is(adc_->ChannelName(channel) == (exists ? "Column" + std::to_string(channel + 1) : ""), "ChannelName");
    Is((adc_->ChannelUnitScale(channel) > 0) == exists, "ChannelUnitScale");
    Is((adc_->ChannelUnitOffset(channel) > 0) == (exists && rows_[channel] > 9), "ChannelUnitOffset");
  }

  void Size() {
    constexpr std::int32_t kSizes[] = {-2147483647 - 1, -1, 0, 1023, 1024, 1025, 1300, 2147483647};
    adc_->InputSizeData(requested_ = kSizes[choices_.Below(8)]);
  }

  void SizeBuffer() {
    width_ = std::max<std::size_t>(table_.size(), 1);
    if (!table_.empty()) frames_ = requested_ >= 1024 ? requested_ : 32768;
    size_ = static_cast<std::int32_t>(std::min<std::int64_t>(std::int64_t{frames_} * width_, 2147483647));
  }

  void Table() {
    Codes table(choices_.Below(8) == 0 ? 32768 : choices_.Below(5));
    for (std::int16_t& channel : table) channel = static_cast<std::int16_t>(choices_.Below(6) - 1);
    adc_->InputChannels(table);
    if (busy_ || table.size() > 32767) return;
    if (table != table_) ring_.clear();
    table_ = table;
    SizeBuffer();
  }

  void Start() {
    if (requested_ > 2000) Size();
    if (requested_ > 2000) return;  // would take the machine's memory
    const bool can = !busy_ && !table_.empty();
    Is(adc_->StartRecord() == can, "StartRecord");
    if (!busy_) error_ = can ? "" : "Any channel is not selected!";
    if (!can) return;
    busy_ = true;
    SizeBuffer();
    capacity_ = frames_;
    ring_.clear();
  }

  void Stop() {
    const std::uint32_t start = sim_.clock().GetTickCount();
    adc_->StopRecord();
    Is(sim_.clock().GetTickCount() - start == 50, "the wait of StopRecord");
    busy_ = false;
  }

  void GetData() {
    const std::int32_t room = choices_.Below(4) == 0 ? 4000 : choices_.Below(60) - 3;
    constexpr std::int16_t kUntouched = 12345;
    Codes data(std::max(room, 0) + 1, kUntouched);
    std::int32_t size = room;
    std::int32_t left = -1;
    const bool null = choices_.Below(10) == 0;
    const std::int32_t frames = adc_->GetData(null ? nullptr : data.data(), size, left);
    const std::int32_t fit = null ? 0 : std::max(room / static_cast<std::int32_t>(width_), 0);
    Is(frames == std::min<std::int32_t>(fit, static_cast<std::int32_t>(ring_.size())), "frames of GetData");
    Is(size == frames * static_cast<std::int32_t>(width_), "DataSize");
    if (!wrong_.empty()) return;
    for (std::int32_t i = 0; i < frames; ++i) TakeFrame(data.data() + i * width_);
    Is(data[size] == kUntouched, "what lies behind the frames");
    Is(left == adc_->InputCountData(), "codes left");
  }

  void TakeFrame(const std::int16_t* codes) {
    Is(std::equal(ring_.front().begin(), ring_.front().end(), codes), "codes of a frame");
    ring_.pop_front();
    ++frames_read_;
  }

  void InputData() {
    const FrameTable all = adc_->InputData();
    Is(all.Rows() == static_cast<std::int32_t>(ring_.size()) + 1, "rows of InputData");
    if (!wrong_.empty()) return;
    for (std::size_t i = 0; i < width_; ++i) Is(all.Codes[i] == (table_.empty() ? -1 : table_[i]), "row 0");
    for (std::int32_t row = 1; row < all.Rows(); ++row) TakeFrame(all.Codes.data() + row * width_);
  }

  void Live() {
    for (std::int16_t channel = -1; channel <= kChannels; ++channel)
      Is(adc_->GetChannel(channel) == Code(channel), "GetChannel");
    Is(adc_->GetKadr() == Kadr(), "GetKadr");
  }

  void Ignored() {
    adc_->Rate(static_cast<float>(choices_.Number()));
    sim_.toolkit().TakeLog();
    Is(!adc_->ShowSetting(), "ShowSetting");
    Is(sim_.toolkit().TakeLog().empty() == busy_, "a window, but for a recording");
    Is(adc_->Parent() == adc_, "Parent");
    Is(adc_->ADCName() == "Halden-Text" && adc_->Resolution() == 16, "what never changes");
    Is(adc_->Ranges().size() == 15 && adc_->Ranges()[0] == "±1000", "Ranges");
    Is(adc_->ChannelUnitName(0).empty(), "ChannelUnitName");
  }

  std::int16_t Code(std::int16_t channel) const {
    if (!detected_ || channel < 0 || channel >= kChannels) return 0;
    constexpr int kBits[] = {8, 10, 12, 14, 16};
    const int row = rows_[channel];
    const double value = values_[channel];
    const double code = row < 5    ? value * 20 * std::pow(10, row)
                        : row < 10 ? value
                                   : value - (1 << (kBits[row - 10] - 1));
    return static_cast<std::int16_t>(std::clamp(std::nearbyint(code), -32768.0, 32767.0));
  }

  Codes Kadr() const {
    Codes codes(width_, 0);
    for (std::size_t i = 0; i < table_.size(); ++i) codes[i] = Code(table_[i]);
    return codes;
  }

  /// What a host sees without changing anything.
  void Compare() {
    const auto waiting = static_cast<std::int32_t>(ring_.size());
    Is(adc_->Busy() == busy_, "Busy");
    Is(adc_->Detected() == detected_, "Detected");
    Is(adc_->ChannelsCount() == (detected_ ? kChannels : 0), "ChannelsCount");
    Is(adc_->InputCountKadrs() == waiting, "InputCountKadrs");
    Is(adc_->InputCountData() == waiting * static_cast<std::int32_t>(width_), "InputCountData");
    Is(adc_->InputSizeKadrs() == frames_, "InputSizeKadrs");
    Is(adc_->InputSizeData() == size_, "InputSizeData");
    Is(adc_->InputCountChannels() == static_cast<std::int16_t>(width_), "InputCountChannels");
    Is(adc_->InputChannels() == table_, "InputChannels");
    Is(adc_->LastError() == error_, "LastError");
    Is(adc_->Rate() >= 0.01f && adc_->Rate() <= adc_->RateMax(), "Rate");
    Is(detected_ || (adc_->Rate() == 10 && adc_->RateMax() == 1000), "the rates of no device");
  }

  Choices& choices_;
  const std::uint32_t longest_pause_;
  bool fresh_ = false;
  std::uint64_t frames_read_ = 0;
  SimPlatform sim_{{"sim:silent"}};
  Driver driver_{sim_.platform()};
  std::shared_ptr<IADC3> adc_;
  std::string wrong_;

  bool detected_ = false;
  bool busy_ = false;
  std::vector<double> values_;
  std::vector<int> rows_;
  Codes table_;
  std::size_t width_ = 1;
  std::int32_t requested_ = 0;
  std::int32_t frames_ = 0;
  std::int32_t size_ = 0;
  std::size_t capacity_ = 0;
  std::deque<Codes> ring_;
  std::string error_;
};

}  // namespace halden
