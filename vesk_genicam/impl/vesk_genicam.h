/* libvesk_genicam.so: GenICam camera access for frame grabbers. This header is all that an
 * application includes; it compiles as C and as C++.
 *
 * Every function returns 0 or a negative error code (Mlo_getErrorDescription tells its text),
 * unless it says otherwise. Handles are plain pointers to the library's objects: a non-null
 * handle is not validated. */
#ifndef VESK_GENICAM_IMPL_VESK_GENICAM_H
#define VESK_GENICAM_IMPL_VESK_GENICAM_H

#include <stddef.h>
#include <stdint.h>

#include "vesk_genicam_codes.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VESK_GENICAM_API __attribute__((visibility("default")))
#else
#define VESK_GENICAM_API
#endif

/* ---- The board library's part ----
 * An application opens a board with the board library and loads its design with the design
 * library, then hands both to Mlo_initBoardEx. This library exports the functions below and
 * forwards them to the board runtime in lib64/ of its installation, so an application links this
 * library alone. Board runtimes declare the same in their own headers. */
#ifndef VESK_BOARD_LIBRARY_TYPES
#define VESK_BOARD_LIBRARY_TYPES
/* An opened board of the board library. */
typedef struct PLdevice PLdevice;
/* The firmware design loaded on a board. */
typedef struct fpga_design fpga_design;
/* What an application hands to Mlo_initBoardEx: an opened board and its loaded design. The
 * application owns it and keeps both members alive while the board is in use. */
typedef struct Fg_Struct_s Fg_Struct_s;
struct Fg_Struct_s {
  PLdevice* device;
  fpga_design* design;
};
#endif

/* Number of boards (0 or more), or a negative status: -2130 when no board runtime was found. */
int VHalGetNrOfBoards(void);
/* Opens the board with the given index; NULL on failure. */
PLdevice* VHalInitDevice(int boardIndex);
int VHalFreeDevice(PLdevice* device);
/* An integer fact of the board by key: "board/type", "board/serial"; negative for an unknown
 * key. */
int VHalGetBoardInfoInt(PLdevice* device, const char* key);
/* The design loaded on an opened board; NULL on failure. Free it before the board. */
fpga_design* DsnLoadBoardDesign(PLdevice* device);
int DsnFreeDesign(fpga_design* design);
/* The design's name ("Acquisition_CXP4", say); NULL on failure. */
const char* DsnGetDesignName(fpga_design* design);

/* A board opened by Mlo_initBoardEx. */
typedef struct MloBoardHandle MloBoardHandle;
/* A camera found on a board. */
typedef struct MloCameraHandle MloCameraHandle;

/* The identity strings of a camera as Mlo_getCameraInfo hands them out. The texts belong to the
 * library and stay valid until the next Mlo_updateCameraInfos of the camera; a text the camera
 * did not give is NULL. */
typedef struct MloCameraInfo {
  const char* vendorName;
  const char* modelName;
  const char* familyName;
  const char* version;
  const char* firmwareVersion;
  const char* manufacturerInfo;
  const char* serialNumber;
  const char* userId;
} MloCameraInfo;

/* Event numbers of MloEventInfo.type. */
#define MLO_EVENT_PORTS_CONNECTED 101
#define MLO_EVENT_PORTS_LOST 200
#define MLO_EVENT_CAMERA_ADDED 250
#define MLO_EVENT_CAMERA_LOST 251
#define MLO_EVENT_EXTENSION_LINK_DELTA 252

/* The record a callback gets; packed, 46 bytes. The record and the arrays belong to the sender
 * and live only during the callback: copy what you keep. */
#pragma pack(push, 1)
typedef struct MloEventInfo {
  uint16_t type;
  /* A mask of ports for 101 and 200, the camera's master ID for 250 to 252. */
  uint32_t port;
  /* The camera's properties for 250 to 252: names and values, as many as the counts say. */
  uint32_t intCount;
  char** intKeys;
  uint32_t* intValues;
  uint32_t stringCount;
  char** stringKeys;
  char** stringValues;
} MloEventInfo;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(MloEventInfo) == 46, "applications are built against a 46-byte MloEventInfo");
#else
_Static_assert(sizeof(MloEventInfo) == 46, "applications are built against a 46-byte MloEventInfo");
#endif

/* Event callback of Mlo_RegisterEventCallback; the camera is always NULL. Called as an
 * MloBoardEventCallback is, under the same rules. */
typedef int (*MloEventCallback)(MloBoardHandle* board, MloCameraHandle* camera,
                                const MloEventInfo* info, const void* user);
/* Event callback of Mlo_registerBoardEventCallback. Runs on a thread of the library while the
 * board's event lock is held: the events of a board come one at a time, registering a callback
 * waits for a running one, and so does Mlo_freeBoard. It should return soon. It may register or
 * unregister the board's callback, read board and camera properties ("NrOfCameras" answers at
 * once) and use the camera handles it already has. It must not scan, look cameras up or count
 * them (Mlo_scanPorts*, Mlo_getCamera*, Mlo_getCameraCount, Mlo_isCameraAvailable*): these wait
 * for a running scan, which may wait for the thread that runs the callback. Nor may it free the
 * board. Its result is not used. */
typedef int (*MloBoardEventCallback)(MloBoardHandle* board, const MloEventInfo* info, void* user);

/* Adds a user of the library and loads the board and design libraries. Optional: every function
 * also works without it. Each call needs one VeskGenICamDeinit. */
VESK_GENICAM_API void VeskGenICamInit(void);
/* Removes a user; the last one unloads the board and design libraries. Boards opened with
 * Mlo_initBoardEx are not freed by it. */
VESK_GENICAM_API void VeskGenICamDeinit(void);

/* The message of an error code; "Unknown Error." for a code the library does not have. The
 * text is static. */
VESK_GENICAM_API const char* Mlo_getErrorDescription(int code);

/* ---- Boards and cameras ---- */

/* Opens the board for camera access. Of flags only bit 0 counts (a Camera Link HS option);
 * portMask is traced only, every port of the board is taken into use. On success *handle is the
 * new board, else NULL. The board has no cameras until a scan. */
VESK_GENICAM_API int Mlo_initBoardEx(Fg_Struct_s* board, unsigned int flags,
                                     MloBoardHandle** handle, unsigned int portMask);
/* Mlo_initBoardEx with every port. */
VESK_GENICAM_API int Mlo_initBoard(Fg_Struct_s* board, unsigned int flags, MloBoardHandle** handle);
/* Frees the board and all its cameras; their handles are dead afterwards. */
VESK_GENICAM_API void Mlo_freeBoard(MloBoardHandle* board);
/* A power cycle of the cameras on the ports of the mask. */
VESK_GENICAM_API int Mlo_powerSwitch(MloBoardHandle* board, unsigned int portMask);
/* command: 0 off, 1 on, 2 a power cycle. */
VESK_GENICAM_API int Mlo_powerSwitchExt(MloBoardHandle* board, unsigned int portMask,
                                        unsigned int command);
/* Looks for cameras on the ports of the mask. flags 0x20: only refresh the camera table from the
 * ports; 0x40: keep the objects of cameras that vanished. */
VESK_GENICAM_API int Mlo_scanPortsEx(MloBoardHandle* board, unsigned int portMask,
                                     unsigned int timeoutMs, unsigned int speed,
                                     unsigned int flags);
VESK_GENICAM_API int Mlo_scanPorts(MloBoardHandle* board, unsigned int portMask,
                                   unsigned int timeoutMs, unsigned int speed);
/* 1 if a camera with a link is on the physical port, else 0 (also for every failure). */
VESK_GENICAM_API int Mlo_isCameraAvailable(MloBoardHandle* board, unsigned int port);
/* As Mlo_isCameraAvailable, with the camera taken by index. */
VESK_GENICAM_API int Mlo_isCameraAvailableAtIndex(MloBoardHandle* board, unsigned int index);
/* The number of cameras of the last scan, or a negative code. */
VESK_GENICAM_API int Mlo_getCameraCount(MloBoardHandle* board);
/* The camera with a link on the physical port; *camera is NULL, and the result 0, where there is
 * none. */
VESK_GENICAM_API int Mlo_getCamera(MloBoardHandle* board, unsigned int port,
                                   MloCameraHandle** camera);
/* The camera at index 0 .. Mlo_getCameraCount() - 1. */
VESK_GENICAM_API int Mlo_getCameraByIndex(MloBoardHandle* board, unsigned int index,
                                          MloCameraHandle** camera);
/* The camera's identity, NULL for a NULL camera. */
VESK_GENICAM_API MloCameraInfo* Mlo_getCameraInfo(MloCameraHandle* camera);
/* Reads the camera's identity again. Returns MLO_ERR_NOT_IMPLEMENTED when it worked: treat that as
 * success. */
VESK_GENICAM_API int Mlo_updateCameraInfos(MloCameraHandle* camera);
/* Reads the GenICam XML from the camera without building a node map. */
VESK_GENICAM_API int Mlo_loadCameraXml(MloCameraHandle* camera);
/* Reads the camera's XML, unless one was set with Mlo_setGenICamXML, and builds its node map. */
VESK_GENICAM_API int Mlo_connectCamera(MloCameraHandle* camera);
/* As Mlo_connectCamera, with the XML from a file. */
VESK_GENICAM_API int Mlo_connectCameraWithExternalXml(MloCameraHandle* camera, char* path);
/* Drops the node map and the XML; the handle stays valid. */
VESK_GENICAM_API int Mlo_disconnectCamera(MloCameraHandle* camera);
/* Tells whether the scan made a link to the camera: 0, or MLO_ERR_NO_INTERFACE without one. board
 * is unused. */
VESK_GENICAM_API int Mlo_LinkConnect(MloBoardHandle* board, MloCameraHandle* camera);
VESK_GENICAM_API int Mlo_CxpConnect(MloBoardHandle* board, MloCameraHandle* camera);
VESK_GENICAM_API int Mlo_LinkDisconnect(MloCameraHandle* camera);
VESK_GENICAM_API int Mlo_CxpDisconnect(MloCameraHandle* camera);
/* Copies the camera's XML to buffer, which holds *size bytes, and sets *size to the XML's
 * length; with a NULL buffer only the length is told. No terminator is added. */
VESK_GENICAM_API int Mlo_getGenICamXML(MloCameraHandle* camera, char* buffer, size_t* size);
/* An XML text for the next Mlo_connectCamera. */
VESK_GENICAM_API int Mlo_setGenICamXML(MloCameraHandle* camera, const char* xml, size_t size);
/* Frees the strings the camera handed out. */
VESK_GENICAM_API int Mlo_clearStringCache(MloCameraHandle* camera);

/* Kept for other transports: they do nothing and return MLO_ERR_NOT_IMPLEMENTED. */
VESK_GENICAM_API int Mlo_getCameraByIp(MloBoardHandle* board, int reserved, unsigned int ip,
                                       MloCameraHandle** camera);
VESK_GENICAM_API int Mlo_getCameraByMac(MloBoardHandle* board, int reserved, unsigned char* mac,
                                        MloCameraHandle** camera);
VESK_GENICAM_API int Mlo_getCameraByUserName(MloBoardHandle* board, int reserved, char* name,
                                             MloCameraHandle** camera);
VESK_GENICAM_API int Mlo_getFirstCamera(MloBoardHandle* board, int reserved,
                                        MloCameraHandle** camera);
VESK_GENICAM_API int Mlo_scanNetwork(MloBoardHandle* board, int reserved, int timeoutMs);
VESK_GENICAM_API int Mlo_switchCameraConnection(MloCameraHandle* camera, MloBoardHandle* board,
                                                int reserved);
VESK_GENICAM_API int Mlo_invalidateCache(MloCameraHandle* camera);
VESK_GENICAM_API int Mlo_lockTLParams(MloCameraHandle* camera);
VESK_GENICAM_API int Mlo_unlockTLParams(MloCameraHandle* camera);
VESK_GENICAM_API int Mlo_enableChecks(MloCameraHandle* camera, unsigned int checks);
VESK_GENICAM_API int Mlo_connectCameraSocket(MloCameraHandle* camera, unsigned int port,
                                             unsigned int* socket);
VESK_GENICAM_API int Mlo_disconnectCameraSocket(MloCameraHandle* camera, unsigned int socket);
VESK_GENICAM_API int Mlo_sendCameraSocket(MloCameraHandle* camera, unsigned int socket,
                                          const void* data, unsigned long size);
VESK_GENICAM_API int Mlo_recvCameraSocket(MloCameraHandle* camera, unsigned int socket, void* data,
                                          unsigned long* size, unsigned int timeoutMs);
/* Always -1. */
VESK_GENICAM_API int Mlo_callInternalFunction(MloBoardHandle* board, int function, void* data);
/* Does nothing: the board owns its cameras and frees them with Mlo_freeBoard. */
VESK_GENICAM_API void Mlo_freeCamera(MloCameraHandle* camera);

/* ---- Registers and memory ----
 * The camera functions go to the camera's master port and need a synchronised link; time-out
 * 2000 ms unless given. The direct functions take a physical port of the board, which only needs
 * a link; time-out 200 ms unless given. Register values are in host order, memory is passed as
 * the camera has it. Addresses and lengths reach the port as 32 bits. */
VESK_GENICAM_API int Mlo_registerReadFromCamera(MloCameraHandle* camera, uint32_t* value,
                                                uint64_t address);
VESK_GENICAM_API int Mlo_registerWriteToCamera(MloCameraHandle* camera, uint32_t value,
                                               uint64_t address);
VESK_GENICAM_API int Mlo_memoryReadFromCamera(MloCameraHandle* camera, void* buffer,
                                              uint64_t address, uint64_t length);
VESK_GENICAM_API int Mlo_memoryReadFromCameraWithTimeout(MloCameraHandle* camera, void* buffer,
                                                         uint64_t address, uint64_t length,
                                                         unsigned int timeoutMs);
/* No terminator is added. */
VESK_GENICAM_API int Mlo_stringReadFromCamera(MloCameraHandle* camera, char* buffer,
                                              uint64_t address, unsigned int length);
VESK_GENICAM_API int Mlo_memoryWriteToCamera(MloCameraHandle* camera, const void* buffer,
                                             uint64_t address, uint64_t length);
VESK_GENICAM_API int Mlo_memoryWriteToCameraWithTimeout(MloCameraHandle* camera, const void* buffer,
                                                        uint64_t address, uint64_t length,
                                                        unsigned int timeoutMs);

/* A NULL value gives MLO_ERR_INVALID_DATA. On a failed read *value holds what the port left
 * there. */
VESK_GENICAM_API int Mlo_DirectRegisterRead(MloBoardHandle* board, unsigned int port,
                                            unsigned int address, uint32_t* value);
VESK_GENICAM_API int Mlo_DirectRegisterRead64(MloBoardHandle* board, unsigned int port,
                                              unsigned int address, uint32_t* value);
/* With swap 0 the value goes out in host order, else in big-endian order. */
VESK_GENICAM_API int Mlo_DirectRegisterWrite(MloBoardHandle* board, unsigned int port,
                                             unsigned int address, uint32_t value,
                                             unsigned int swap);
VESK_GENICAM_API int Mlo_DirectRegisterWrite64(MloBoardHandle* board, unsigned int port,
                                               uint64_t address, uint32_t value, unsigned int swap);
/* Reads *length bytes; *length is left as it was, also after a short read. */
VESK_GENICAM_API int Mlo_DirectRegisterReadMem(MloBoardHandle* board, unsigned int port,
                                               unsigned int address, void* buffer,
                                               unsigned int* length);
VESK_GENICAM_API int Mlo_DirectRegisterReadMem64(MloBoardHandle* board, unsigned int port,
                                                 uint64_t address, void* buffer,
                                                 unsigned int* length);
VESK_GENICAM_API int Mlo_DirectRegisterWriteMem(MloBoardHandle* board, unsigned int port,
                                                unsigned int address, const void* buffer,
                                                unsigned int length);
VESK_GENICAM_API int Mlo_DirectRegisterWriteMem64(MloBoardHandle* board, unsigned int port,
                                                  uint64_t address, const void* buffer,
                                                  unsigned int length);
VESK_GENICAM_API int Mlo_DirectRegisterReadMemWithTimeOut(MloBoardHandle* board, unsigned int port,
                                                          unsigned int address, void* buffer,
                                                          unsigned int* length,
                                                          unsigned int timeoutMs);
VESK_GENICAM_API int Mlo_DirectRegisterReadMemWithTimeOut64(MloBoardHandle* board,
                                                            unsigned int port, uint64_t address,
                                                            void* buffer, unsigned int* length,
                                                            unsigned int timeoutMs);
VESK_GENICAM_API int Mlo_DirectRegisterWriteMemWithTimeOut(MloBoardHandle* board, unsigned int port,
                                                           unsigned int address, const void* buffer,
                                                           unsigned int length,
                                                           unsigned int timeoutMs);
VESK_GENICAM_API int Mlo_DirectRegisterWriteMemWithTimeOut64(MloBoardHandle* board,
                                                             unsigned int port, uint64_t address,
                                                             const void* buffer,
                                                             unsigned int length,
                                                             unsigned int timeoutMs);
/* Camera features by name, through the node map that Mlo_connectCamera built. A feature of
 * another type than the function's is refused like an unknown name. Integer, boolean and float
 * reads use the node map's cache. Strings handed out belong to the camera and stay valid until
 * Mlo_clearStringCache or the camera's end. No two threads may use one camera's features at the
 * same time. */
VESK_GENICAM_API int Mlo_setIntegerValue(MloCameraHandle* camera, const char* feature,
                                         int64_t value);
VESK_GENICAM_API int Mlo_getIntegerValue(MloCameraHandle* camera, const char* feature,
                                         int64_t* value);
VESK_GENICAM_API int Mlo_getIntegerValueLimits(MloCameraHandle* camera, const char* feature,
                                               int64_t* min, int64_t* max, int64_t* inc);
/* value: 0 or non-zero. */
VESK_GENICAM_API int Mlo_setBooleanValue(MloCameraHandle* camera, const char* feature,
                                         unsigned value);
VESK_GENICAM_API int Mlo_getBooleanValue(MloCameraHandle* camera, const char* feature,
                                         unsigned* value);
VESK_GENICAM_API int Mlo_setFloatValue(MloCameraHandle* camera, const char* feature, double value);
VESK_GENICAM_API int Mlo_getFloatValue(MloCameraHandle* camera, const char* feature, double* value);
VESK_GENICAM_API int Mlo_setStringValue(MloCameraHandle* camera, const char* feature,
                                        const char* value);
VESK_GENICAM_API int Mlo_getStringValue(MloCameraHandle* camera, const char* feature,
                                        const char** value);
/* value: the symbolic name of an entry. Written without verification. */
VESK_GENICAM_API int Mlo_setEnumerationValue(MloCameraHandle* camera, const char* feature,
                                             const char* value);
/* The integer value of the current entry. */
VESK_GENICAM_API int Mlo_getEnumerationValue(MloCameraHandle* camera, const char* feature,
                                             int64_t* value);
/* The symbolic name of the current entry. */
VESK_GENICAM_API int Mlo_getEnumerationValueAsString(MloCameraHandle* camera, const char* feature,
                                                     const char** value);
VESK_GENICAM_API int Mlo_executeCommand(MloCameraHandle* camera, const char* feature);
/* done: 1 once the camera has finished the command, else 0. */
VESK_GENICAM_API int Mlo_isCommandDone(MloCameraHandle* camera, const char* feature,
                                       unsigned* done);
/* Prepares the port and executes "AcquisitionStart"; refused while the link is not
 * synchronised. value is only traced. */
VESK_GENICAM_API int Mlo_startAcquisition(MloCameraHandle* camera, unsigned value);
/* Executes "AcquisitionStop". value is only traced. */
VESK_GENICAM_API int Mlo_stopAcquisition(MloCameraHandle* camera, unsigned value);
/* Properties and events.
 *
 * Named properties of a board (and of its transport) and of a camera. type 1: value points to a
 * 32-bit integer and index, if not NULL, to a link or port number. type 3: value is a character
 * buffer and index points to its 32-bit length; a getter sets the length needed, terminator
 * included. Codes: MLO_ERR_INVALID_TYPE wrong type, MLO_ERR_INVALID_POINTER no value,
 * MLO_ERR_NOT_IMPLEMENTED unknown name, MLO_ERR_ACCESS_DENIED a direction the property does not
 * allow. */
VESK_GENICAM_API int Mlo_getBoardPropertyWithType(MloBoardHandle* board, char* name, void* value,
                                                  unsigned int type, void* index);
VESK_GENICAM_API int Mlo_setBoardPropertyWithType(MloBoardHandle* board, char* name, void* value,
                                                  unsigned int type, void* index);
VESK_GENICAM_API int Mlo_setCameraPropertyWithType(MloCameraHandle* camera, char* name, void* value,
                                                   unsigned int type, void* index);
/* The type is passed by address and must not be NULL. A string property may be asked with a NULL
 * value for its length alone. */
VESK_GENICAM_API int Mlo_getCameraPropertyWithType(MloCameraHandle* camera, char* name, void* value,
                                                   unsigned int* type, void* index);
/* Registers the board's one event callback; a later registration of either form replaces it,
 * NULL unregisters. The callback runs on a thread of the library and must not block. */
VESK_GENICAM_API int Mlo_RegisterEventCallback(MloBoardHandle* board, MloEventCallback callback,
                                               const void* user);
VESK_GENICAM_API int Mlo_registerBoardEventCallback(MloBoardHandle* board,
                                                    MloBoardEventCallback callback, void* user);
/* Camera events are not delivered: always MLO_ERR_NOT_IMPLEMENTED. */
typedef int (*MloCameraEventCallback)(MloCameraHandle* camera, const MloEventInfo* info,
                                      void* user);
VESK_GENICAM_API int Mlo_registerCameraEventCallback(MloCameraHandle* camera,
                                                     MloCameraEventCallback callback, void* user);

/* Board configuration and connection profiles.
 *
 * A board configuration file holds the camera layout that a scan found: per camera its stream
 * packet size, link speed, master ID and the ports of its links. Saving walks the cameras by
 * index and ends at the first one without a link. Loading compares the file with the cameras
 * found now and changes nothing: MLO_ERR_EXCEPTION for a difference, MLO_ERR_INVALID_DATA for a bad
 * file, MLO_ERR_INVALID_FILENAME for a missing one. A link that moved to another frame-grabber port
 * alone still gives 0. */
VESK_GENICAM_API int Mlo_SaveBoardConfiguration(MloBoardHandle* board, const char* file);
VESK_GENICAM_API int Mlo_LoadBoardConfiguration(MloBoardHandle* board, const char* file);

/* Camera states of MloConnectionProfile. */
#define MLO_PROFILE_NO_CAMERA 0
#define MLO_PROFILE_LINK_NOT_CONNECTED 1
#define MLO_PROFILE_GENICAM_FAILED 2
#define MLO_PROFILE_CONNECTED 3

/* A board opened with its cameras connected, as Mlo_LoadConnectionProfile leaves it; packed,
 * 36 bytes. The record, its arrays and the board belong to the library until
 * Mlo_UnloadConnectionProfile: do not free the board yourself. Each array has cameraCount
 * elements. */
#pragma pack(push, 1)
typedef struct MloConnectionProfile {
  MloBoardHandle* board;
  int cameraCount;
  /* NULL at an index that gave no camera. */
  MloCameraHandle** cameras;
  /* NULL where the camera has no link. */
  MloCameraInfo** cameraInfos;
  /* One of the MLO_PROFILE_ states per camera. */
  uint32_t* states;
} MloConnectionProfile;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(MloConnectionProfile) == 36,
              "applications are built against a 36-byte MloConnectionProfile");
#else
_Static_assert(sizeof(MloConnectionProfile) == 36,
               "applications are built against a 36-byte MloConnectionProfile");
#endif

/* Opens the board, checks its cameras against the configuration file and connects each camera.
 * No scan runs: the board's cameras must be known already. On success the result is 0 whatever
 * the states of the cameras are; on a failure *profile is NULL and the board is closed again. */
VESK_GENICAM_API int Mlo_LoadConnectionProfile(Fg_Struct_s* board, const char* file,
                                               MloConnectionProfile** profile);
/* Disconnects the cameras, frees the board and the record. */
VESK_GENICAM_API int Mlo_UnloadConnectionProfile(MloConnectionProfile* profile);

/* Writes the board's multiplexer word and each port's operator and speed to a text file. */
VESK_GENICAM_API int Mlo_StoreLowLevelLinkProfile(MloBoardHandle* board, char* file);
/* Not supported: changes nothing and gives MLO_ERR_INVALID_ARGUMENT for a file that exists,
 * MLO_ERR_FILE_ACCESS for one that does not. */
VESK_GENICAM_API int Mlo_RestoreLowLevelLinkProfile(MloBoardHandle* board, char* file);

/* Camera parameter dump.
 *
 * Writes the values of the camera's features to a text file, one "name=value" line each; values
 * that cannot be written back stand in comment lines that begin with '#'. Needs a connected
 * camera (MLO_ERR_NO_GENICAM_CONNECTION). MLO_ERR_INVALID_FILENAME for a file that cannot be
 * opened; MLO_ERR_FILE_ACCESS if the text did not reach the file in full (a full disk);
 * MLO_ERR_EXCEPTION if the node map is missing. */
VESK_GENICAM_API int Mlo_SaveCameraParameters(MloCameraHandle* camera, const char* file);
/* Writes the uncommented lines of such a file back, in the order of the file. Bit 0 of flags is
 * strict: an unknown name or a value that does not fit its feature ends the load with
 * MLO_ERR_INVALID_FEATURE (the lines before stay applied); without it such lines are skipped. A
 * value the camera refuses raises a GenICam exception through this function in either mode: C++
 * callers catch it. MLO_ERR_INVALID_FILENAME for a file that is missing or no regular file,
 * MLO_ERR_FILE_ACCESS for one larger than any dump. */
VESK_GENICAM_API int Mlo_LoadCameraParameters(MloCameraHandle* camera, const char* file,
                                              unsigned int flags);

#ifdef __cplusplus
}
#endif

#endif
