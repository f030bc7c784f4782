#include <cstdint>
#include <limits>

#include "sim/camera/CameraModel.h"
#include "sim/camera/FeatureRow.h"

namespace vesk::sim {

using namespace table;

// A 2048 x 2048 monochrome area-scan camera. Its registers lie from 0x100000 on, grouped by
// category in blocks of 0x100.
CameraModel AreaScanModel() {
  CameraModel model;
  model.name = "AreaScan";
  model.identity = {"Vesk Imaging", "VA-2048", "VA20480001", "1.4.2", ""};
  model.toolTip = "Simulated 4 megapixel area-scan camera";
  model.features = {
      Category("DeviceControl",
               {"DeviceVendorName", "DeviceModelName", "DeviceVersion", "DeviceSerialNumber",
                "DeviceUserID", "DeviceTemperature", "TimestampLatchValue"}),
      Category("ImageFormatControl", {"SensorWidth", "SensorHeight", "Width", "Height", "OffsetX",
                                      "OffsetY", "PixelFormat", "ReverseX", "ReverseY",
                                      "BinningHorizontal", "TestPattern", "PayloadSize"}),
      Category("AcquisitionControl",
               {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop", "AcquisitionFrameCount",
                "AcquisitionFrameRate", "ExposureTime", "ExposureTimeRaw", "TriggerSelector",
                "TriggerMode", "TriggerSource", "TriggerActivation", "TriggerSoftware"}),
      Category("AnalogControl", {"Gain", "BlackLevel"}),
      Category("UserSetControl", {"UserSetSelector", "UserSetLoad", "UserSetSave"}),

      String("DeviceVendorName", 0x100000, 32).ReadOnly().Tip("Name of the manufacturer."),
      String("DeviceModelName", 0x100020, 32).ReadOnly().Tip("Model of the device."),
      String("DeviceVersion", 0x100040, 32).ReadOnly().Tip("Version of the device."),
      String("DeviceSerialNumber", 0x100060, 16).ReadOnly().Tip("Serial number of the device."),
      String("DeviceUserID", 0x100070, 16).Tip("User-programmable device identifier."),
      Float("DeviceTemperature", 0x100080, 4)
          .ReadOnly()
          .FloatRange(-40, 125)
          .FloatValue(41.5)
          .Unit("C")
          .Tip("Temperature of the sensor board."),
      Integer("TimestampLatchValue", 0x100088, 8)
          .ReadOnly()
          .Range(0, std::numeric_limits<int64_t>::max())
          .Value(0x123456789ABC)
          .Visible(Visibility::Expert)
          .Tip("Latched value of the timestamp counter, in ns."),

      Integer("SensorWidth", 0x100100)
          .ReadOnly()
          .Range(2048, 2048)
          .Value(2048)
          .Tip("Sensor width."),
      Integer("SensorHeight", 0x100104)
          .ReadOnly()
          .Range(2048, 2048)
          .Value(2048)
          .Tip("Sensor height."),
      Integer("Width", 0x100108).Range(16, 2048, 16).Value(1920).Tip("Width of the image."),
      Integer("Height", 0x10010C).Range(16, 2048, 2).Value(1080).Tip("Height of the image."),
      Integer("OffsetX", 0x100110).Range(0, 2032, 16).Value(64).Tip("Horizontal offset."),
      Integer("OffsetY", 0x100114).Range(0, 2032, 2).Value(484).Tip("Vertical offset."),
      Enumeration("PixelFormat", 0x100118,
                  {{"Mono8", 0x01080001},
                   {"Mono10", 0x01100003},
                   {"Mono12", 0x01100005},
                   {"Mono16", 0x01100007}})
          .Tip("Format of the pixels."),
      // Four features in one register.
      Boolean("ReverseX", 0x10011C).Bits(0, 1).Tip("Flip the image horizontally."),
      Boolean("ReverseY", 0x10011C).Bits(1, 1).Tip("Flip the image vertically."),
      Enumeration("TestPattern", 0x10011C,
                  {{"Off", 0},
                   {"GreyHorizontalRamp", 1},
                   {"GreyVerticalRamp", 2},
                   {"GreyDiagonalRampMoving", 3}})
          .Bits(4, 4)
          .Tip("Test pattern sent instead of the image."),
      Integer("BinningHorizontal", 0x10011C)
          .Bits(8, 3)
          .Range(1, 4)
          .Value(1)
          .Tip("Horizontal pixels combined into one."),
      IntSwissKnife("PayloadSize", "W * H * ((PF >> 16) & 0xFF) / 8",
                    {{"W", "Width"}, {"H", "Height"}, {"PF", "PixelFormat"}})
          .Tip("Bytes of one image."),

      Enumeration("AcquisitionMode", 0x100200,
                  {{"Continuous", 0}, {"SingleFrame", 1}, {"MultiFrame", 2}})
          .Tip("Acquisition mode of the device."),
      Command("AcquisitionStart", 0x100204).Tip("Starts the acquisition."),
      Command("AcquisitionStop", 0x100208).BusyReads(2).Tip("Stops it after the current frame."),
      Integer("AcquisitionFrameCount", 0x10020C)
          .Range(1, 65535)
          .Value(1)
          .Tip("Frames of a MultiFrame acquisition."),
      Float("AcquisitionFrameRate", 0x100210, 4)
          .FloatRange(1, 500)
          .FloatValue(30)
          .Unit("Hz")
          .Tip("Frame rate."),
      Converter("ExposureTime", "ExposureTimeRaw", "TO / 10", "FROM * 10")
          .Unit("us")
          .Tip("Exposure time."),
      Integer("ExposureTimeRaw", 0x100214)
          .Range(100, 10000000)
          .Value(100000)
          .Custom()
          .Visible(Visibility::Guru)
          .Tip("Exposure time in steps of 0.1 us."),
      Enumeration("TriggerSelector", 0x100220,
                  {{"AcquisitionStart", 0}, {"FrameStart", 1}, {"FrameBurstStart", 2}})
          .Value(1)
          .Tip("Trigger that the following features configure."),
      Enumeration("TriggerMode", 0x100240, {{"Off", 0}, {"On", 1}})
          .SelectedBy("TriggerSelector", 0x10)
          .Tip("Whether the selected trigger is active."),
      Enumeration("TriggerSource", 0x100244, {{"Software", 0}, {"Line0", 1}, {"Line1", 2}})
          .SelectedBy("TriggerSelector", 0x10)
          .Tip("Source of the selected trigger."),
      Enumeration("TriggerActivation", 0x100248, {{"RisingEdge", 0}, {"FallingEdge", 1}})
          .SelectedBy("TriggerSelector", 0x10)
          .Tip("Edge of the trigger signal."),
      Command("TriggerSoftware", 0x10024C)
          .SelectedBy("TriggerSelector", 0x10)
          .Tip("Fires the selected trigger."),

      Float("Gain", 0x100300, 8).FloatRange(0, 24).FloatValue(1.5).Unit("dB").Tip("Gain."),
      Integer("BlackLevel", 0x100308).Signed().Range(-64, 63).Value(-8).Tip("Black level offset."),

      Enumeration("UserSetSelector", 0x100400, {{"Default", 0}, {"UserSet1", 1}, {"UserSet2", 2}})
          .Tip("User set to load or save."),
      Command("UserSetLoad", 0x100404).BusyReads(3).Tip("Loads the selected user set."),
      Command("UserSetSave", 0x100408).BusyReads(5).Tip("Saves to the selected user set."),
  };
  return model;
}

}  // namespace vesk::sim
