/* libvesk_genicam.so: GenICam camera access for frame grabbers. This header is all that an
 * application includes; it compiles as C and as C++.
 *
 * Every function returns 0 or a negative error code (Mlo_getErrorDescription tells its text),
 * unless it says otherwise. Handles are plain pointers to the library's objects: a non-null
 * handle is not validated. */
#ifndef VESK_GENICAM_IMPL_VESK_GENICAM_H
#define VESK_GENICAM_IMPL_VESK_GENICAM_H

#include "loader/vesk_hal.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VESK_GENICAM_API __attribute__((visibility("default")))
#else
#define VESK_GENICAM_API
#endif

/* A board opened by Mlo_initBoardEx. */
typedef struct MloBoardHandle MloBoardHandle;
/* A camera found on a board. */
typedef struct MloCameraHandle MloCameraHandle;

/* Adds a user of the library and loads the board and design libraries. Optional: every function
 * also works without it. Each call needs one VeskGenICamDeinit. */
VESK_GENICAM_API void VeskGenICamInit(void);
/* Removes a user; the last one unloads the board and design libraries. Boards opened with
 * Mlo_initBoardEx are not freed by it. */
VESK_GENICAM_API void VeskGenICamDeinit(void);

/* The message of an error code; "Unknown Error." for a code the library does not have. The
 * text is static. */
VESK_GENICAM_API const char* Mlo_getErrorDescription(int code);

#ifdef __cplusplus
}
#endif

#endif
