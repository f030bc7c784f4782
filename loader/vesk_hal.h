/* Board library ("vesk_hal"): the contract between libvesk_genicam.so and a board runtime.
 *
 * libvesk_genicam.so does not link the board library. It exports forwarding stubs of these
 * functions that open <installation>/lib64/libvesk_hal.so on first use; the simulated board
 * runtime of this project and a vendor's runtime both implement this header.
 *
 * Results: unless a function says otherwise, 0 is success and a negative number an error. When
 * the board library cannot be loaded, the stubs answer VHAL_ERROR_LIBRARY_NOT_LOADED where a
 * status is returned, -1 where an index is returned, and NULL or 0 where a pointer is returned.
 * All functions may be called from any thread; queue reads and writes block at most for their
 * time-out. */
#ifndef VESK_LOADER_VESK_HAL_H
#define VESK_LOADER_VESK_HAL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VHAL_ERROR_LIBRARY_NOT_LOADED (-2130)

/* The public header of libvesk_genicam.so declares these types as well, under the same guard. */
#ifndef VESK_BOARD_LIBRARY_TYPES
#define VESK_BOARD_LIBRARY_TYPES
/* An opened board of the board library. */
typedef struct PLdevice PLdevice;
/* The firmware design loaded on a board (see dsnrt.h). */
typedef struct fpga_design fpga_design;

/* What an application hands to Mlo_initBoardEx: an opened board and its loaded design. The
 * application owns it and keeps both members alive while the board is in use. */
typedef struct Fg_Struct_s Fg_Struct_s;
struct Fg_Struct_s {
  PLdevice* device;
  fpga_design* design;
};
#endif

/* ---- Library start and stop, called by the loader once per load ---- */
int VeskHalInit(void);
void VeskHalDeinit(void);

/* ---- Boards ---- */
/* Number of boards in the system (0 or more), or a negative status. */
int VHalGetNrOfBoards(void);
/* Opens the board with the given index (0 .. VHalGetNrOfBoards() - 1); NULL on failure. */
PLdevice* VHalInitDevice(int boardIndex);
/* As VHalInitDevice; flags are reserved for the runtime and 0 asks for the defaults. */
PLdevice* VHalInitDeviceEx(int boardIndex, unsigned int flags);
/* Closes a board opened by VHalInitDevice or VHalInitDeviceEx. */
int VHalFreeDevice(PLdevice* device);
/* The index of an opened board; reserved must be 0. Negative on failure. */
int VHalGetBoardIndex(PLdevice* device, int reserved);
/* An integer fact of the board by key: "board/type", "board/serial", "ports/gige". A negative
 * status for an unknown key or board. */
int VHalGetBoardInfoInt(PLdevice* device, const char* key);

/* ---- Firmware registers ----
 * Ids come from DsnGetRegisterByName. An id of 0 or below means "not in this design": reading or
 * writing it gives a negative status and touches nothing. */
int VHalRegisterRead(PLdevice* device, int registerId, uint64_t* value);
int VHalRegisterWrite(PLdevice* device, int registerId, uint64_t value);

/* ---- Data queues ----
 * A queue carries either bytes (Camera Link serial channels) or 32-bit words (CoaXPress control,
 * GigE Vision frames). Sizes are always in bytes and whole units of the queue; calling the byte
 * functions on a word queue, or the reverse, is an error. A time-out of 0 does not wait.
 *
 * A read waits up to its time-out for the first unit, then takes what has come, at most size
 * bytes: it returns the bytes read, 0 when the time-out passed with no data, or a negative status
 * for an error. A write returns the bytes accepted, 0 when no room came within the time-out, or a
 * negative status. */
int VHalDataQueueClear(PLdevice* device, int queue);
/* Pushes queued bytes of a transmit queue to the wire. */
int VHalDataQueueFlush(PLdevice* device, int queue);
/* Units waiting in a receive queue: bytes on a byte queue, words on a word queue. */
int VHalDataQueueGetNrOfWords(PLdevice* device, int queue);
int VHalDataQueueReadBuffer(PLdevice* device, int queue, unsigned char* bytes, unsigned int size,
                            unsigned int timeoutMs);
int VHalDataQueueWriteBuffer(PLdevice* device, int queue, const unsigned char* bytes,
                             unsigned int size, unsigned int timeoutMs);
int VHalDataQueueReadBufferLong(PLdevice* device, int queue, uint32_t* words, unsigned int size,
                                unsigned int timeoutMs);
int VHalDataQueueWriteBufferLong(PLdevice* device, int queue, const uint32_t* words,
                                 unsigned int size, unsigned int timeoutMs);
/* Claims a queue for the calling handle. A queue that another handle has claimed gives a negative
 * status to claims, clears, word counts, reads and writes through any other handle. */
int VHalDataQueueAcquireLock(PLdevice* device, int queue);
int VHalDataQueueReleaseLock(PLdevice* device, int queue);

/* ---- Camera Link ---- */
/* Status word of a camera port; bit 0 is set while the camera clock is present. */
int VHalGetCameraStatusExtended(PLdevice* device, unsigned int port);
/* Opens the serial channel of a port at a baud rate and gives its two byte queues. */
int VHalClSerInit(PLdevice* device, unsigned int port, unsigned int baud, int* rxQueue,
                  int* txQueue);
int VHalClSerSetBaudrate(PLdevice* device, unsigned int port, unsigned int baud);

/* ---- Configuration space ----
 * count words at address in the space named by tag; tag 0x4D44494F ("MDIO") reaches the PHYs. */
int VHalReadConfig(PLdevice* device, unsigned int tag, unsigned int address, unsigned int* values,
                   unsigned int count);
int VHalWriteConfig(PLdevice* device, unsigned int tag, unsigned int address,
                    const unsigned int* values, unsigned int count);

/* ---- Asynchronous notification ----
 * Callbacks run on a thread of the board library. what 3 with detail 2 tells that the PHY of an
 * Ethernet port changed its state.
 *
 * A handle keeps every callback registered on it, each pair of callback and user data once, and
 * runs them all for each notification of its board, in the order they were registered. A null
 * callback is an error. Freeing the handle forgets its callbacks; a callback must not free its
 * own handle. */
typedef int (*VHalAsyncNotifyCallback)(int boardIndex, unsigned long what, unsigned long detail,
                                       unsigned long reserved, void* userData);
int VHalRegisterAsyncNotifyCallback(PLdevice* device, VHalAsyncNotifyCallback callback,
                                    void* userData);
/* Forgets the pair that was registered; a negative status when it was not. Once it returns, the
 * callback is not called again and, unless called from a callback of the handle, is not running,
 * so its user data may go. */
int VHalUnregisterAsyncNotifyCallback(PLdevice* device, VHalAsyncNotifyCallback callback,
                                      void* userData);

/* ---- CoaXPress camera controller of boards that have one ---- */
/* 0 when the camera controller is there. */
int VHalCameraCtrlIsAvailable(PLdevice* device);
int VHalCameraCtrlReset(PLdevice* device);
/* The multiplexer between physical and firmware ports, 16 nibbles: nibble k (k = 0 .. 7) holds
 * the physical port of firmware port k, nibble 8 + k the firmware port of physical port k.
 * 0x7654321076543210 is the identity. The library's multiplexer word has the same layout, its
 * logical links being the firmware ports. */
int VHalCameraCtrlSetPortMap(PLdevice* device, uint64_t selector);
int VHalCameraCtrlSetPortPowerState(PLdevice* device, unsigned int port, unsigned int state);
int VHalCameraCtrlSetPortDataPathState(PLdevice* device, unsigned int port, unsigned int state);
int VHalCameraCtrlSetPortDataPathSpeed(PLdevice* device, unsigned int port, unsigned int speed);
int VHalCameraCtrlSetPortCxpStandardVersion(PLdevice* device, unsigned int port,
                                            unsigned int version);
int VHalCameraCtrlSetPortCxpLedState(PLdevice* device, unsigned int port, unsigned int state);
int VHalCameraCtrlSetPortCxpNumCameraConnections(PLdevice* device, unsigned int port,
                                                 unsigned int count);
int VHalCameraCtrlSetPortAcquisitionState(PLdevice* device, unsigned int port, unsigned int state);

#ifdef __cplusplus
}
#endif

#endif
