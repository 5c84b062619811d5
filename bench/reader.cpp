// Reads a device for some seconds as a program that uses the C library does, and prints what that took since
// the start of the recording.
//
// usage: halden-reader DEVICE SECONDS

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <vector>

#include "sdk/c/halden_text.h"

namespace {

struct Used {
  double seconds = 0;  // of processor time
  long waits = 0;

  static Used Now() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw};
  }
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const char* const device = arguments[1];
  const double wanted = std::atof(arguments[2]);
  halden_options options{};
  options.struct_size = sizeof options;
  options.devices = &device;
  options.device_count = 1;
  options.registry_file = "/dev/null";
  halden_adc* adc = nullptr;
  char error[256];
  if (halden_open(&options, &adc, error, sizeof error) != HALDEN_OK || halden_detect(adc) != HALDEN_OK ||
      halden_start(adc) != HALDEN_OK) {
    std::fprintf(stderr, "halden-reader: %s\n", error);
    return 1;
  }
  std::vector<float> values(1 << 16);
  std::vector<double> times(values.size());
  const Used before = Used::Now();
  const auto start = std::chrono::steady_clock::now();
  double seconds = 0;
  std::size_t all = 0;
  while (seconds < wanted) {
    std::size_t frames = 0;
    halden_read_values(adc, values.data(), values.size(), 0.1, times.data(), &frames, nullptr);
    all += frames;
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  const Used after = Used::Now();
  std::printf("%.1f %.2f %.0f\n", double(after.waits - before.waits) / seconds,
              100 * (after.seconds - before.seconds) / seconds, double(all) / seconds);
  return halden_close(adc) == HALDEN_OK ? 0 : 1;
}
