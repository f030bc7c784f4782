#ifndef VESK_TESTS_SUPPORT_DESCRIPTIONS_H
#define VESK_TESTS_SUPPORT_DESCRIPTIONS_H

#include <arv.h>

#include <string>

#include "tests/support/TestPort.h"

namespace vesk::test {

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
