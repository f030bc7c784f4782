/* The contract between the logging client of libvesk_genicam.so and a logging dispatcher
 * library ("libcommon-logging-dispatcher.so"). A dispatcher exports one data object of type
 * LoggingDispatcherDescriptor under the name "logging_dispatcher_descriptor".
 *
 * All functions may be called from any thread. Levels are plain numbers: a message passes a
 * logger when its level is not below the logger's level; 7 lets nothing through. */
#ifndef VESK_TOOLS_LOGGING_LOGGING_DISPATCHER_DESCRIPTOR_H
#define VESK_TOOLS_LOGGING_LOGGING_DISPATCHER_DESCRIPTOR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Filled in by the dispatcher: the id and the current level of a logger name. One name always
 * maps to one id; several names may share an id. */
typedef void (*LoggingRegisterLoggerFn)(const char* name, uint64_t* id, unsigned int* level);

/* Filled in by the dispatcher: one finished message. The last two arguments are reserved, 0. */
typedef void (*LoggingWriteFn)(uint64_t id, unsigned int level, const char* text,
                               unsigned int reserved1, unsigned long reserved2);

/* Given by the client: the dispatcher calls it when it goes away; afterwards the client must not
 * call the register or write functions again. Returns the client record. */
typedef void* (*LoggingForgetFn)(void* client);

/* Given by the client: a logger's level changed. */
typedef void (*LoggingSetLevelFn)(void* client, uint64_t id, unsigned int level);

typedef struct LoggingDispatcherDescriptor LoggingDispatcherDescriptor;

struct LoggingDispatcherDescriptor {
  /* Attaches a client: the dispatcher keeps the client pointer and both callbacks, and fills the
   * two slots. */
  void (*attach)(void* client, LoggingForgetFn forget, LoggingSetLevelFn setLevel,
                 LoggingRegisterLoggerFn* registerSlot, LoggingWriteFn* writeSlot,
                 const LoggingDispatcherDescriptor* self);
  /* Detaches a client; the dispatcher calls none of its callbacks after this returns. */
  void (*detach)(void* client);
};

#ifdef __cplusplus
}
#endif

#endif
