// The input is a program that uses the C interface: which calls it makes, with which arguments, in which
// order, also after closing the handle and from another thread. The device is a captured file, so that
// waiting takes no time. Every call must answer with a result, and write nothing outside the room that it was
// given.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "fuzz/choices.h"
#include "sdk/c/halden_text.h"

namespace halden {
namespace {

/// A file in memory, for as long as the process lives.
std::string FileOf(const std::string& text) {
  const int file = memfd_create("capture", 0);
  Demand(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
         "a file can be made");
  return "/proc/self/fd/" + std::to_string(file);
}

std::string Lines(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += std::to_string(i) + ";-1.5\r\n";
  return text;
}

/// Calls of the interface with arguments from the input.
class Caller {
 public:
  explicit Caller(Choices& choices) : choices_(choices) {}
  ~Caller() { Demand(!adc_ || halden_close(adc_) == HALDEN_OK, "an open handle can be closed"); }

  /// One call. The room for what it returns ends where its argument says, which the sanitizer watches.
  void Call() {
    const int call = choices_.Below(44);
    if (call < 4) return Open(call);
    if (call == 4 && choices_.Below(4) == 0) return Close();
    const std::int32_t result = Use(call);
    Demand(result >= HALDEN_OK && result <= HALDEN_FAILED, "a call returns a halden_result");
    Demand(halden_result_text(result) != nullptr, "every result has a text");
    if (!adc_) Demand(result != HALDEN_OK, "a closed handle does nothing");
  }

 private:
  void Open(int how) {
    static const std::string files[] = {FileOf(Lines(300)), FileOf("1\n2\n3\n"), FileOf(""), "/nowhere"};
    if (adc_) return;
    char error[20];
    std::int32_t result = HALDEN_OK;
    if (how < 3) {
      const halden_capture capture{choices_.Below(8) == 7 ? choices_.Byte() : sizeof capture,
                                   files[choices_.Below(8) % 5 % 4].c_str(), choices_.Below(8) == 7, Real()};
      result = halden_open_capture(&capture, &adc_, error, sizeof error);
    } else {
      const std::string device = "sim:" + choices_.Text(choices_.Below(20));
      const char* const devices[] = {device.c_str(), nullptr};
      halden_options options{};
      options.struct_size = sizeof options;
      options.devices = devices;
      options.device_count = static_cast<std::size_t>(choices_.Below(3));
      options.registry_file = "/dev/null";
      options.dialog = choices_.Below(4);
      options.answer_channels = choices_.Byte();
      options.answer_rate = Real();
      result = halden_open(&options, &adc_, error, sizeof error);
      simulated_ = result == HALDEN_OK;
    }
    Demand((result == HALDEN_OK) == (adc_ != nullptr), "an opened handle comes with HALDEN_OK");
    Demand((result == HALDEN_OK) == (std::strlen(error) == 0), "a failure to open has a text");
    if (adc_) handle_ = adc_;
  }

  void Close() {
    const std::int32_t expected = adc_ || !handle_ ? HALDEN_OK : HALDEN_CLOSED;
    Demand(halden_close(handle_) == expected, "only an open handle, or null, is closed");
    adc_ = nullptr;
    simulated_ = false;
  }

  std::int32_t Use(int call) {
    halden_adc* const adc = choices_.Below(16) == 15 ? nullptr : handle_;
    if (choices_.Below(32) == 31) {
      std::int32_t result = HALDEN_OK;
      std::thread([&] { result = halden_serve(adc); }).join();
      Demand(result == HALDEN_CLOSED || result == HALDEN_WRONG_THREAD, "another thread can't use a handle");
      return result;
    }
    const char* text = nullptr;
    const std::int32_t result = Answer(call, adc, text);
    if (result == HALDEN_OK) Visit(text);
    return result;
  }

  std::int32_t Answer(int call, halden_adc* adc, const char*& text) {
    std::int32_t number = 0;
    float real = 0, offset = 0;
    std::size_t size = 0;
    const std::int32_t any = Any();
    switch (call) {
      case 4:
      case 5:
        return halden_detect(simulated_ ? nullptr : adc);  // a real second for each simulated device
      case 6:
        return halden_error_text(adc, Maybe(&text));
      case 7:
        return halden_next_notice(adc, Maybe(&text));
      case 8:
        return halden_is_detected(adc, Maybe(&number));
      case 9:
        return Fill<halden_device>([&](auto... to) { return halden_list_devices(adc, to...); });
      case 10:
        return Fill<halden_attempt>([&](auto... to) { return halden_tried(adc, to...); });
      case 11:
        return One<halden_link>([&](auto* link) { return halden_get_link(adc, link); });
      case 12:
        return One<halden_losses>([&](auto* losses) { return halden_get_losses(adc, losses); });
      case 13:
        return halden_range_text(adc, any, Maybe(&text));
      case 14:
        return halden_name(adc, Maybe(&text));
      case 15:
        return halden_resolution(adc, Maybe(&number));
      case 16:
        return halden_channel_count(adc, Maybe(&number));
      case 17:
        return halden_channel_name(adc, any, Maybe(&text));
      case 18:
        return halden_channel_unit(adc, any, Maybe(&text));
      case 19:
        return halden_channel_range(adc, any, Maybe(&number));
      case 20:
        return halden_set_channel_range(adc, any, Any());
      case 21:
        return halden_channel_scale(adc, any, Maybe(&real), Maybe(&offset));
      case 22:
        return halden_rate(adc, Maybe(&real));
      case 23:
        return halden_set_rate(adc, static_cast<float>(Real()));
      case 24:
        return halden_rate_max(adc, Maybe(&real));
      case 25:
        return Numbers<std::int16_t>([&](auto... to) { return halden_latest_codes(adc, to...); });
      case 26:
        return Numbers<float>([&](auto... to) { return halden_latest_values(adc, to...); });
      case 27:
        return Numbers<std::int16_t>([&](auto... to) { return halden_columns(adc, to...); });
      case 28:
        return LastLine(adc);
      case 29:
        return SetColumns(adc);
      case 30:
        return halden_set_capacity(adc, any % 5000);
      case 31:
        return halden_capacity(adc, Maybe(&number));
      case 32:
        return halden_start(adc);
      case 33:
        return halden_stop(adc);
      case 34:
        return halden_is_recording(adc, Maybe(&number));
      case 35:
        return halden_waiting(adc, Maybe(&size));
      case 36:
        return halden_serve(adc);
      case 37:
        return halden_show_monitor(adc);
      case 38:
      case 39:
        return Read<std::int16_t>([&](auto... to) { return halden_read_codes(adc, to...); });
      case 40:
      case 41:
        return Read<float>([&](auto... to) { return halden_read_values(adc, to...); });
      default:
        return Explain(adc);
    }
  }

  std::int32_t Any() {
    return choices_.Below(4) == 3 ? static_cast<std::int32_t>(choices_.Number()) : choices_.Below(16);
  }
  double Real() {
    double any = choices_.Byte();
    const std::uint64_t bits = std::uint64_t{choices_.Number()} << 32;
    if (choices_.Below(4) == 3) std::memcpy(&any, &bits, sizeof any);
    return any;
  }
  template <class Any>
  Any* Maybe(Any* pointer) {
    return choices_.Below(16) == 15 ? nullptr : pointer;
  }

  template <class Struct, class Function>
  std::int32_t One(Function function) {
    const std::size_t size = choices_.Below(4) == 3 ? choices_.Byte() : sizeof(Struct);
    // As large as it says, so that the sanitizer sees what is written beyond.
    const std::unique_ptr<void, decltype(&std::free)> room(std::calloc(1, std::max(size, sizeof size)),
                                                           std::free);
    auto* const whole = static_cast<Struct*>(room.get());
    whole->struct_size = size;
    return function(Maybe(whole));
  }
  template <class Struct, class Function>
  std::int32_t Fill(Function function) {
    std::vector<Struct> room(static_cast<std::size_t>(choices_.Below(3)));
    for (Struct& each : room)
      each.struct_size = choices_.Below(8) == 7 ? choices_.Byte() % sizeof each : sizeof each;
    std::size_t count = 0;
    const auto result = function(room.empty() ? nullptr : room.data(), room.size(), Maybe(&count));
    for (std::size_t i = 0; result == HALDEN_OK && i < std::min(room.size(), count); ++i) Visit(room[i]);
    return result;
  }
  /// Reads what a returned text or element points to, so that the sanitizer sees it.
  static void Visit(const char* text) { Demand(!text || std::strlen(text) < 100000, "texts end"); }
  static void Visit(const char* bytes, std::size_t size) {
    Demand(std::count(bytes, bytes + size, 'x') <= 100000, "bytes can be read");
  }
  static void Visit(const halden_device& device) {
    for (const char* text : {device.com_name, device.chip, device.serial, device.failure}) Visit(text);
  }
  static void Visit(const halden_attempt& attempt) {
    Visit(attempt.text);
    Visit(attempt.sample, attempt.sample_size);
  }
  static void Visit(const halden_field& field) { Visit(field.text, field.text_size); }

  template <class Number, class Function>
  std::int32_t Numbers(Function function) {
    std::vector<Number> room(static_cast<std::size_t>(choices_.Below(5)));
    std::size_t count = 0;
    return function(Maybe(room.data()), room.size(), Maybe(&count));
  }
  template <class Number, class Function>
  std::int32_t Read(Function function) {
    std::vector<Number> room(choices_.Byte());
    std::vector<double> times(room.size());
    std::size_t frames = 1, waiting = 0;
    std::size_t* const count = Maybe(&frames);
    const auto result = function(Maybe(room.data()), room.size(), choices_.Below(8) == 7 ? Real() : 0.2,
                                 Maybe(times.data()), count, Maybe(&waiting));
    Demand(!count || frames <= room.size(), "no more frames are returned than there is room for");
    Demand(!count || (frames > 0) == (result == HALDEN_OK) || !adc_ || result == HALDEN_WRONG_THREAD,
           "frames come with HALDEN_OK, and only with it");
    return result;
  }
  std::int32_t LastLine(halden_adc* adc) {
    const char* line = nullptr;
    std::size_t size = 0;
    const auto result = halden_last_line(adc, Maybe(&line), Maybe(&size));
    if (result == HALDEN_OK) Visit(line, size);
    return result;
  }
  std::int32_t SetColumns(halden_adc* adc) {
    std::vector<std::int16_t> channels(static_cast<std::size_t>(choices_.Below(5)));
    for (auto& channel : channels) channel = static_cast<std::int16_t>(Any());
    return halden_set_columns(adc, Maybe(channels.data()), channels.size());
  }
  std::int32_t Explain(halden_adc* adc) {
    const std::string line = choices_.Text(choices_.Byte());
    return Fill<halden_field>(
        [&](auto... to) { return halden_explain(adc, line.data(), line.size(), to...); });
  }

  Choices& choices_;
  halden_adc* adc_ = nullptr;     // null once it is closed
  halden_adc* handle_ = nullptr;  // the last that was opened
  bool simulated_ = false;
};

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  halden::Choices choices(bytes, size);
  halden::Caller caller(choices);
  for (int calls = 0; choices.Left() && calls < 300; ++calls) caller.Call();
  return 0;
}
