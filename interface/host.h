#pragma once

/// What the library needs from the system it runs on. A host defines these functions in its program or in a
/// library of its own; `servicemux_host` has a default for each of them. A definition in the program wins over
/// the default. All of them are called from several threads at a time, and log_function, thread_alive and the
/// clock functions also from threads of real-time priority: none of them may block for long.

#ifdef __cplusplus
extern "C" {
#endif

#define SERVICEMUX_HOST __attribute__((visibility("default")))

/// Levels of log_function, numbered as in syslog.
enum HostLogLevel {
  HOST_LOG_ERROR = 3,
  HOST_LOG_WARNING = 4,  ///< also the steps of a lifecycle
  HOST_LOG_NOTICE = 5,   ///< a table added, updated or cleared
  HOST_LOG_INFO = 6,
  HOST_LOG_DEBUG = 7,
};

/// Takes one message, printf-style and without a line end. `module` is always 0.
SERVICEMUX_HOST void log_function(int level, int module, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Says for which output the calling thread logs from now on: its name, valid until the next call, or null for
/// none. Returns what was said before. A log can tell outputs apart by it where a message itself does not name its
/// output.
SERVICEMUX_HOST const char* log_context(const char* output);

/// Enters the calling thread into the watchdog's list. Returns a handle, 0 on failure.
SERVICEMUX_HOST unsigned int watchdog_register_task(void);

/// Takes a task off the watchdog's list. Returns 0 on success.
SERVICEMUX_HOST int watchdog_unregister_task(unsigned int handle);

/// Tells the watchdog that the task lives. Called about every ten seconds.
SERVICEMUX_HOST void thread_alive(unsigned int handle);

/// Returns the slot number of the module that hosts this process, 0 on a machine without slots.
SERVICEMUX_HOST int get_cached_module_slot(void);

/// Returns the current UTC time as the 40-bit code of EN 300 468 annex C: 16-bit MJD, then hhmmss in BCD.
SERVICEMUX_HOST long long GetUTCTime(void);

/// Returns 0 when GetUTCTime can be trusted.
SERVICEMUX_HOST int IsSystemTimeSet(void);

/// Returns the value of two BCD digits: 0x45 gives 45.
SERVICEMUX_HOST int bcd4_2_bin(unsigned char bcd);

/// Returns the POSIX time (s) of a 40-bit UTC code as GetUTCTime gives it.
SERVICEMUX_HOST long long convertDVBTimeToTimestamp(unsigned long long utc);

#ifdef __cplusplus
}
#endif
