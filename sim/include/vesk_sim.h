/* Control API of the simulated board runtime, exported by its libvesk_hal.so.
 *
 * Tests, benchmarks and the tool use it to choose a rig, look at the boards and cameras, move
 * cables, inject faults and read counters. It compiles as C.
 *
 * Threads: every function may be called from any thread. A rig cannot be replaced while a board
 * or a design of it is open (VSIM_ERROR_BUSY); the other calls work on the rig in place.
 *
 * Ownership: the caller owns every buffer and structure it passes; the simulator copies what it
 * keeps. Boards are named by their index, cameras by their position in the rig (0 first).
 *
 * Results: 0 or a count on success, one of the VSIM_ERROR_ codes below on failure. The board
 * library functions of vesk_hal.h answer with the same codes. */
#ifndef VESK_SIM_INCLUDE_VESK_SIM_H
#define VESK_SIM_INCLUDE_VESK_SIM_H

#include <stddef.h>
#include <stdint.h>

/* The board library's handles, as its header declares them; this header stands alone. */
typedef struct PLdevice PLdevice;
typedef struct fpga_design fpga_design;

#ifdef __cplusplus
extern "C" {
#endif

#define VSIM_ERROR_INVALID_HANDLE (-3001)   /* a board or design handle that is not open */
#define VSIM_ERROR_INVALID_ARGUMENT (-3002) /* a null pointer, a bad size, an unknown key */
#define VSIM_ERROR_NO_SUCH_BOARD (-3003)
#define VSIM_ERROR_NO_SUCH_PORT (-3004)
#define VSIM_ERROR_NO_SUCH_CAMERA (-3005)
#define VSIM_ERROR_NO_SUCH_REGISTER (-3006)
#define VSIM_ERROR_NO_SUCH_QUEUE (-3007)
#define VSIM_ERROR_WRONG_QUEUE_UNIT (-3008) /* a byte call on a word queue or the reverse */
#define VSIM_ERROR_QUEUE_LOCKED (-3009)     /* another handle has claimed the queue */
#define VSIM_ERROR_NOT_LOCKED (-3010)       /* released by one that does not hold it */
#define VSIM_ERROR_NOT_SUPPORTED (-3011)    /* the board's design lacks the function */
#define VSIM_ERROR_PORT_IN_USE (-3012)      /* a cable is there already, or the link is plugged */
#define VSIM_ERROR_NO_CABLE (-3013)
#define VSIM_ERROR_BUSY (-3014)
#define VSIM_ERROR_RIG (-3015)  /* the rig could not be loaded; VSimGetLastError tells why */
#define VSIM_ERROR_HOST (-3016) /* the host refused what was asked of it; errno tells why */

/* ---- Rigs ----
 * On first use the simulator loads the rig file named by $VESK_SIM_RIG, or its default rig. A
 * rig that fails to load leaves no boards and its message in VSimGetLastError. */
int VSimLoadRigFile(const char* path);
/* name stands for the file in messages. */
int VSimLoadRigText(const char* text, const char* name);
int VSimLoadDefaultRig(void);
/* The message of the last failed load, cut to size with a closing zero; "" when there is none.
 * Returns the length of the whole message. */
int VSimGetLastError(char* text, size_t size);

/* ---- Boards and cameras ---- */
typedef struct VSimBoardInfo {
  int type;
  int serial;
  unsigned int ports;
  unsigned int gigePorts;
  char design[64];     /* the design variant of the rig, "cxp-camera-ctrl" say */
  char designName[64]; /* what DsnGetDesignName answers */
} VSimBoardInfo;

typedef struct VSimCameraInfo {
  char id[64];
  char model[64]; /* the built-in model, or the XML file it serves */
  unsigned int links;
  unsigned int defaultLinks;
  unsigned int defaultSpeed;
} VSimCameraInfo;

int VSimGetNrOfBoards(void);
int VSimGetBoardInfo(int board, VSimBoardInfo* info);
int VSimGetNrOfCameras(void);
int VSimGetCameraInfo(int camera, VSimCameraInfo* info);
/* The position of the camera with that id in the rig. */
int VSimFindCamera(const char* id);

/* ---- Cables ----
 * A port holds a cable to one link of one camera, or nothing. A link is in one port at most. */
int VSimPlug(int board, unsigned int port, int camera, unsigned int link);
int VSimUnplug(int board, unsigned int port);
/* VSIM_ERROR_NO_CABLE for an empty port. */
int VSimGetCable(int board, unsigned int port, int* camera, unsigned int* link);

/* ---- Faults ----
 * The transport models consult these for every answer they give: one number drawn from a
 * generator seeded with seed picks drop, corrupt, odd answer or delay by their chances per
 * thousand, in that order. After silentAfter answers (when not negative) nothing is answered.
 * Setting faults restarts the sequence, so a seed gives the same faults every time. */
typedef struct VSimFaults {
  uint32_t seed;
  uint32_t dropPerMille;
  uint32_t corruptPerMille;
  uint32_t oddPerMille;
  uint32_t delayPerMille;
  uint32_t delayMs;
  int64_t silentAfter;
} VSimFaults;

int VSimSetCameraFaults(int camera, const VSimFaults* faults);
int VSimSetPortFaults(int board, unsigned int port, const VSimFaults* faults);

/* Faults in the transport's own protocol, drawn after those of VSimFaults from the same number
 * and with them 1000 per mille at most: a wait or tentative acknowledgement, then the answer
 * after delayMs; an unknown status word, a bad CRC or an error status in place of the answer; a
 * burst of burstErrors line errors on the link, which loses the answer. The Ex functions set both
 * kinds at once (protocol may be null for none); the two above clear the protocol faults. */
typedef struct VSimProtocolFaults {
  uint32_t waitPerMille;
  uint32_t tentativePerMille;
  uint32_t unknownPerMille;
  uint32_t badCrcPerMille;
  uint32_t errorPerMille;
  uint32_t burstPerMille;
  uint32_t burstErrors;
} VSimProtocolFaults;

int VSimSetCameraFaultsEx(int camera, const VSimFaults* faults, const VSimProtocolFaults* protocol);
int VSimSetPortFaultsEx(int board, unsigned int port, const VSimFaults* faults,
                        const VSimProtocolFaults* protocol);
/* The line errors that bursts raised on the port's link so far. */
int VSimGetPortLineErrors(int board, unsigned int port, uint64_t* errors);

/* Trips the power over CoaXPress of a port as an overload would: the port stops powering its
 * camera and its power status reads as tripped until the host switches the port off and on.
 * VSIM_ERROR_NOT_SUPPORTED on a board without power over CoaXPress. */
int VSimTripPower(int board, unsigned int port);

/* ---- Counters ----
 * Queue counts are in the queue's units: bytes on a byte queue, words on a word queue. */
typedef struct VSimBoardCounters {
  uint64_t registerReads;
  uint64_t registerWrites;
  uint64_t queueUnitsWritten; /* by the host */
  uint64_t queueUnitsRead;    /* by the host */
} VSimBoardCounters;

typedef struct VSimPortCounters {
  uint64_t packetsToCamera;
  uint64_t packetsFromCamera;
} VSimPortCounters;

int VSimGetBoardCounters(int board, VSimBoardCounters* counters);
int VSimGetPortCounters(int board, unsigned int port, VSimPortCounters* counters);
/* Zeroes the counters of the board and of its ports. */
int VSimResetCounters(int board);

/* ---- Data queues, the firmware's side ----
 * A queue whose transport has no firmware model keeps what the host writes; VSimQueueTake takes
 * it, oldest first. VSimQueuePush gives the host something to read. Sizes are in bytes, whole
 * units; both return the bytes moved and never block. */
int VSimQueuePush(int board, int queue, const void* bytes, unsigned int size);
int VSimQueueTake(int board, int queue, void* bytes, unsigned int size);

/* ---- Notifications ----
 * Hands (what, detail) to the callback of every open handle of the board that has one, on the
 * handle's own notification thread. */
int VSimNotify(int board, unsigned long what, unsigned long detail);

/* ---- Bridges to Linux ----
 * A simulated GigE Vision network joined to a TAP interface of the host (/dev/net/tun,
 * IFF_TAP | IFF_NO_PI): every Ethernet frame on the simulated wire goes out on the interface, and
 * every frame the host sends on the interface comes onto the wire. On the host's side frames have
 * no check sequence; one that a fault spoiled on the wire is dropped, as a network card drops it.
 * The interface is made if none of that name exists, and then goes with the bridge; making or
 * taking one needs CAP_NET_ADMIN in the caller's network namespace. The caller brings the
 * interface up and gives it its addresses.
 *
 * Threads: each bridge has a reader thread of its own that carries the host's frames onto the
 * wire; answers go back to the host on the thread that made them. VSimDetachTap stops and joins
 * the reader, which takes up to 100 ms. A rig is not replaced while a bridge is attached
 * (VSIM_ERROR_BUSY).
 *
 * Results of the attach calls: a bridge id, 1 or more, for VSimDetachTap; VSIM_ERROR_NOT_SUPPORTED
 * for a board that is not GigE Vision or a camera that cannot answer it (no model, or its links
 * taken by another transport); VSIM_ERROR_PORT_IN_USE for a port that is bridged already, or a
 * camera whose link is in a port or bridged already; VSIM_ERROR_HOST when the host refused the
 * interface, errno saying why (EPERM without the capability, EBUSY for an interface in use). */
/* The wire of a port: the port and the camera plugged into it hear the host, and the host hears
 * both. While bridged, the port's link is up even without a cable; on attaching and detaching
 * the board notifies as for a cable plugged or pulled (what 3, detail 2). */
int VSimAttachPortToTap(int board, unsigned int port, const char* tapName);
/* The camera on a wire of its own, as if its first link were plugged into the host, which finds
 * it by GigE Vision discovery. While bridged the link cannot be plugged into a port. */
int VSimAttachCameraToTap(int camera, const char* tapName);
/* VSIM_ERROR_INVALID_ARGUMENT for a bridge that is not attached. */
int VSimDetachTap(int bridge);

/* ---- Designs, for libdsnrt.so ----
 * The design library of the simulator is a thin layer over these. A name returned stays valid
 * while the design is open. */
fpga_design* VSimDesignLoad(PLdevice* device);
int VSimDesignFree(fpga_design* design);
const char* VSimDesignGetName(fpga_design* design);
int VSimDesignGetRegisterByName(fpga_design* design, const char* name);
int VSimDesignGetNrOfRegister(fpga_design* design);
const char* VSimDesignGetRegisterName(fpga_design* design, int registerId);

#ifdef __cplusplus
}
#endif

#endif
