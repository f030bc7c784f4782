#include "vesk_genicam/impl/CameraInfo.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(CameraInfo, VersionsAreSupportedBitForBitAndResetEmptiesAll) {
  CCameraInfo info;
  info.SetVersionsSupported(0b0110);
  EXPECT_TRUE(info.IsVersionSupported(0));
  EXPECT_TRUE(info.IsVersionSupported(0b0100));
  EXPECT_TRUE(info.IsVersionSupported(0b0110));
  EXPECT_FALSE(info.IsVersionSupported(0b0101)) << "one supported bit is not enough";

  info.SetMaxPacketSize(1024);
  info.SetRevision(0x20000);
  info.SetVersionUsed(0b0100);
  info.SetVendorName("Vendor");
  info.SetFamilyName("Family");
  info.Reset();
  EXPECT_EQ(info.GetMaxPacketSize() | info.GetRevision() | info.GetVersionsSupported() |
                info.GetVersionUsed(),
            0u);
  EXPECT_EQ(std::string(info.GetVendorName()) + info.GetFamilyName(), "");
}

}  // namespace
