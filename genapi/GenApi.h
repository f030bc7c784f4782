#ifndef VESK_GENAPI_GENAPI_H
#define VESK_GENAPI_GENAPI_H

// The GenApi interfaces that the library is written against.
#include "genapi/GCException.h"
#include "genapi/GCString.h"
#include "genapi/NodeCallback.h"
#include "genapi/NodeMapFactory.h"
#include "genapi/NodeMapRef.h"
#include "genapi/Pointer.h"
#include "genapi/Types.h"

#endif
