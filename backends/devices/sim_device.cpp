#include "backends/devices/sim_device.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <numbers>

namespace halden {

namespace {

constexpr std::string_view kWords[] = {"warming up, please wait\n", "sensor not ready\n",
                                       "waiting for trigger\n"};
constexpr std::size_t kNumberLength = 8;  // "-1000.00"

// Samples are in steps of 0.05: 20000 steps are 1000.00.
constexpr int kLimit = 20000;
constexpr int kSpan = 2 * kLimit + 1;
constexpr double kSineAmplitude = 18000;
constexpr std::uint64_t kSinePeriod = 200;  // lines

int Sine(std::uint64_t line, int column, int columns) {
  const double turns = static_cast<double>(line % kSinePeriod) / kSinePeriod +
                       static_cast<double>(column) / static_cast<double>(columns);
  return static_cast<int>(std::lround(kSineAmplitude * std::sin(2 * std::numbers::pi * turns)));
}

/// A hash of `index` (splitmix64), so that noise depends on nothing but its place in the stream.
std::uint64_t Scramble(std::uint64_t index) {
  index += 0x9E3779B97F4A7C15;
  index = (index ^ (index >> 30)) * 0xBF58476D1CE4E5B9;
  index = (index ^ (index >> 27)) * 0x94D049BB133111EB;
  return index ^ (index >> 31);
}

/// The value of a column in steps of 0.05, from -kLimit to kLimit.
int SampleAt(SimSignal signal, std::uint64_t line, int column, int columns, std::uint64_t seed) {
  switch (signal) {
    case SimSignal::kSine:
      return Sine(line, column, columns);
    case SimSignal::kRamp:
      return static_cast<int>((line * 101 + column * 5003ULL) % kSpan) - kLimit;
    case SimSignal::kNoise:
      return static_cast<int>(Scramble(Scramble(Scramble(seed) ^ line) ^ column) % kSpan) - kLimit;
    case SimSignal::kConstant:
      return 2001 * (column + 1) % (kLimit + 1);
  }
  return 0;
}

DeviceIdentity IdentityOf(const SimDeviceSettings& settings) {
  DeviceIdentity identity;
  identity.serial = settings.serial;
  identity.description = kSimulatedDescription;
  identity.com = settings.com;
  return identity;
}

}  // namespace

SimDevice::SimDevice(Clock& clock, const SimDeviceSettings& settings)
    : PacedDevice(clock, IdentityOf(settings), settings.baud,
                  {settings.rate, settings.speaks_at.value_or(settings.baud) / kBitsPerByte}),
      settings_(settings),
      speaks_at_(settings.speaks_at.value_or(settings.baud)),
      speaks_from_(std::round(settings.silent * 1000)) {
  const std::size_t field = settings.label.size() + kNumberLength + settings.unit.size() + 1;
  line_.reserve(settings.columns * field + settings.end.size());
}

std::string SimDevice::OnOpen() {
  if (settings_.busy) return "held by another program";
  const double now = Milliseconds();
  const double lines_so_far = now > speaks_from_ ? (now - speaks_from_) * settings_.rate / 1000 : 0;
  StartLines(speaks_from_, static_cast<std::uint64_t>(lines_so_far));
  UnplugAt(now + settings_.unplug_after * 1000);
  return "";
}

void SimDevice::OnDtrRise() {
  if (!settings_.resets) return;
  speaks_from_ = std::max(speaks_from_, Milliseconds() + std::round(*settings_.resets * 1000));
  StartLines(speaks_from_, 0);
}

std::string_view SimDevice::NextLine(std::uint64_t line) {
  if (settings_.words) return kWords[line % std::size(kWords)];
  line_.clear();
  for (int column = 0; column < settings_.columns; ++column) {
    if (column > 0) line_ += settings_.separator;
    line_ += settings_.label;
    AppendNumber(SampleAt(settings_.signal, line, column, settings_.columns, settings_.seed));
    line_ += settings_.unit;
  }
  return line_ += settings_.end;
}

void SimDevice::AppendNumber(int steps) {
  const int hundredths = std::abs(steps) * 5;
  char whole[kNumberLength];
  const char* end = std::to_chars(std::begin(whole), std::end(whole), hundredths / 100).ptr;
  if (steps < 0) line_ += '-';
  line_.append(whole, end - whole);
  line_ += settings_.decimal;
  line_ += static_cast<char>('0' + hundredths % 100 / 10);
  line_ += static_cast<char>('0' + hundredths % 10);
}

void SimDevice::Receive(std::string_view sent, ByteQueue& queue) {
  // A UART reads ten bits from one start bit, so it tolerates a few percent; 2 % each way is common.
  if (std::abs(static_cast<double>(PortBaud()) / speaks_at_ - 1) <= 0.02) return queue.Push(sent);
  for (std::size_t i = 0; i < sent.size(); ++i) {
    char noise = static_cast<char>(Scramble(settings_.seed + noise_bytes_++));
    if (noise == '\r') noise = '\0';  // a CR would make the driver see lines in the noise
    queue.Push({&noise, 1});
  }
}

}  // namespace halden
