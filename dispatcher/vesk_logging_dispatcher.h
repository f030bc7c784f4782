/* Run-time control of the logging dispatcher libcommon-logging-dispatcher.so.
 *
 * The dispatcher is normally loaded by libvesk_genicam.so with dlopen, so a program usually
 * reaches this function the same way: dlopen the dispatcher with RTLD_NOLOAD and look up
 * VESK_LOGGING_DISPATCHER_SET_LEVELS_SYMBOL with dlsym. */
#ifndef VESK_DISPATCHER_VESK_LOGGING_DISPATCHER_H
#define VESK_DISPATCHER_VESK_LOGGING_DISPATCHER_H

#if defined(__GNUC__)
#define VESK_LOGGING_DISPATCHER_API __attribute__((visibility("default")))
#else
#define VESK_LOGGING_DISPATCHER_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Re-applies logger levels, in the syntax of VESK_LOG_LEVEL ("3", "*=5,vesk.genicam.lib=1");
 * NULL or an empty string silences every logger. Every registered logger gets its new level and
 * every attached client hears of it through its setLevel callback, once per logger id. Loggers
 * registered later take their level from this text too. Bad entries are reported on stderr and
 * otherwise ignored. */
VESK_LOGGING_DISPATCHER_API void vesk_logging_dispatcher_set_levels(const char* config);

typedef void (*VeskLoggingDispatcherSetLevelsFn)(const char* config);
#define VESK_LOGGING_DISPATCHER_SET_LEVELS_SYMBOL "vesk_logging_dispatcher_set_levels"

#ifdef __cplusplus
}
#endif

#endif
