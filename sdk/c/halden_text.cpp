#include "sdk/c/halden_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "backends/toolkit/answering_toolkit.h"
#include "driver/inspect.h"
#include "sdk/c/open_handles.h"
#include "sdk/capture_platform.h"

// The C interface. Nothing may be thrown from here, and no argument may end the process.

namespace halden::sdk {
namespace {

/// A call that can't be carried out.
struct Failure {
  std::int32_t result;
  std::string text;
};

void Write(std::string_view text, char* room, std::size_t size) {
  if (!room || size == 0) return;
  room[text.copy(room, size - 1)] = '\0';
}

/// Runs `body` and turns what it throws into a result. `fail` gets the text of a failure.
template <class Body, class Fail>
std::int32_t Contain(Body body, Fail fail) noexcept {
  try {
    body();
    return HALDEN_OK;
  } catch (const Failure& failure) {
    fail(failure.text);
    return failure.result;
  } catch (const std::bad_alloc&) {
    fail("out of memory");
    return HALDEN_NO_MEMORY;
  } catch (const std::exception& other) {
    fail(other.what());
    return HALDEN_FAILED;
  } catch (...) {
    fail("unknown failure");
    return HALDEN_FAILED;
  }
}

/// Runs `body` with the open handle. It must not use texts that an earlier call has returned.
template <class Body>
std::int32_t Call(halden_adc* adc, Body body) noexcept {
  OpenHandle* const handle = OpenHandles::OfProcess().Find(reinterpret_cast<std::uintptr_t>(adc));
  if (!handle) return HALDEN_CLOSED;
  if (handle->owner != std::this_thread::get_id()) return HALDEN_WRONG_THREAD;
  if (std::exchange(handle->in_call, true)) return HALDEN_BUSY;
  handle->texts.clear();
  const std::int32_t result =
      Contain([&] { body(*handle); },
              [&](std::string_view text) { Write(text, handle->error.data(), handle->error.size()); });
  handle->in_call = false;
  return result;
}

void Demand(bool allowed, const char* text) {
  if (!allowed) throw Failure{HALDEN_BAD_ARGUMENT, text};
}

template <class... Pointers>
void DemandNotNull(const Pointers*... pointers) {
  Demand((... && (pointers != nullptr)), "a pointer is null");
}

void DemandDetected(OpenHandle& handle) {
  if (!handle.session.Adc().Detected())
    throw Failure{HALDEN_NOT_DETECTED, "no device was detected yet; call halden_detect"};
}

void DemandNotRecording(OpenHandle& handle) {
  if (handle.session.Adc().Busy()) throw Failure{HALDEN_BUSY, "not while a recording runs"};
}

/// The channel as the driver takes it.
std::int16_t CheckedChannel(OpenHandle& handle, std::int32_t channel) {
  DemandDetected(handle);
  const std::int32_t count = handle.session.Adc().ChannelsCount();
  if (channel < 0 || channel >= count)
    throw Failure{HALDEN_BAD_ARGUMENT, "there is no channel " + std::to_string(channel) + ", only 0 to " +
                                           std::to_string(count - 1)};
  return static_cast<std::int16_t>(channel);
}

/// Keeps a text for the caller until the next call.
const char* Keep(OpenHandle& handle, std::string text) {
  return handle.texts.emplace_back(std::move(text)).c_str();
}

/// Copies the structure that the caller has made, which may be longer than ours.
template <class Struct>
Struct CopyIn(const Struct* from) {
  DemandNotNull(from);
  Demand(from->struct_size >= sizeof(Struct), "struct_size is smaller than the structure");
  return *from;
}

/// Fills the caller's structure, but for its size.
template <class Struct>
void CopyOut(Struct filled, Struct* to) {
  DemandNotNull(to);
  Demand(to->struct_size >= sizeof(Struct), "struct_size is smaller than the structure");
  filled.struct_size = to->struct_size;
  *to = filled;
}

/// Fills the caller's array with what `fill(index)` returns. The elements are as far apart as the first one
/// says that it is long.
template <class Struct, class Fill>
void CopyOutAll(std::size_t available, Struct* to, std::size_t room, std::size_t* count, Fill fill) {
  DemandNotNull(count);
  Demand(to || room == 0, "a pointer is null");
  const std::size_t stride = room > 0 ? to->struct_size : 0;
  Demand(room == 0 || (stride >= sizeof(Struct) && stride < 65536),
         "struct_size of the first element is wrong");
  for (std::size_t i = 0; i < std::min(available, room); ++i) {
    Struct filled = fill(i);
    filled.struct_size = stride;
    std::memcpy(reinterpret_cast<char*>(to) + i * stride, &filled, sizeof filled);
  }
  *count = available;
}

template <class Number>
void CopyOutNumbers(const std::vector<Number>& from, Number* to, std::size_t room, std::size_t* count) {
  DemandNotNull(count);
  Demand(to || room == 0, "a pointer is null");
  std::copy_n(from.begin(), std::min(from.size(), room), to);
  *count = from.size();
}

SystemPlatformOptions OptionsOf(const halden_options& options) {
  SystemPlatformOptions made;
  Demand(options.devices || options.device_count == 0, "devices is null");
  for (std::size_t i = 0; i < options.device_count; ++i) {
    DemandNotNull(options.devices[i]);
    made.devices.emplace_back(options.devices[i]);
  }
  if (options.registry_file) made.registry_file = options.registry_file;
  made.cancel = options.dialog == HALDEN_DIALOG_CANCEL;
  if (options.dialog == HALDEN_DIALOG_ANSWER) {
    Demand(options.answer_port >= 0, "answer_port is below 0");
    Demand(options.answer_channels >= 1 && options.answer_channels <= 32, "answer_channels is not 1 to 32");
    Demand(options.answer_rate > 0 && options.answer_rate <= 1e9, "answer_rate is not above 0, up to 1e9");
    char rate[40];  // "%g" would follow the locale's decimal mark
    *std::to_chars(rate, std::end(rate), options.answer_rate).ptr = '\0';
    made.answer = {.port = options.answer_port, .channels = options.answer_channels, .rate = rate};
  } else {
    Demand(made.cancel || options.dialog == HALDEN_DIALOG_SHOW, "dialog is no halden_dialog");
  }
  return made;
}

/// Opens a handle on what `open` returns.
template <class Open>
std::int32_t OpenWith(halden_adc** adc, char* error, std::size_t error_size, Open open) noexcept {
  Write("", error, error_size);
  return Contain(
      [&] {
        DemandNotNull(adc);
        *adc = nullptr;
        const auto number = OpenHandles::OfProcess().Add(std::make_unique<OpenHandle>(open()));
        *adc = reinterpret_cast<halden_adc*>(number);
      },
      [&](std::string_view text) { Write(text, error, error_size); });
}

std::string CauseText(const Heard& heard) {
  switch (WhyNotRecognised(heard)) {
    case Silence::kNotOpened:
      return "it could not be opened";
    case Silence::kNothing:
      return "no byte came; is it powered, and is this its port?";
    case Silence::kUnprintable:
      return "what it sent is mostly not text, so its baud rate is probably not " +
             std::to_string(heard.baud);
    case Silence::kFeedsOnly:
      return "its lines end in LF alone, but the driver needs CR; add eol=lf to the device";
    case Silence::kNoLineEnd:
      return "no line end (CR) came in " + std::to_string(heard.bytes) + " bytes";
    case Silence::kFewLines:
      return "fewer than three line ends came, so it is slow or its lines are very long";
    case Silence::kEmptyLines:
      return "only empty lines came";
    case Silence::kRecognisable:
      break;
  }
  return "lines came, but no two whole ones in a row";
}

std::string Utf8(OpenHandle& handle, std::string_view ansi) {
  return handle.session.TappedPlatform().number_rules.AnsiToUtf8(ansi);
}

halden_attempt AttemptOf(OpenHandle& handle, std::size_t place, const std::string& failure) {
  const ListeningTap& tap = handle.session.Tap();
  const auto index = static_cast<std::int32_t>(place);
  const Heard& heard = tap.At(index);
  const bool in_use = handle.session.Adc().Detected() && index == tap.LatestIndex();
  halden_attempt attempt{};
  attempt.serial = Keep(handle, Utf8(handle, tap.SerialNumber(index)));
  attempt.description = Keep(handle, Utf8(handle, tap.Description(index)));
  attempt.cause = in_use ? HALDEN_CAUSE_NONE : static_cast<std::int32_t>(WhyNotRecognised(heard));
  const bool not_opened = attempt.cause == HALDEN_CAUSE_NOT_OPENED && !failure.empty();
  attempt.text = Keep(handle, in_use ? "" : not_opened ? failure : CauseText(heard));
  attempt.baud = heard.baud;
  attempt.bytes = heard.bytes;
  attempt.returns = heard.returns;
  attempt.feeds = heard.feeds;
  attempt.unprintable = heard.unprintable;
  attempt.sample = Keep(handle, heard.sample);
  attempt.sample_size = heard.sample.size();
  return attempt;
}

/// Why nothing was found, in one line.
std::string WhyNothingWasFound(OpenHandle& handle) {
  std::string text = handle.session.Adc().LastError();
  const auto failures = handle.session.System().OpenFailures();
  for (std::size_t i = 0; i < failures.size(); ++i) {
    const halden_attempt attempt = AttemptOf(handle, i, failures[i]);
    text += (text.empty() ? "" : "; ") + std::string("device ") + std::to_string(i) + " (" + attempt.serial +
            ") was not recognised: " + attempt.text;
  }
  return text.empty() ? "there is no device" : text;
}

/// How the codes of a column become values.
struct Scaling {
  float scale = 1;
  float offset = 0;

  float ValueOf(std::int16_t code) const { return static_cast<float>(code) / scale + offset; }
};

Scaling ScalingOf(IADC3& adc, std::int16_t channel) {
  const float scale = adc.ChannelUnitScale(channel);
  if (scale == 0) return {};  // a column of a channel that doesn't exist records 0
  return {scale, adc.ChannelUnitOffset(channel)};
}

void WaitForFrame(OpenHandle& handle, double timeout) {
  Demand(timeout >= 0 && timeout <= 1e6, "timeout is not 0 to 1e6 seconds");
  DemandDetected(handle);
  switch (handle.session.WaitForFrame(timeout)) {
    case AdcSession::Wait::kFrames:
      return;
    case AdcSession::Wait::kTimedOut:
      throw Failure{HALDEN_TIMED_OUT, "no frame came in time"};
    case AdcSession::Wait::kLost:
      throw Failure{HALDEN_DEVICE_LOST, "the device is gone"};
    case AdcSession::Wait::kEnded:
      throw Failure{HALDEN_ENDED, "the captured file has ended"};
    case AdcSession::Wait::kNotRecording:
      throw Failure{HALDEN_REFUSED, "no recording runs; call halden_start"};
  }
}

/// Checks the arguments of both reads, waits, and takes frames into `codes`, which is called once there are
/// some.
template <class Codes>
void Read(OpenHandle& handle, std::size_t room, double timeout, double* times, std::size_t* frames,
          std::size_t* waiting, Codes codes) {
  DemandNotNull(frames);
  *frames = 0;
  Demand(room >= std::max<std::size_t>(handle.session.Columns().size(), 1), "there is no room for a frame");
  WaitForFrame(handle, timeout);
  *frames = handle.session.Take(codes(), times);
  if (waiting) *waiting = handle.session.Waiting();
}

/// Turns `count` codes in the upper half of a buffer into values, from its front. A value never reaches a
/// code that is still to be read.
void ExpandCodes(OpenHandle& handle, float* values, const std::int16_t* codes, std::size_t count) {
  const auto& columns = handle.session.Columns();
  std::vector<Scaling> scalings;
  for (const std::int16_t channel : columns) scalings.push_back(ScalingOf(handle.session.Adc(), channel));
  for (std::size_t i = 0; i < count; i += columns.size())
    for (std::size_t column = 0; column < columns.size(); ++column) {
      std::int16_t code = 0;
      std::memcpy(&code, codes + i + column, sizeof code);
      const float value = scalings[column].ValueOf(code);
      std::memcpy(values + i + column, &value, sizeof value);
    }
}

}  // namespace
}  // namespace halden::sdk

using namespace halden;
using namespace halden::sdk;

int32_t halden_version_number(void) {
  return 10000 * HALDEN_VERSION_MAJOR + 100 * HALDEN_VERSION_MINOR + HALDEN_VERSION_PATCH;
}

const char* halden_version_text(void) {
  return HALDEN_VERSION;
}

const char* halden_result_text(int32_t result) {
  static constexpr const char* kTexts[] = {"done",
                                           "an argument is wrong",
                                           "no device was recognised",
                                           "no device was detected yet",
                                           "not while a recording or another call runs",
                                           "the driver refused",
                                           "no frame came in time",
                                           "the device is gone",
                                           "the captured file has ended",
                                           "the handle is closed",
                                           "the handle belongs to another thread",
                                           "out of memory",
                                           "failed"};
  const bool known = result >= 0 && result < static_cast<int32_t>(std::size(kTexts));
  return known ? kTexts[result] : "unknown result";
}

int32_t halden_open(const halden_options* options, halden_adc** adc, char* error, size_t error_size) {
  return OpenWith(adc, error, error_size, [&] {
    const SystemPlatformOptions wanted = OptionsOf(CopyIn(options));
    std::string reason;
    auto system = OpenSystemPlatform(wanted, &reason);
    if (!system) throw Failure{HALDEN_BAD_ARGUMENT, reason};
    const bool somebody_answers = wanted.answer || (!wanted.cancel && system->platform().toolkit.CanShow());
    return SessionSource{.system = std::move(system), .somebody_answers = somebody_answers};
  });
}

int32_t halden_open_capture(const halden_capture* capture, halden_adc** adc, char* error, size_t error_size) {
  return OpenWith(adc, error, error_size, [&] {
    const halden_capture wanted = CopyIn(capture);
    DemandNotNull(wanted.path);
    Demand(wanted.line_end == HALDEN_LINE_END_CR || wanted.line_end == HALDEN_LINE_END_LF,
           "line_end is no halden_line_end");
    Demand(wanted.line_rate >= 0 && wanted.line_rate <= 1e9, "line_rate is not 0 to 1e9");
    const LineEnd end = wanted.line_end == HALDEN_LINE_END_LF ? LineEnd::kLf : LineEnd::kCr;
    auto system = CapturePlatform::Open(wanted.path, end, UserNumberRules());
    if (!system)
      throw Failure{HALDEN_BAD_ARGUMENT, std::string(wanted.path) + " can't be read as a captured file"};
    ReplayDevice* const device = &system->device();
    return SessionSource{.system = std::move(system),
                         .capture = device,
                         .line_rate = wanted.line_rate > 0 ? wanted.line_rate : 1};
  });
}

int32_t halden_close(halden_adc* adc) {
  if (!adc) return HALDEN_OK;
  const int32_t allowed = Call(adc, [](OpenHandle&) {});
  if (allowed != HALDEN_OK) return allowed;
  OpenHandles::OfProcess().Remove(reinterpret_cast<std::uintptr_t>(adc));
  return HALDEN_OK;
}

int32_t halden_error_text(halden_adc* adc, const char** text) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(text);
    *text = handle.error.data();
  });
}

int32_t halden_next_notice(halden_adc* adc, const char** text) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(text);
    for (std::string& notice : handle.session.System().TakeNotices())
      handle.notices.push_back(std::move(notice));
    *text = nullptr;
    if (handle.notices.empty()) return;
    *text = Keep(handle, std::move(handle.notices.front()));
    handle.notices.pop_front();
  });
}

int32_t halden_list_devices(halden_adc* adc, halden_device* devices, size_t room, size_t* count) {
  return Call(adc, [&](OpenHandle& handle) {
    if (handle.session.Adc().Detected()) throw Failure{HALDEN_BUSY, "the device in use can't be listed"};
    DemandNotNull(count);
    const auto listed = ListDevices(handle.session.System().platform());
    auto failures = handle.session.System().OpenFailures();
    failures.resize(listed.size());
    CopyOutAll(listed.size(), devices, room, count, [&](std::size_t i) {
      halden_device device{};
      device.com_name = Keep(handle, listed[i].com_name);
      device.chip = Keep(handle, listed[i].chip);
      device.serial = Keep(handle, listed[i].serial);
      device.description = Keep(handle, listed[i].description);
      device.line_settings = Keep(handle, listed[i].line);
      device.failure = Keep(handle, failures[i]);
      return device;
    });
  });
}

int32_t halden_detect(halden_adc* adc) {
  return Call(adc, [](OpenHandle& handle) {
    if (!handle.session.Detect()) throw Failure{HALDEN_NOT_FOUND, WhyNothingWasFound(handle)};
  });
}

int32_t halden_is_detected(halden_adc* adc, int32_t* detected) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(detected);
    *detected = handle.session.Adc().Detected();
  });
}

int32_t halden_tried(halden_adc* adc, halden_attempt* attempts, size_t room, size_t* count) {
  return Call(adc, [&](OpenHandle& handle) {
    const auto failures = handle.session.System().OpenFailures();
    CopyOutAll(failures.size(), attempts, room, count,
               [&](std::size_t i) { return AttemptOf(handle, i, failures[i]); });
  });
}

int32_t halden_get_link(halden_adc* adc, halden_link* link) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandDetected(handle);
    const ListeningTap& tap = handle.session.Tap();
    const LinkState state = handle.session.Link();
    halden_link filled{};
    filled.serial = Keep(handle, Utf8(handle, tap.SerialNumber(tap.LatestIndex())));
    filled.description = Keep(handle, Utf8(handle, tap.Description(tap.LatestIndex())));
    filled.port = handle.session.Adc().BasePort();
    filled.baud = state.baud;
    filled.separator = state.format.IsOneValue() ? 0 : state.format.separator;
    filled.fields = state.format.columns;
    filled.measures_rate = state.auto_rate;
    CopyOut(filled, link);
  });
}

int32_t halden_range_text(halden_adc* adc, int32_t row, const char** text) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(text);
    Demand(row >= 0 && row < HALDEN_RANGES, "the row of a range is 0 to 14");
    *text = Keep(handle, handle.session.Adc().Ranges().at(static_cast<std::size_t>(row)));
  });
}

int32_t halden_name(halden_adc* adc, const char** name) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(name);
    *name = Keep(handle, handle.session.Adc().ADCName());
  });
}

int32_t halden_resolution(halden_adc* adc, int32_t* bits) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(bits);
    *bits = handle.session.Adc().Resolution();
  });
}

int32_t halden_channel_count(halden_adc* adc, int32_t* count) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(count);
    *count = handle.session.Adc().ChannelsCount();
  });
}

int32_t halden_channel_name(halden_adc* adc, int32_t channel, const char** name) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(name);
    const std::int16_t index = CheckedChannel(handle, channel);
    *name = Keep(handle, handle.session.Adc().ChannelName(index));
  });
}

int32_t halden_channel_unit(halden_adc* adc, int32_t channel, const char** unit) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(unit);
    const std::int16_t index = CheckedChannel(handle, channel);
    *unit = Keep(handle, handle.session.Adc().ChannelUnitName(index));
  });
}

int32_t halden_channel_range(halden_adc* adc, int32_t channel, int32_t* row) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(row);
    *row = handle.session.Adc().ChannelRange(CheckedChannel(handle, channel));
  });
}

int32_t halden_set_channel_range(halden_adc* adc, int32_t channel, int32_t row) {
  return Call(adc, [&](OpenHandle& handle) {
    Demand(row >= 0 && row < HALDEN_RANGES, "the row of a range is 0 to 14");
    handle.session.Adc().ChannelRange(CheckedChannel(handle, channel), static_cast<std::int16_t>(row));
  });
}

int32_t halden_channel_scale(halden_adc* adc, int32_t channel, float* scale, float* offset) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(scale, offset);
    const std::int16_t index = CheckedChannel(handle, channel);
    *scale = handle.session.Adc().ChannelUnitScale(index);
    *offset = handle.session.Adc().ChannelUnitOffset(index);
  });
}

int32_t halden_rate(halden_adc* adc, float* rate) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(rate);
    *rate = handle.session.Adc().Rate();
  });
}

int32_t halden_set_rate(halden_adc* adc, float rate) {
  return Call(adc, [&](OpenHandle& handle) { handle.session.Adc().Rate(rate); });
}

int32_t halden_rate_max(halden_adc* adc, float* rate) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(rate);
    DemandDetected(handle);
    *rate = handle.session.Adc().RateMax();
  });
}

int32_t halden_latest_codes(halden_adc* adc, int16_t* codes, size_t room, size_t* count) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandDetected(handle);
    CopyOutNumbers(handle.session.Adc().GetKadr(), codes, room, count);
  });
}

int32_t halden_latest_values(halden_adc* adc, float* values, size_t room, size_t* count) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandDetected(handle);
    const std::vector<std::int16_t> codes = handle.session.Adc().GetKadr();
    std::vector<float> latest(codes.size());
    ExpandCodes(handle, latest.data(), codes.data(), codes.size());
    CopyOutNumbers(latest, values, room, count);
  });
}

int32_t halden_last_line(halden_adc* adc, const char** line, size_t* size) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(line, size);
    *line = Keep(handle, handle.session.LastLine());
    *size = handle.texts.back().size();
  });
}

int32_t halden_set_columns(halden_adc* adc, const int16_t* channels, size_t count) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(channels);
    DemandNotRecording(handle);
    constexpr std::size_t kMost = std::numeric_limits<std::int16_t>::max();
    Demand(count >= 1 && count <= kMost, "a frame has 1 to 32767 columns");
    for (std::size_t i = 0; i < count; ++i) CheckedChannel(handle, channels[i]);
    handle.session.SetColumns({channels, channels + count});
  });
}

int32_t halden_columns(halden_adc* adc, int16_t* channels, size_t room, size_t* count) {
  return Call(adc,
              [&](OpenHandle& handle) { CopyOutNumbers(handle.session.Columns(), channels, room, count); });
}

int32_t halden_set_capacity(halden_adc* adc, int32_t frames) {
  return Call(adc, [&](OpenHandle& handle) {
    Demand(frames >= 1024, "the ring has 1024 frames or more");
    DemandNotRecording(handle);
    handle.session.Adc().InputSizeData(frames);
  });
}

int32_t halden_capacity(halden_adc* adc, int32_t* frames) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(frames);
    *frames = handle.session.Adc().InputSizeKadrs();
  });
}

int32_t halden_start(halden_adc* adc) {
  return Call(adc, [](OpenHandle& handle) {
    DemandDetected(handle);
    DemandNotRecording(handle);
    if (!handle.session.Start()) throw Failure{HALDEN_REFUSED, handle.session.Adc().LastError()};
  });
}

int32_t halden_stop(halden_adc* adc) {
  return Call(adc, [](OpenHandle& handle) {
    if (handle.session.Adc().Busy()) handle.session.Adc().StopRecord();
  });
}

int32_t halden_is_recording(halden_adc* adc, int32_t* recording) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(recording);
    *recording = handle.session.Adc().Busy();
  });
}

int32_t halden_waiting(halden_adc* adc, size_t* frames) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(frames);
    *frames = handle.session.Waiting();
  });
}

int32_t halden_serve(halden_adc* adc) {
  return Call(adc, [](OpenHandle& handle) { handle.session.Serve(); });
}

int32_t halden_read_codes(halden_adc* adc, int16_t* codes, size_t room, double timeout, double* times,
                          size_t* frames, size_t* waiting) {
  if (frames) *frames = 0;
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(codes);
    Read(handle, room, timeout, times, frames, waiting, [&] { return std::span(codes, room); });
  });
}

int32_t halden_read_values(halden_adc* adc, float* values, size_t room, double timeout, double* times,
                           size_t* frames, size_t* waiting) {
  if (frames) *frames = 0;
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(values);
    const std::size_t width = handle.session.Columns().size();
    std::int16_t* codes = nullptr;
    std::size_t codes_room = 0;
    // The codes go straight into the caller's buffer: into the upper half of the part that they will fill.
    Read(handle, room, timeout, times, frames, waiting, [&] {
      codes_room = std::min(room / width, handle.session.Waiting()) * width;
      codes = reinterpret_cast<std::int16_t*>(values) + codes_room;
      return std::span(codes, codes_room);
    });
    ExpandCodes(handle, values, codes, *frames * width);
  });
}

int32_t halden_get_losses(halden_adc* adc, halden_losses* losses) {
  return Call(adc, [&](OpenHandle& handle) {
    halden_losses filled{};
    filled.ring_was_full = handle.session.RingWasFull();
    filled.device_lost = handle.session.Tap().Lost();
    filled.overruns = handle.session.Overruns();
    filled.longest_pause = handle.session.LongestPause();
    CopyOut(filled, losses);
  });
}

int32_t halden_explain(halden_adc* adc, const char* line, size_t size, halden_field* fields, size_t room,
                       size_t* count) {
  return Call(adc, [&](OpenHandle& handle) {
    DemandNotNull(line);
    DemandDetected(handle);
    const LineFormat format = handle.session.Link().format;
    if (format.columns == 0)
      throw Failure{HALDEN_NOT_DETECTED, "no line has come yet, so no format is known"};
    std::vector<float> values(static_cast<std::size_t>(format.channels));
    const auto explained =
        ExplainLine(handle.session.TappedPlatform().number_rules, format, {line, size}, values);
    CopyOutAll(explained.size(), fields, room, count, [&](std::size_t i) {
      halden_field field{};
      field.text = Keep(handle, explained[i].text);
      field.text_size = explained[i].text.size();
      field.reading = static_cast<std::int32_t>(explained[i].reading);
      field.value = explained[i].value;
      return field;
    });
  });
}

int32_t halden_show_monitor(halden_adc* adc) {
  return Call(adc, [](OpenHandle& handle) {
    DemandNotRecording(handle);
    if (!handle.session.TappedPlatform().toolkit.CanShow())
      throw Failure{HALDEN_REFUSED, "no window can be shown here"};
    handle.session.Adc().ShowSetting();
  });
}
