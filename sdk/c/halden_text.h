#ifndef HALDEN_TEXT_H
#define HALDEN_TEXT_H

/**
 * halden-text: a serial device that sends lines of numbers, as an analog-to-digital converter. C99.
 *
 * A usual program:
 *
 *     halden_options options = {.struct_size = sizeof options};
 *     halden_adc* adc = NULL;
 *     char error[256];
 *     if (halden_open(&options, &adc, error, sizeof error) != HALDEN_OK) ...
 *     halden_detect(adc);
 *     halden_start(adc);
 *     halden_read_values(adc, values, room, 1.0, NULL, &frames, NULL);
 *     halden_close(adc);
 *
 * Results: every function except for the three on versions and result texts returns a halden_result.
 * Besides those that it names, each function that takes a handle may return HALDEN_CLOSED and
 * HALDEN_WRONG_THREAD, and HALDEN_BAD_ARGUMENT for a null pointer where none is allowed. What a call returns
 * through pointers means something only after HALDEN_OK unless the call says otherwise. halden_error_text
 * says in one line what was wrong.
 *
 * Threads: a handle belongs to the thread that opened it, and only that thread may use it, because the
 * driver's ticks run inside its calls. Handles on different threads are independent.
 *
 * Ticks: the driver reads the device every 50 ms, inside halden_read_codes, halden_read_values, halden_serve
 * and halden_detect. A program that records must call one of them at least every 0.2 s, or the system's
 * queues may overflow.
 *
 * Texts: UTF-8. A returned text belongs to the handle and is valid until the next call with that handle.
 * What a device has sent is returned in the bytes of the system's code page, with a length.
 *
 * Structures begin with struct_size, which the caller sets to sizeof of its own version of the structure. A
 * later version of the library may add members at the end. Members beyond the caller's size count as 0, and
 * are not written.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(HALDEN_STATIC_LIBRARY)
#define HALDEN_API
#elif defined(_WIN32) && defined(HALDEN_BUILDS_LIBRARY)
#define HALDEN_API __declspec(dllexport)
#elif defined(_WIN32)
#define HALDEN_API __declspec(dllimport)
#elif defined(__GNUC__)
#define HALDEN_API __attribute__((visibility("default")))
#else
#define HALDEN_API
#endif

/** An opened driver. */
typedef struct halden_adc halden_adc;

/** What a call returns. New values may be added at the end. */
typedef enum halden_result {
  HALDEN_OK = 0,
  HALDEN_BAD_ARGUMENT =
      1,                /**< null, out of range, a wrong struct_size or a device option that isn't allowed */
  HALDEN_NOT_FOUND = 2, /**< no device was recognised; see halden_tried */
  HALDEN_NOT_DETECTED = 3,  /**< the call needs a device, and halden_detect hasn't found one yet */
  HALDEN_BUSY = 4,          /**< not while a recording runs, or while another call with the handle runs */
  HALDEN_REFUSED = 5,       /**< the driver refused; the error text gives its reason */
  HALDEN_TIMED_OUT = 6,     /**< no frame came in time */
  HALDEN_DEVICE_LOST = 7,   /**< the device is gone, and all its frames have been read */
  HALDEN_ENDED = 8,         /**< the captured file has ended, and all its frames have been read */
  HALDEN_CLOSED = 9,        /**< the handle is closed or was never opened */
  HALDEN_WRONG_THREAD = 10, /**< the handle belongs to another thread */
  HALDEN_NO_MEMORY = 11,
  HALDEN_FAILED = 12 /**< anything else; the error text gives the reason */
} halden_result;

/* Versions ------------------------------------------------------------------------------------------- */

/** The version of the library, as 10000 * major + 100 * minor + patch. */
HALDEN_API int32_t halden_version_number(void);
/** The same as a text, such as "3.2.2". Static. */
HALDEN_API const char* halden_version_text(void);
/** What a result means, in a few words. Static; never null, also for numbers that are no halden_result. */
HALDEN_API const char* halden_result_text(int32_t result);

/* Opening and closing -------------------------------------------------------------------------------- */

/** Who answers the driver's port dialog, which asks for port, channels and rate if no device is recognised.
 */
typedef enum halden_dialog {
  HALDEN_DIALOG_CANCEL = 0, /**< nobody: no window opens, and detection fails */
  HALDEN_DIALOG_ANSWER = 1, /**< the answer_ members of halden_options */
  HALDEN_DIALOG_SHOW = 2    /**< the user, in a window or on the terminal */
} halden_dialog;

typedef struct halden_options {
  size_t struct_size;
  /** Where devices come from, such as "sim:columns=2", "tty:/dev/ttyUSB0,baud=9600", "linux" or
   *  "replay:FILE"; on Windows "d2xx", "sim" and "replay". They are listed in this order. Null or
   *  device_count 0: one simulated device. */
  const char* const* devices;
  size_t device_count;
  const char* registry_file; /**< with the stored settings; null: the user's own; on Windows null or "NUL" */
  int32_t dialog;            /**< a halden_dialog */
  int32_t answer_port;       /**< for HALDEN_DIALOG_ANSWER: the row in the list of ports, from 0 */
  int32_t answer_channels;   /**< 1 to 32 */
  double answer_rate;        /**< frames per second, above 0 */
} halden_options;

/**
 * Opens a driver on this thread. Opens no device. `error` may be null; otherwise it becomes a text of at most
 * error_size - 1 bytes, empty after HALDEN_OK. HALDEN_BAD_ARGUMENT, HALDEN_NO_MEMORY.
 */
HALDEN_API int32_t halden_open(const halden_options* options, halden_adc** adc, char* error,
                               size_t error_size);

/** How a captured file ends its lines. */
typedef enum halden_line_end { HALDEN_LINE_END_CR = 0, HALDEN_LINE_END_LF = 1 } halden_line_end;

typedef struct halden_capture {
  size_t struct_size;
  const char* path;
  int32_t line_end; /**< a halden_line_end; HALDEN_LINE_END_CR also for CR LF */
  double
      line_rate; /**< lines per second, from which the times of frames are computed; 0: one line a second */
} halden_capture;

/**
 * Opens a driver whose device is a captured file and whose time is simulated, so that the file is read as
 * fast as the machine can. Otherwise the handle is like any other: detect, start, and read until
 * HALDEN_ENDED. As in a recording, the first lines are used to recognise the device. Stores no settings.
 * HALDEN_BAD_ARGUMENT also if the file can't be read. `error` as for halden_open.
 */
HALDEN_API int32_t halden_open_capture(const halden_capture* capture, halden_adc** adc, char* error,
                                       size_t error_size);

/** Stops a recording, closes the device, stores the settings and releases the handle. Null is allowed. */
HALDEN_API int32_t halden_close(halden_adc* adc);

/** Why the last call with this handle that failed did so; "" if none has. Doesn't change the text. */
HALDEN_API int32_t halden_error_text(halden_adc* adc, const char** text);

/** The oldest warning that hasn't been returned yet, such as "settings could not be stored"; null if there is
 *  none. */
HALDEN_API int32_t halden_next_notice(halden_adc* adc, const char** text);

/* Devices and detection ------------------------------------------------------------------------------ */

/** A device of the device list. */
typedef struct halden_device {
  size_t struct_size;
  const char* com_name; /**< "COM5"; "" if the device can't be opened */
  const char* chip;     /**< name of the chip type */
  const char* serial;
  const char* description;
  const char* line_settings; /**< "9600,N,8,1"; "" if the device can't be opened */
  const char* failure;       /**< why it can't be opened; "" if it can */
} halden_device;

/**
 * Lists the devices. `devices` has room for `room` elements, each with its struct_size set; null only with
 * room 0. `*count` is the number of devices, which may be larger than `room`: then the rest are left out. A
 * port that is closed may be opened for a moment. HALDEN_BUSY once a device has been detected.
 */
HALDEN_API int32_t halden_list_devices(halden_adc* adc, halden_device* devices, size_t room, size_t* count);

/**
 * Finds the device: listens to every port in turn. Takes up to several seconds for each silent device. A
 * device that was silent gets a second chance, since some boards restart when their port is opened. HALDEN_OK
 * at once if a device was found before. HALDEN_NOT_FOUND, HALDEN_BUSY (called again from inside itself).
 */
HALDEN_API int32_t halden_detect(halden_adc* adc);

/** Whether halden_detect has found a device. */
HALDEN_API int32_t halden_is_detected(halden_adc* adc, int32_t* detected);

/** Why a device was not recognised: the first of these that applies. */
typedef enum halden_cause {
  HALDEN_CAUSE_NOT_OPENED = 0,  /**< it could not be opened */
  HALDEN_CAUSE_NOTHING = 1,     /**< no byte came */
  HALDEN_CAUSE_NOT_TEXT = 2,    /**< mostly not text: the baud rate is probably wrong */
  HALDEN_CAUSE_LF_ONLY = 3,     /**< lines end in LF without CR: add eol=lf to the device option */
  HALDEN_CAUSE_NO_LINE_END = 4, /**< text without CR or LF */
  HALDEN_CAUSE_FEW_LINES = 5,   /**< fewer than three CRs */
  HALDEN_CAUSE_EMPTY_LINES = 6, /**< line ends only */
  HALDEN_CAUSE_NONE = 7         /**< the bytes show no reason, or the device was recognised */
} halden_cause;

/** What was heard of a device since it was last opened. */
typedef struct halden_attempt {
  size_t struct_size;
  const char* serial;
  const char* description;
  int32_t cause;    /**< a halden_cause */
  const char* text; /**< the cause in words, in one line */
  uint32_t baud;    /**< the last rate set, bits per second; 0: none was set */
  uint64_t bytes;   /**< received */
  uint64_t returns; /**< CRs among them */
  uint64_t feeds;   /**< LFs among them */
  uint64_t unprintable;
  const char* sample; /**< the first bytes as received, not terminated */
  size_t sample_size; /**< at most 60 */
} halden_attempt;

/**
 * What the last halden_detect heard, for each device that was listed then. Arguments as for
 * halden_list_devices.
 */
HALDEN_API int32_t halden_tried(halden_adc* adc, halden_attempt* attempts, size_t room, size_t* count);

/** The device in use. */
typedef struct halden_link {
  size_t struct_size;
  const char* serial;
  const char* description;
  int32_t port;          /**< number of the COM port */
  int32_t baud;          /**< bits per second */
  int32_t separator;     /**< character between two fields: tab, ';', blank or '('; 0: a line is one value */
  int32_t fields;        /**< fields of a line */
  int32_t measures_rate; /**< 1: halden_rate is measured from the lines; 0: it is what the user gave */
} halden_link;

/** HALDEN_NOT_DETECTED. */
HALDEN_API int32_t halden_get_link(halden_adc* adc, halden_link* link);

/* Channels and ranges -------------------------------------------------------------------------------- */

/** Number of rows of the range table. Rows 0 to 4 are decimal: code / scale + offset is what the device sent.
 *  On the others it is a part of the full scale. */
#define HALDEN_RANGES 15

/** The text of a row, such as "±10" or "Int 8-bit". `row` is 0 to 14. */
HALDEN_API int32_t halden_range_text(halden_adc* adc, int32_t row, const char** text);

/** The name of the driver that the handle holds. */
HALDEN_API int32_t halden_name(halden_adc* adc, const char** name);
/** Width of a code in bits. */
HALDEN_API int32_t halden_resolution(halden_adc* adc, int32_t* bits);
/** Channels of the device; 0 until detected. */
HALDEN_API int32_t halden_channel_count(halden_adc* adc, int32_t* count);

/* For all that take a channel: 0 to the number of channels - 1, otherwise HALDEN_BAD_ARGUMENT, and
 * HALDEN_NOT_DETECTED before detection. */

/** "Column1" for channel 0. */
HALDEN_API int32_t halden_channel_name(halden_adc* adc, int32_t channel, const char** name);
/** The unit; always "", because the lines don't name units. */
HALDEN_API int32_t halden_channel_unit(halden_adc* adc, int32_t channel, const char** unit);
/** The row of the channel's range. */
HALDEN_API int32_t halden_channel_range(halden_adc* adc, int32_t channel, int32_t* row);
/** Puts a channel on a row, 0 to 14. Takes effect with the next line, also while recording. Detection puts
 *  every channel on row 0. */
HALDEN_API int32_t halden_set_channel_range(halden_adc* adc, int32_t channel, int32_t row);
/** value = code / scale + offset, under the channel's range. */
HALDEN_API int32_t halden_channel_scale(halden_adc* adc, int32_t channel, float* scale, float* offset);

/** Frames per second: measured, or what the user gave. */
HALDEN_API int32_t halden_rate(halden_adc* adc, float* rate);
/** Accepted and ignored: the device sets the pace. */
HALDEN_API int32_t halden_set_rate(halden_adc* adc, float rate);
/** The highest rate that the line settings allow, frames per second. HALDEN_NOT_DETECTED. */
HALDEN_API int32_t halden_rate_max(halden_adc* adc, float* rate);

/** The codes of the last line, for the channels of a frame. `codes` has room for `room`. `*count` is the
 *  number of columns; if it is above `room`, the rest are left out. */
HALDEN_API int32_t halden_latest_codes(halden_adc* adc, int16_t* codes, size_t room, size_t* count);
/** The same as values. */
HALDEN_API int32_t halden_latest_values(halden_adc* adc, float* values, size_t room, size_t* count);
/** The last whole line as received, without its line end. `*size` is in bytes; 0 if none has come. */
HALDEN_API int32_t halden_last_line(halden_adc* adc, const char** line, size_t* size);

/* Recording ------------------------------------------------------------------------------------------ */

/** Sets the channels of a frame, in order. A channel may repeat. After detection a frame has all channels.
 *  Frames that still wait are dropped if the channels change. HALDEN_BUSY, HALDEN_NOT_DETECTED. */
HALDEN_API int32_t halden_set_columns(halden_adc* adc, const int16_t* channels, size_t count);
/** The channels of a frame; room and count as for halden_latest_codes. */
HALDEN_API int32_t halden_columns(halden_adc* adc, int16_t* channels, size_t room, size_t* count);

/** Sets the size of the driver's ring, 1024 frames or more. Takes effect with the next halden_start.
 *  HALDEN_BUSY. */
HALDEN_API int32_t halden_set_capacity(halden_adc* adc, int32_t frames);
/** The size of the ring in frames. */
HALDEN_API int32_t halden_capacity(halden_adc* adc, int32_t* frames);

/** Starts to store a frame for each line, and drops frames that still wait. Times count from now.
 *  HALDEN_BUSY, HALDEN_NOT_DETECTED, HALDEN_REFUSED. */
HALDEN_API int32_t halden_start(halden_adc* adc);
/** Stops storing, which takes 50 ms. Frames can still be read. HALDEN_OK also if no recording runs. */
HALDEN_API int32_t halden_stop(halden_adc* adc);
/** Whether a recording runs. */
HALDEN_API int32_t halden_is_recording(halden_adc* adc, int32_t* recording);
/** Frames that wait to be read. Doesn't serve ticks. */
HALDEN_API int32_t halden_waiting(halden_adc* adc, size_t* frames);

/** Makes one pass of the messages, in which the ticks run. May sleep for 1 ms. For programs with a loop of
 *  their own; halden_read_codes and halden_read_values do it too. */
HALDEN_API int32_t halden_serve(halden_adc* adc);

/**
 * Reads whole frames, oldest first. Blocks until one is there or `timeout` seconds (0 to 1e6) have passed,
 * and serves the ticks meanwhile. It wakes up for each tick, 20 times a second.
 *
 * codes: room for `room` codes, frame after frame. `room` must hold at least one frame.
 * times: null, or room for one double per frame: when the line came, in seconds since halden_start. A time is
 *     right to one tick, 50 ms; times never run backwards.
 * frames: how many were read, also set on failure (to 0).
 * waiting: null, or how many frames still wait.
 *
 * HALDEN_TIMED_OUT, HALDEN_DEVICE_LOST, HALDEN_ENDED; HALDEN_NOT_DETECTED; HALDEN_REFUSED if no recording was
 * started.
 */
HALDEN_API int32_t halden_read_codes(halden_adc* adc, int16_t* codes, size_t room, double timeout,
                                     double* times, size_t* frames, size_t* waiting);
/** The same as values, code / scale + offset: what the device sent on rows 0 to 4, a part of the full scale
 * on the others. All values of one call are computed with the ranges of now. */
HALDEN_API int32_t halden_read_values(halden_adc* adc, float* values, size_t room, double timeout,
                                      double* times, size_t* frames, size_t* waiting);

/** What was lost since halden_start. */
typedef struct halden_losses {
  size_t struct_size;
  int32_t ring_was_full; /**< 1: the ring was full at a read, so frames may be missing */
  int32_t device_lost;   /**< 1: calls on the device fail; it was probably unplugged */
  uint64_t overruns;     /**< how often the system has reported that received bytes were lost */
  double longest_pause;  /**< longest time between two passes of the messages, seconds */
} halden_losses;

HALDEN_API int32_t halden_get_losses(halden_adc* adc, halden_losses* losses);

/* Explanations and windows --------------------------------------------------------------------------- */

/** How a field of a line was read. */
typedef enum halden_reading {
  HALDEN_READING_NUMBER = 0,        /**< a number as received */
  HALDEN_READING_STRIPPED = 1,      /**< after the text around it was removed: "T=4.5C" */
  HALDEN_READING_MARK_REPLACED = 2, /**< after its decimal mark was replaced by the system's */
  HALDEN_READING_FRONT_ONLY = 3,    /**< only its beginning: "1.2.3" gives 1.2 */
  HALDEN_READING_NO_NUMBER = 4,     /**< no digit: the channel becomes 0 */
  HALDEN_READING_NOT_STORED = 5,    /**< digits but no number ("12:34"): the channel keeps its value */
  HALDEN_READING_NOTHING_LEFT = 6,  /**< nothing follows the last separator: the channel keeps its value */
  HALDEN_READING_MISSING = 7,       /**< the line has no such field: the channel becomes 0 */
  HALDEN_READING_IGNORED = 8        /**< the device has no channel for it */
} halden_reading;

typedef struct halden_field {
  size_t struct_size;
  const char* text; /**< as received, without blanks at its ends; not terminated */
  size_t text_size; /**< in bytes */
  int32_t reading;  /**< a halden_reading */
  float value;      /**< the channel's value after the line; 0 for HALDEN_READING_IGNORED */
} halden_field;

/**
 * Explains how the driver would read a line of `size` bytes, without its line end, in the format that it has
 * learned. All channels start at 0. Changes nothing. Room and count as for halden_list_devices.
 * HALDEN_NOT_DETECTED, also if no format is known yet.
 */
HALDEN_API int32_t halden_explain(halden_adc* adc, const char* line, size_t size, halden_field* fields,
                                  size_t room, size_t* count);

/** Shows the driver's own window and returns when the user has closed it. HALDEN_BUSY, HALDEN_REFUSED if no
 *  window can be shown. */
HALDEN_API int32_t halden_show_monitor(halden_adc* adc);

#ifdef __cplusplus
}
#endif

#endif
