#include "sdk/adc_session.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <utility>

#include "sdk/detection.h"

namespace halden::sdk {
namespace {

constexpr double kTick = 0.05;  // seconds

Platform WithLibrary(const Platform& platform, D2xx& library) {
  return {library,        platform.comm_config, platform.registry, platform.clock, platform.number_rules,
          platform.texts, platform.toolkit};
}

}  // namespace

AdcSession::AdcSession(SessionSource source)
    : source_(std::move(source)),
      tap_(source_.system->platform().d2xx),
      tapped_(WithLibrary(source_.system->platform(), tap_)),
      last_tick_(tapped_.clock.GetTickCount()),
      driver_(tapped_),
      adc_(driver_.CreateObject()) {
  if (!adc_) throw std::bad_alloc();
  tap_.SetListener([this](std::string_view received) { Listen(received); });
}

bool AdcSession::Detect() {
  if (adc_->Detected()) return true;
  if (!sdk::Detect(*source_.system, tap_, *adc_, source_.somebody_answers, [] {})) return false;
  std::vector<std::int16_t> all(static_cast<std::size_t>(adc_->ChannelsCount()));
  std::iota(all.begin(), all.end(), std::int16_t{0});
  SetColumns(std::move(all));
  if (source_.capture) source_.capture->Hurry();
  return true;
}

void AdcSession::SetColumns(std::vector<std::int16_t> channels) {
  columns_ = std::move(channels);
  adc_->InputChannels(columns_);
}

bool AdcSession::Start() {
  if (!adc_->StartRecord()) return false;
  started_ = true;
  start_ = Now();
  last_pass_ = start_;
  longest_pause_ = 0;
  ring_was_full_ = false;
  overruns_ = source_.system->Overruns().value_or(0);
  arrivals_ = {};
  arrivals_.Poll(0, {});
  stamped_ = waiting_ = 0;
  converted_ = 0;
  return true;
}

/// Uses the platform's clock, so that a captured file has its own time.
double AdcSession::Now() {
  const std::uint32_t tick = tapped_.clock.GetTickCount();
  elapsed_ms_ += tick - std::exchange(last_tick_, tick);
  return static_cast<double>(elapsed_ms_) / 1000;
}

void AdcSession::NotePass() {
  const double now = Now();
  if (started_) longest_pause_ = std::max(longest_pause_, now - last_pass_);
  last_pass_ = now;
}

void AdcSession::Serve() {
  driver_.ServeMessages();
  NotePass();
  if (started_) StampNewFrames();
}

AdcSession::Wait AdcSession::WaitForFrame(double timeout) {
  // A caller that reads in small pieces always finds frames, and would otherwise hold up the ticks.
  if (Now() - last_pass_ >= kTick) Serve();
  const double start = Now();
  while (Waiting() == 0) {
    if (!adc_->Busy()) return Wait::kNotRecording;
    if (tap_.Lost()) return Wait::kLost;
    if (source_.system->HasEnded(tap_.LatestIndex())) return Wait::kEnded;
    const double left = timeout - (Now() - start);
    if (left <= 0) return Wait::kTimedOut;
    driver_.WaitForMessages(static_cast<std::uint32_t>(std::ceil(std::min(left, kTick) * 1000)));
    Serve();
  }
  return Wait::kFrames;
}

/// Gives times to the frames that have arrived since the last call.
void AdcSession::StampNewFrames() {
  const std::size_t count = Waiting();
  const std::size_t fresh = count > waiting_ ? count - waiting_ : 0;
  if (waiting_ == 0) stamped_ = 0;
  if (times_.size() < stamped_ + fresh) times_.resize(stamped_ + fresh);
  const auto times = std::span(times_).subspan(stamped_, fresh);
  if (source_.capture)
    for (double& time : times) time = static_cast<double>(converted_++) / source_.line_rate;
  else
    arrivals_.Poll(Now() - start_, times);
  stamped_ += fresh;
  waiting_ = count;
}

std::size_t AdcSession::Take(std::span<std::int16_t> codes, double* times) {
  StampNewFrames();
  ring_was_full_ |= adc_->InputCountKadrs() >= adc_->InputSizeKadrs();
  auto size = static_cast<std::int32_t>(std::min<std::size_t>(codes.size(), INT32_MAX));
  std::int32_t left = 0;
  const auto frames = static_cast<std::size_t>(std::max(adc_->GetData(codes.data(), size, left), 0));
  const auto taken = std::span(times_).subspan(stamped_ - waiting_, frames);
  if (times) std::ranges::copy(taken, times);
  waiting_ -= frames;
  return frames;
}

/// Remembers the last whole line. If memory runs out, the line before it is kept.
void AdcSession::Listen(std::string_view received) noexcept try {
  constexpr std::size_t kLongestLine = 65536;  // as long as the driver's buffer
  const auto end = received.rfind('\r');
  if (end != std::string_view::npos) {
    const auto before = end > 0 ? received.rfind('\r', end - 1) : std::string_view::npos;
    if (before == std::string_view::npos) {
      line_ = std::exchange(rest_, {}).append(received.substr(0, end));
    } else {
      line_ = received.substr(before + 1, end - before - 1);
    }
    if (line_.starts_with('\n')) line_.erase(0, 1);
    rest_.clear();
    received.remove_prefix(end + 1);
  }
  if (rest_.size() + received.size() > kLongestLine) rest_.clear();
  rest_ += received;
} catch (...) {
}

}  // namespace halden::sdk
