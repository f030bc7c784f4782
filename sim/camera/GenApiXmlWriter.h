#ifndef VESK_SIM_CAMERA_GENAPI_XML_WRITER_H
#define VESK_SIM_CAMERA_GENAPI_XML_WRITER_H

#include <string>

#include "sim/camera/Camera.h"
#include "sim/camera/CameraModel.h"

namespace vesk::sim {

// Writes the GenICam description (GenApi schema 1.1) of a camera model: a node per feature of
// its table, in table order, with the register node "<feature>Reg" behind each feature that has
// a register (a String is its own StringReg), the category "Root" over the categories that no
// other category holds, and the port "Device". Registers are declared in `endianness`; a bit
// field's LSB and MSB are numbered as GenICam numbers them for that byte order.
class GenApiXmlWriter {
 public:
  static constexpr const char* kRegisterSuffix = "Reg";

  static std::string Write(const CameraModel& model, Endianness endianness);
  // "Vendor_Model_Major_Minor_SubMinor" after GenICam's file naming convention, with every
  // character but letters, digits and "_" replaced by "_".
  static std::string FileStem(const CameraIdentity& identity);
};

}  // namespace vesk::sim

#endif
