#ifndef VESK_TESTS_SUPPORT_DESCRIPTIONS_H
#define VESK_TESTS_SUPPORT_DESCRIPTIONS_H

#include <arv.h>

#include <string>

namespace vesk::test {

// A camera description of these nodes and a port "Device" for them.
inline std::string DescriptionWith(const std::string& nodes) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<RegisterDescription ModelName="Rows" VendorName="Vesk" StandardNameSpace="None"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1"
    MinorVersion="0" SubMinorVersion="0" ProductGuid="0c51e0a8-51d6-4a4b-8f1e-2b7d5a0c9e11"
    VersionGuid="0c51e0a8-51d6-4a4b-8f1e-2b7d5a0c9e12"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
)" + nodes +
         R"(
  <Port Name="Device"/>
</RegisterDescription>
)";
}

// The description of Aravis's fake camera: a real one that nobody here wrote.
inline std::string FakeCameraDescription() {
  ArvFakeCamera* camera = arv_fake_camera_new("VESK-TEST");
  size_t size = 0;
  const char* xml = arv_fake_camera_get_genicam_xml(camera, &size);
  std::string text(xml, size);
  g_object_unref(camera);
  return text;
}

}  // namespace vesk::test

#endif
