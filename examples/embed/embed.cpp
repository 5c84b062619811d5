// A program with a loop of its own: it serves the driver's ticks itself and prints the latest values.
#include <chrono>
#include <cstdio>
#include <halden_text.h>
#include <thread>
#include <vector>

int main(int argc, char** argv) {
  const char* device = argc > 1 ? argv[1] : "sim";
  halden_options options{};
  options.struct_size = sizeof options;
  options.devices = &device;
  options.device_count = 1;
  halden_adc* adc = nullptr;
  char error[256];
  if (halden_open(&options, &adc, error, sizeof error) != HALDEN_OK || halden_detect(adc) != HALDEN_OK) {
    const char* text = error;
    halden_error_text(adc, &text);
    std::fprintf(stderr, "embed: %s\n", text);
    halden_close(adc);
    return 1;
  }
  std::vector<float> values(32);
  for (int shown = 0; shown < 5; ++shown) {
    for (int pass = 0; pass < 10; ++pass) {  // the program's own work goes here
      halden_serve(adc);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::size_t count = 0;
    halden_latest_values(adc, values.data(), values.size(), &count);
    for (std::size_t i = 0; i < count && i < values.size(); ++i) std::printf("%g ", values[i]);
    std::printf("\n");
  }
  halden_close(adc);
}
