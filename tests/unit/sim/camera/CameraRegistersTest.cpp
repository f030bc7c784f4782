#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "sim/camera/Camera.h"
#include "tests/unit/sim/camera/CameraTestSupport.h"

// The register memory of a built-in model: sparse, bounds- and limit-checked, with commands that
// run for a while and regions that a transport answers.
namespace {

using vesk::sim::CameraIdentity;
using vesk::sim::RegisterRegion;
using namespace vesk::test::camera;

std::vector<uint8_t> Little(uint64_t value, size_t length) {
  std::vector<uint8_t> bytes(length);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(value);
    value >>= 8;
  }
  return bytes;
}

class CameraRegistersTest : public testing::Test {
 protected:
  CameraRegistersTest()
      : camera_(Camera::Create("AreaScan", {}, XmlForm::Plain, Endianness::Little)) {}

  uint64_t Address(const std::string& name) const { return FeatureOf(*camera_, name).address; }
  bool Write(uint64_t address, const std::vector<uint8_t>& bytes) {
    return camera_->Write(address, bytes.data(), bytes.size());
  }
  FeatureValue Value(const std::string& name) { return *camera_->Value(name); }

  std::unique_ptr<Camera> camera_;
};

TEST(CameraModelsTest, UnknownModelsAreRefusedAndGivenIdentityFieldsAreCutToTheirRegisters) {
  EXPECT_EQ(Camera::ModelNames(), (std::vector<std::string>{"AreaScan", "LineScan"}));
  EXPECT_THROW(Camera::Create("Nope", {}, XmlForm::Plain, Endianness::Big), std::invalid_argument);
  const CameraIdentity given{"Vendor", "", "SN-0123456789-ABCDEF-TOO-LONG", "", "cam 7"};
  std::unique_ptr<Camera> camera =
      Camera::Create("LineScan", given, XmlForm::Plain, Endianness::Big);
  EXPECT_EQ(camera->Identity().vendor, "Vendor");
  EXPECT_EQ(camera->Identity().model, "VL-8192");  // the model's own where none is given
  EXPECT_EQ(*camera->Value("DeviceVendorName"), FeatureValue(std::string("Vendor")));
  EXPECT_EQ(*camera->Value("DeviceModelName"), FeatureValue(std::string("VL-8192")));
  EXPECT_EQ(*camera->Value("DeviceSerialNumber"), FeatureValue(std::string("SN-0123456789-AB")));
  EXPECT_EQ(*camera->Value("DeviceVersion"), FeatureValue(std::string("2.0.1")));
  EXPECT_EQ(*camera->Value("DeviceUserID"), FeatureValue(std::string("cam 7")));
}

TEST_F(CameraRegistersTest, AddressesOutsideTheRegistersAreRefusedAndReadsSpanTheOthers) {
  const uint64_t width = Address("Width");
  const std::tuple<const char*, uint64_t, size_t> cases[] = {
      {"below every register", 0x1000, 4},
      {"just before the first register", 0xFFFFC, 8},
      {"gap after the last bit field register", Address("ReverseX") + 4, 4},
      {"from a register into a gap", Address("TimestampLatchValue") + 4, 8},
      {"past the address space", ~0ULL - 1, 4},
      {"nothing at all", width, 0},
  };
  for (const auto& [what, address, length] : cases) {
    std::vector<uint8_t> bytes(std::max<size_t>(length, 1), 0xAA);
    EXPECT_FALSE(camera_->Read(address, bytes.data(), length)) << what;
    EXPECT_FALSE(camera_->Write(address, bytes.data(), length)) << what;
  }
  EXPECT_FALSE(camera_->Read(width, nullptr, 4));

  // Reads span neighbouring registers and parts of one.
  EXPECT_EQ(ReadBytes(*camera_, width, 8),
            (std::vector<uint8_t>{0x80, 0x07, 0, 0, 0x38, 0x04, 0, 0}));
  EXPECT_EQ(ReadBytes(*camera_, width + 1, 1), std::vector<uint8_t>{0x07});
  std::unique_ptr<Camera> big = Camera::Create("AreaScan", {}, XmlForm::Plain, Endianness::Big);
  EXPECT_EQ(ReadBytes(*big, width, 4), (std::vector<uint8_t>{0, 0, 0x07, 0x80}));
}

TEST_F(CameraRegistersTest, WritesOutsideTheLimitsChangeNothing) {
  // Feature, value written little-endian, its length, and whether the camera takes it.
  const std::tuple<const char*, uint64_t, size_t, bool> cases[] = {
      {"Width", 2048, 4, true},
      {"Width", 2064, 4, false},            // above Max
      {"Width", 1000, 4, false},            // off the Inc grid
      {"Width", 1024, 2, false},            // half a register
      {"BlackLevel", 0xFFFFFFC0, 4, true},  // -64
      {"BlackLevel", 0xFFFFFFBF, 4, false},
      {"PixelFormat", 0x01100005, 4, true},
      {"PixelFormat", 0x01100004, 4, false},   // no entry
      {"SensorWidth", 2048, 4, false},         // read-only
      {"TestPattern", 0x131, 4, true},         // BinningHorizontal 1, TestPattern 3, ReverseX
      {"TestPattern", 0x141, 4, false},        // TestPattern 4 is no entry
      {"TestPattern", 0x531, 4, false},        // BinningHorizontal 5 is too high
      {"Gain", 0x4028000000000000, 8, true},   // 12.0
      {"Gain", 0x4039000000000000, 8, false},  // 25.0
      {"AcquisitionStart", 2, 4, false},       // not the command value
  };
  for (const auto& [feature, value, length, taken] : cases) {
    const uint64_t address = Address(feature);
    const std::vector<uint8_t> before = ReadBytes(*camera_, address, 8);
    const bool accepted = Write(address, Little(value, length));
    EXPECT_EQ(accepted, taken) << feature << " " << value;
    if (!accepted) EXPECT_EQ(ReadBytes(*camera_, address, 8), before) << feature;
  }
  EXPECT_EQ(Value("Width"), FeatureValue(int64_t{2048}));
  EXPECT_EQ(Value("BlackLevel"), FeatureValue(int64_t{-64}));
  EXPECT_EQ(Value("TestPattern"), FeatureValue(int64_t{3}));
  EXPECT_EQ(Value("ReverseX"), FeatureValue(int64_t{1}));
  EXPECT_EQ(Value("Gain"), FeatureValue(12.0));

  // A write over several registers is all or nothing.
  EXPECT_FALSE(Write(Address("Width"), Little(1024 | 4096ull << 32, 8)));
  EXPECT_EQ(Value("Width"), FeatureValue(int64_t{2048}));
  EXPECT_TRUE(Write(Address("Width"), Little(1024 | 512ull << 32, 8)));
  EXPECT_EQ(Value("Width"), FeatureValue(int64_t{1024}));
  EXPECT_EQ(Value("Height"), FeatureValue(int64_t{512}));
  EXPECT_EQ(Value("PayloadSize"), FeatureValue(int64_t{1024 * 512 * 2}));  // 16-bit pixels now
}

// Their busy reads through the node map are in GeneratedXmlTest; here a refused read.
TEST_F(CameraRegistersTest, ARefusedReadIsNoBusyReadOfACommand) {
  const uint64_t load = Address("UserSetLoad");
  ASSERT_TRUE(Write(load, Little(1, 4)));
  EXPECT_TRUE(ReadBytes(*camera_, load, 0x100).empty());
  std::vector<std::vector<uint8_t>> reads;
  for (int read = 0; read < 4; ++read) reads.push_back(ReadBytes(*camera_, load, 4));
  const std::vector<uint8_t> one = Little(1, 4);
  EXPECT_EQ(reads, (std::vector<std::vector<uint8_t>>{one, one, one, Little(0, 4)}));
}

TEST_F(CameraRegistersTest, RegionsAnswerBeforeTheFeatureRegisters) {
  std::vector<uint8_t> memory(16, 0x11);
  const auto region = [&](uint64_t address, uint64_t length, uint8_t fill) {
    RegisterRegion added{address, length, nullptr, nullptr};
    added.read = [fill](uint64_t, uint8_t* bytes, size_t count) {
      std::fill_n(bytes, count, fill);
      return true;
    };
    return added;
  };
  const uint64_t width = Address("Width");
  camera_->AddRegion(region(width, 16, 0x22));
  camera_->AddRegion(region(width + 8, 4, 0x33));
  RegisterRegion writable{0x40, 16, nullptr, nullptr};
  // A handler may call back into the camera: it runs without the camera's lock.
  writable.write = [&](uint64_t offset, const uint8_t* bytes, size_t count) {
    std::copy_n(bytes, count, memory.begin() + static_cast<ptrdiff_t>(offset));
    return camera_->Value("Width").has_value();
  };
  camera_->AddRegion(writable);

  EXPECT_EQ(ReadBytes(*camera_, width, 4), std::vector<uint8_t>(4, 0x22));
  EXPECT_EQ(ReadBytes(*camera_, width + 8, 4), std::vector<uint8_t>(4, 0x33));
  EXPECT_TRUE(ReadBytes(*camera_, width + 6, 4).empty()) << "partly in the later region";
  EXPECT_TRUE(ReadBytes(*camera_, width + 12, 8).empty()) << "leaves the region";
  EXPECT_FALSE(Write(width, Little(16, 4))) << "the region has no write handler";
  EXPECT_EQ(Value("Width"), FeatureValue(int64_t{1920}));
  EXPECT_TRUE(Write(0x44, {1, 2}));
  EXPECT_EQ(std::vector<uint8_t>(memory.begin() + 4, memory.begin() + 6),
            (std::vector<uint8_t>{1, 2}));
  EXPECT_TRUE(ReadBytes(*camera_, 0x44, 2).empty()) << "the region has no read handler";
}

TEST_F(CameraRegistersTest, ThreadsWritingAndReadingSeeWholeValues) {
  const uint64_t width = Address("Width");
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      const uint64_t mine = 256 + 512 * static_cast<uint64_t>(thread);
      for (int round = 0; round < 2000; ++round) {
        Write(width, Little(mine, 4));
        const std::vector<uint8_t> read = ReadBytes(*camera_, width, 4);
        if (read.size() != 4) {
          ++torn;
          continue;
        }
        const uint32_t value = read[0] | (read[1] << 8) | (read[2] << 16) | (read[3] << 24);
        if (value % 256 != 0 || value > 1792) ++torn;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
