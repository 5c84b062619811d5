/* Finds a device, reads it for a second and prints the values.
 *
 *     cc record.c -o record $(pkg-config --cflags --libs halden-text)
 *     ./record sim:columns=2
 */
#include <halden_text.h>
#include <stdio.h>

static int fail(halden_adc* adc, const char* what, int32_t result) {
  const char* text = NULL;
  if (halden_error_text(adc, &text) != HALDEN_OK) text = halden_result_text(result);
  fprintf(stderr, "record: %s: %s\n", what, text);
  halden_close(adc);
  return 1;
}

int main(int argc, char** argv) {
  const char* device = argc > 1 ? argv[1] : "sim";
  halden_options options = {.struct_size = sizeof options, .devices = &device, .device_count = 1};
  halden_adc* adc = NULL;
  char error[256];
  if (halden_open(&options, &adc, error, sizeof error) != HALDEN_OK) {
    fprintf(stderr, "record: %s\n", error);
    return 1;
  }
  int32_t result = halden_detect(adc);
  if (result != HALDEN_OK) return fail(adc, "no device", result);
  int32_t channels = 0;
  halden_channel_count(adc, &channels);
  result = halden_start(adc);
  if (result != HALDEN_OK) return fail(adc, "not started", result);

  double times[256];
  float values[256 * 32];
  double last = 0;
  while (last < 1.0) {
    size_t frames = 0;
    const size_t room = (size_t)channels <= 32 ? 256 * (size_t)channels : 256 * 32;
    result = halden_read_values(adc, values, room, 2.0, times, &frames, NULL);
    if (result != HALDEN_OK) return fail(adc, "not read", result);
    for (size_t i = 0; i < frames; ++i) {
      printf("%.3f", times[i]);
      for (int32_t c = 0; c < channels; ++c) printf(",%g", values[i * (size_t)channels + (size_t)c]);
      printf("\n");
    }
    last = times[frames - 1];
  }
  return halden_close(adc) == HALDEN_OK ? 0 : 1;
}
