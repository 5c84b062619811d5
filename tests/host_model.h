#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"

namespace halden {

/// A host that makes random calls to IADC3, with pauses. After each call it compares everything that a host
/// can see of the driver with a model, in which the ring is a deque and a channel is a value and a range row.
/// `Choices` makes the decisions: Below(bound) returns 0 to bound - 1, Number any 32-bit number.
template <class Choices>
class HostModel {
 public:
  /// `longest_pause`: milliseconds, below 2^31.
  explicit HostModel(Choices& choices, std::uint32_t longest_pause = 1000)
      : choices_(choices), longest_pause_(longest_pause) {
    for (std::string& call : calls_) call.reserve(kLongestCall);
    Create();
  }

  VirtualClock& Clock() { return sim_.clock(); }
  /// Whether the last call released the last object and left no frames.
  bool Fresh() const { return fresh_; }
  /// Frames that the host has read so far.
  std::uint64_t FramesRead() const { return frames_read_; }

  /// Makes one call. Returns the first difference between driver and model, with the last calls; empty if
  /// there is none.
  std::string Step() {
    using Model = HostModel;
    static constexpr void (Model::*kCalls[])() = {
        &Model::Lines, &Model::Lines,   &Model::Lines,  &Model::Range,   &Model::Size,    &Model::Table,
        &Model::Start, &Model::Start,   &Model::Stop,   &Model::GetData, &Model::GetData, &Model::InputData,
        &Model::Live,  &Model::Release, &Model::Detect, &Model::Ignored, &Model::Pause};
    wrong_.clear();
    fresh_ = false;
    (this->*kCalls[choices_.Below(static_cast<int>(std::size(kCalls)))])();
    Compare();
    return wrong_.empty() ? "" : wrong_ + LastCalls();
  }

 private:
  using Codes = std::vector<std::int16_t>;
  static constexpr int kChannels = 3;

  template <class Value>
  static std::string Text(const Value& value) {
    if constexpr (std::is_arithmetic_v<Value>) return std::to_string(value);
    if constexpr (std::is_same_v<Value, std::string>) return "\"" + value + "\"";
    if constexpr (std::is_same_v<Value, Codes>) {
      std::string text = std::to_string(value.size()) + " codes:";
      for (std::size_t i = 0; i < std::min<std::size_t>(value.size(), 8); ++i) text += " " + Text(value[i]);
      return text;
    }
  }

  template <class Value>
  void Expect(const char* what, const Value& actual, const std::type_identity_t<Value>& expected) {
    if (wrong_.empty() && actual != expected)
      wrong_ = std::string(what) + ": expected " + Text(expected) + ", actual " + Text(actual);
  }

  /// Records a call for the failure message. Allocates nothing, so that the blocks in use can be compared.
  void Log(const std::string& call) { calls_[call_count_++ % calls_.size()].assign(call, 0, kLongestCall); }

  std::string LastCalls() const {
    std::string text = "\nthe last calls, counted from 1:";
    for (std::size_t i = call_count_ - std::min(call_count_, calls_.size()); i < call_count_; ++i)
      text += "\n  " + std::to_string(i + 1) + ": " + calls_[i % calls_.size()];
    return text;
  }

  void Create() {
    adc_ = driver_.CreateObject();
    detected_ = false;
    table_.assign(1, 0);
    if (std::exchange(width_, 1) != 1) ring_.clear();  // frames of another width can't be read
    adc_->InputSizeData(requested_ = 1024);
  }

  /// Releasing any object stops a recording; releasing the last one also resets the settings. Afterwards a
  /// device that was unplugged can be detected again.
  void Release() {
    if (choices_.Below(4) != 0) {
      Log("another object is created and released");
      driver_.CreateObject();
      busy_ = false;
      return;
    }
    const bool replug = choices_.Below(2) == 0;
    Log(replug ? "replugged, then the last object is released" : "the last object is released");
    if (replug) {
      sim_.device(0).Unplug();
      Tick();
      sim_.device(0).Plug();
    }
    adc_.reset();
    fresh_ = ring_.empty();
    if (detected_) Expect("last call to the device after the last release", sim_.calls(0).back(), "close");
    busy_ = false;
    Create();
  }

  void Detect() {
    Log("Test");
    if (!detected_) {
      values_.assign(kChannels, 0);
      rows_.assign(kChannels, 0);
      // Send in the second pass of the queue: opening serves it once before it purges the device.
      sim_.clock().Post([this] {
        sim_.clock().Post([this] {
          for (int line = 0; line < 200; ++line) sim_.device(0).Feed("0;0;0\r");
        });
      });
    }
    Expect("Test", adc_->Test(), true);
    detected_ = true;
  }

  void Lines() {
    if (!detected_) return;
    const int lines = 1 + choices_.Below(choices_.Below(16) == 0 ? 1100 : 10);
    Log(std::to_string(lines) + " lines are received");
    for (int left = lines; left > 0; --left) {
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

  void Tick() {
    sim_.clock().Sleep(49);
    sim_.clock().RunFor(1);
  }

  /// A pause in which the device sends only an empty line and the first blank of the next one.
  void Pause() {
    if (detected_) sim_.device(0).Feed("\r ");
    Tick();
    const float rate = adc_->Rate();
    if (choices_.Below(8) == 0) sim_.clock().RunFor(5050);  // ticks without a line
    Expect("Rate after a pause", adc_->Rate(), rate);
    const std::uint32_t pause = choices_.Number() % longest_pause_;
    Log("a pause of " + std::to_string(pause) + " ms");
    sim_.clock().Sleep(pause);
  }

  void AddFrame() {
    if (busy_ && ring_.size() < capacity_) ring_.push_back(Kadr());
  }

  void Range() {
    const auto below = [this](int bound) {  // sometimes out of range
      return static_cast<std::int16_t>(choices_.Below(6) == 0 ? choices_.Number() : choices_.Below(bound));
    };
    const std::int16_t channel = below(4), row = below(15);
    Log("ChannelRange(" + std::to_string(channel) + ", " + std::to_string(row) + ")");
    adc_->ChannelRange(channel, row);
    const bool exists = detected_ && channel >= 0 && channel < kChannels;
    if (exists) rows_[channel] = std::clamp<std::int16_t>(row, 0, 14);
    Expect("ChannelRange", adc_->ChannelRange(channel), exists ? rows_[channel] : std::int16_t{0});
    Expect("ChannelName", adc_->ChannelName(channel), exists ? "Column" + std::to_string(channel + 1) : "");
    Expect("ChannelUnitScale > 0", adc_->ChannelUnitScale(channel) > 0, exists);
    Expect("ChannelUnitOffset > 0", adc_->ChannelUnitOffset(channel) > 0, exists && rows_[channel] > 9);
  }

  void Size() {
    constexpr std::int32_t kSizes[] = {-2147483647 - 1, -1, 0, 1023, 1024, 1025, 1300, 2147483647};
    requested_ = kSizes[choices_.Below(8)];
    Log("InputSizeData(" + std::to_string(requested_) + ")");
    adc_->InputSizeData(requested_);
  }

  void SizeBuffer() {
    width_ = std::max<std::size_t>(table_.size(), 1);
    if (!table_.empty()) frames_ = requested_ >= 1024 ? requested_ : 32768;
    size_ = static_cast<std::int32_t>(std::min<std::int64_t>(std::int64_t{frames_} * width_, 2147483647));
  }

  void Table() {
    Codes table(choices_.Below(8) == 0 ? 32768 : choices_.Below(5));
    for (std::int16_t& channel : table) channel = static_cast<std::int16_t>(choices_.Below(6) - 1);
    Log("InputChannels(" + Text(table) + ")");
    adc_->InputChannels(table);
    if (busy_ || table.size() > 32767) return;
    if (table != table_) ring_.clear();
    table_ = table;
    SizeBuffer();
  }

  void Start() {
    if (requested_ > 2000) Size();
    if (requested_ > 2000) return;  // too much memory
    const bool can = !busy_ && !table_.empty();
    Log("StartRecord");
    Expect("StartRecord", adc_->StartRecord(), can);
    if (!busy_) error_ = can ? "" : "Any channel is not selected!";
    if (!can) return;
    busy_ = true;
    SizeBuffer();
    capacity_ = frames_;
    ring_.clear();
  }

  void Stop() {
    Log("StopRecord");
    const std::uint32_t start = sim_.clock().GetTickCount();
    adc_->StopRecord();
    Expect("milliseconds of StopRecord", sim_.clock().GetTickCount() - start, 50);
    busy_ = false;
  }

  void GetData() {
    const std::int32_t room = choices_.Below(4) == 0 ? 4000 : choices_.Below(60) - 3;
    constexpr std::int16_t kUntouched = 12345;
    Codes data(std::max(room, 0) + 1, kUntouched);
    std::int32_t size = room;
    std::int32_t left = -1;
    const bool null = choices_.Below(10) == 0;
    Log("GetData(" + std::string(null ? "null, " : "") + std::to_string(room) + " codes)");
    const std::int32_t frames = adc_->GetData(null ? nullptr : data.data(), size, left);
    const auto width = static_cast<std::int32_t>(width_);
    Expect("frames of GetData", frames, null ? 0 : std::clamp(room / width, 0, Waiting()));
    Expect("DataSize", size, frames * width);
    if (!wrong_.empty()) return;
    for (std::int32_t i = 0; i < frames; ++i) TakeFrame(data.data() + i * width);
    Expect("the code after the frames", data[size], kUntouched);
    Expect("codes that GetData leaves", left, Waiting() * width);
  }

  void TakeFrame(const std::int16_t* codes) {
    Expect("a frame", Codes(codes, codes + width_), ring_.front());
    ring_.pop_front();
    ++frames_read_;
  }

  void InputData() {
    Log("InputData");
    const FrameTable all = adc_->InputData();
    Expect("rows of InputData", all.Rows(), Waiting() + 1);
    if (!wrong_.empty()) return;
    const std::int16_t* const codes = all.Codes.data();
    Expect("row 0 of InputData", Codes(codes, codes + width_), table_.empty() ? Codes(width_, -1) : table_);
    for (std::int32_t row = 1; row < all.Rows(); ++row) TakeFrame(codes + row * width_);
  }

  void Live() {
    Log("GetChannel and GetKadr");
    for (std::int16_t channel = -1; channel <= kChannels; ++channel)
      Expect("GetChannel", adc_->GetChannel(channel), Code(channel));
    Expect("GetKadr", adc_->GetKadr(), Kadr());
  }

  void Ignored() {
    Log("Rate, ShowSetting and what never changes");
    adc_->Rate(static_cast<float>(choices_.Number()));
    sim_.toolkit().TakeLog();
    Expect("ShowSetting", adc_->ShowSetting(), false);
    Expect("a window was shown", !sim_.toolkit().TakeLog().empty(), !busy_);
    Expect("Parent is the object itself", adc_->Parent() == adc_, true);
    Expect("ADCName", adc_->ADCName(), "Halden-Text");
    Expect("Resolution", adc_->Resolution(), 16);
    Expect("number of ranges", adc_->Ranges().size(), 15);
    Expect("first range", adc_->Ranges()[0], "±1000");
    Expect("ChannelUnitName", adc_->ChannelUnitName(0), "");
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

  std::int32_t Waiting() const { return static_cast<std::int32_t>(ring_.size()); }

  /// Compares everything that a host can read without changing it.
  void Compare() {
    const auto width = static_cast<std::int16_t>(width_);
    Expect("Busy", adc_->Busy(), busy_);
    Expect("Detected", adc_->Detected(), detected_);
    Expect("ChannelsCount", adc_->ChannelsCount(), detected_ ? kChannels : 0);
    Expect("InputCountKadrs", adc_->InputCountKadrs(), Waiting());
    Expect("InputCountData", adc_->InputCountData(), Waiting() * width);
    Expect("InputSizeKadrs", adc_->InputSizeKadrs(), frames_);
    Expect("InputSizeData", adc_->InputSizeData(), size_);
    Expect("InputCountChannels", adc_->InputCountChannels(), width);
    Expect("InputChannels", adc_->InputChannels(), table_);
    Expect("LastError", adc_->LastError(), error_);
    const float rate = adc_->Rate(), highest = adc_->RateMax();
    Expect("Rate, which is within 0.01 to RateMax", rate, std::clamp(rate, 0.01f, highest));
    if (detected_) return;
    Expect("Rate without a device", rate, 10);
    Expect("RateMax without a device", highest, 1000);
  }

  Choices& choices_;
  const std::uint32_t longest_pause_;
  bool fresh_ = false;
  std::uint64_t frames_read_ = 0;
  SimPlatform sim_{{"sim:silent"}};
  Driver driver_{sim_.platform()};
  std::shared_ptr<IADC3> adc_;
  std::string wrong_;  ///< the first difference of this step
  static constexpr std::size_t kLongestCall = 120;
  std::array<std::string, 20> calls_;
  std::size_t call_count_ = 0;

  bool detected_ = false;
  bool busy_ = false;
  std::vector<double> values_;
  Codes rows_;
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
