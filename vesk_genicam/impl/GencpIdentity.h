#ifndef VESK_GENICAM_IMPL_GENCPIDENTITY_H
#define VESK_GENICAM_IMPL_GENCPIDENTITY_H

#include <string>

#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/CameraInfo.h"
#include "vesk_genicam/impl/IPortInterface.h"

// The identity texts of a GenCP camera's bootstrap registers, 64 bytes each, read into its
// record one by one: a failed read leaves its field empty and the next is read all the same.
// Each read is logged as prefix + "Model name: " + text + " Error code: " + result.
class GencpIdentity {
 public:
  static void Read(IPortInterface& port, CCameraInfo& info, bool withUserId,
                   vesk::tools::logging::ClassLogger& logger, const std::string& prefix);
  static int ReadUserId(IPortInterface& port, CCameraInfo& info,
                        vesk::tools::logging::ClassLogger& logger, const std::string& prefix);

 private:
  static int ReadField(IPortInterface& port, unsigned int address, const char* name,
                       void (CCameraInfo::*set)(std::string), CCameraInfo& info,
                       vesk::tools::logging::ClassLogger& logger, const std::string& prefix);
};

#endif
