#ifndef VESK_GENAPI_TYPES_H
#define VESK_GENAPI_TYPES_H

#include <cstdint>
#include <vector>

#include "genapi/GCString.h"

namespace GenApi {

using GenICam::gcstring;
using GenICam::gcstring_vector;

// What a node allows now. The numbers are GenApi's.
enum EAccessMode {
  NI = 0,                  // not implemented
  NA = 1,                  // not available
  WO = 2,                  // write only
  RO = 3,                  // read only
  RW = 4,                  // read and write
  _UndefinedAccesMode = 5  // sic: GenApi's own spelling
};

// The principal interface of a node. The numbers are GenApi's.
enum EInterfaceType {
  intfIValue = 0,
  intfIBase = 1,
  intfIInteger = 2,
  intfIBoolean = 3,
  intfICommand = 4,
  intfIFloat = 5,
  intfIString = 6,
  intfIRegister = 7,
  intfICategory = 8,
  intfIEnumeration = 9,
  intfIEnumEntry = 10,
  intfIPort = 11
};

enum EVisibility { Beginner = 0, Expert = 1, Guru = 2, Invisible = 3, _UndefinedVisibility = 99 };

enum ENameSpace { Custom = 0, Standard = 1, _UndefinedNameSpace = 2 };

// Which neighbours INode::GetChildren lists.
enum ELinkType {
  ctParentNodes = 0,           // the nodes that link to this one
  ctReadingChildren = 1,       // the nodes read to get this node's value; a category's features
  ctWritingChildren = 2,       // the nodes written when this node is written
  ctInvalidatingChildren = 3,  // the nodes named by this node's pInvalidator
  ctDependingNodes = 4,        // every node invalidated when this one changes
  ctTerminalNodes = 5,
  ctValueChangingChildren = 6
};

// When a node callback runs: while the node map's lock is held, or after it was released.
enum ECallbackType { cbPostInsideLock = 1, cbPostOutsideLock = 2 };

using CallbackHandleType = intptr_t;

inline bool IsReadable(EAccessMode mode) { return mode == RO || mode == RW; }
inline bool IsWritable(EAccessMode mode) { return mode == WO || mode == RW; }
inline bool IsImplemented(EAccessMode mode) { return mode != NI; }
inline bool IsAvailable(EAccessMode mode) { return mode != NI && mode != NA; }

}  // namespace GenApi

#endif
