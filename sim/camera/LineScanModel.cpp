#include "sim/camera/CameraModel.h"
#include "sim/camera/FeatureRow.h"

namespace vesk::sim {

using namespace table;

// An 8192 pixel monochrome line-scan camera, laid out as the area-scan one.
CameraModel LineScanModel() {
  CameraModel model;
  model.name = "LineScan";
  model.identity = {"Vesk Imaging", "VL-8192", "VL81920001", "2.0.1", ""};
  model.toolTip = "Simulated 8k line-scan camera";
  model.features = {
      Category("DeviceControl", {"DeviceVendorName", "DeviceModelName", "DeviceVersion",
                                 "DeviceSerialNumber", "DeviceUserID"}),
      Category("ImageFormatControl",
               {"Width", "Height", "PixelFormat", "ReverseX", "TestPattern", "PayloadSize"}),
      Category("AcquisitionControl",
               {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop", "AcquisitionLineRate",
                "ExposureTime", "TriggerSelector", "TriggerMode", "TriggerSource"}),

      String("DeviceVendorName", 0x100000, 32).ReadOnly().Tip("Name of the manufacturer."),
      String("DeviceModelName", 0x100020, 32).ReadOnly().Tip("Model of the device."),
      String("DeviceVersion", 0x100040, 32).ReadOnly().Tip("Version of the device."),
      String("DeviceSerialNumber", 0x100060, 16).ReadOnly().Tip("Serial number of the device."),
      String("DeviceUserID", 0x100070, 16).Tip("User-programmable device identifier."),

      Integer("Width", 0x100100).Range(64, 8192, 64).Value(8192).Tip("Pixels of a line."),
      Integer("Height", 0x100104).Range(1, 65535).Value(1024).Tip("Lines of an image."),
      Enumeration("PixelFormat", 0x100108, {{"Mono8", 0x01080001}, {"Mono12", 0x01100005}})
          .Tip("Format of the pixels."),
      Boolean("ReverseX", 0x10010C).Bits(0, 1).Tip("Flip the line."),
      Enumeration("TestPattern", 0x10010C, {{"Off", 0}, {"GreyHorizontalRamp", 1}})
          .Bits(4, 2)
          .Tip("Test pattern sent instead of the image."),
      IntSwissKnife("PayloadSize", "W * H * ((PF >> 16) & 0xFF) / 8",
                    {{"W", "Width"}, {"H", "Height"}, {"PF", "PixelFormat"}})
          .Tip("Bytes of one image."),

      Enumeration("AcquisitionMode", 0x100200, {{"Continuous", 0}, {"SingleFrame", 1}})
          .Tip("Acquisition mode of the device."),
      Command("AcquisitionStart", 0x100204).Tip("Starts the acquisition."),
      Command("AcquisitionStop", 0x100208).BusyReads(1).Tip("Stops it after the current image."),
      Float("AcquisitionLineRate", 0x100210, 8)
          .FloatRange(100, 200000)
          .FloatValue(50000)
          .Unit("Hz")
          .Tip("Line rate."),
      Float("ExposureTime", 0x100218, 4)
          .FloatRange(1, 10000)
          .FloatValue(15.25)
          .Unit("us")
          .Tip("Exposure time of a line."),
      Enumeration("TriggerSelector", 0x100220, {{"LineStart", 0}, {"FrameStart", 1}})
          .Tip("Trigger that the following features configure."),
      Enumeration("TriggerMode", 0x100240, {{"Off", 0}, {"On", 1}})
          .SelectedBy("TriggerSelector", 8)
          .Tip("Whether the selected trigger is active."),
      Enumeration("TriggerSource", 0x100244, {{"Line0", 0}, {"Line1", 1}, {"Encoder0", 2}})
          .SelectedBy("TriggerSelector", 8)
          .Tip("Source of the selected trigger."),
  };
  return model;
}

}  // namespace vesk::sim
