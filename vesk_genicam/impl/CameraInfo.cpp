#include "vesk_genicam/impl/CameraInfo.h"

void CCameraInfo::Reset() {
  maxPacketSize_ = 0;
  revision_ = 0;
  versionsSupported_ = 0;
  versionUsed_ = 0;
  for (std::string* text : {&vendorName_, &modelName_, &manufactureInfo_, &version_, &serialNr_,
                            &userId_, &firmwareVer_, &familyName_}) {
    text->clear();
  }
}
