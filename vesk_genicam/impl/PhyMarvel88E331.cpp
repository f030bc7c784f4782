#include "vesk_genicam/impl/PhyMarvel88E331.h"

#include <chrono>
#include <string>
#include <thread>

namespace {

constexpr unsigned int kMdioTag = 0x4D44494F;
constexpr unsigned int kPortBits = 2;
constexpr unsigned int kRegisterBits = 16;
constexpr unsigned int kPmaDevice = 1;
constexpr unsigned int kPcsDevice = 3;
constexpr unsigned int kPhyXsDevice = 4;
constexpr unsigned int kAutoNegDevice = 7;
constexpr unsigned int kVendorDevice = 31;
constexpr unsigned int kCopperStatus = 0x8008;
constexpr unsigned int kLinkUp = 0x0400;
constexpr unsigned int kAutoNegControl = 0xF0A0;
constexpr unsigned int kAutoNegStatus = 0xF0A6;
constexpr unsigned int kAutoNegDone = 0x8000;
constexpr unsigned int kSoftwareReset = 0x8000;

void SleepMs(unsigned int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

unsigned int Address(unsigned int port, unsigned int device, unsigned int reg) {
  return (port & 3) | (reg & 0xFFFF) << kPortBits | (device & 0xFF) << (kPortBits + kRegisterBits);
}

}  // namespace

CPhyMarvel88E331::CPhyMarvel88E331(fpga_design* design, PLdevice* device)
    : design_(design), device_(device) {}

void CPhyMarvel88E331::WriteMdioData(unsigned int port, unsigned int device, unsigned int reg,
                                     unsigned int value) {
  VHalWriteConfig(device_, kMdioTag, Address(port, device, reg), &value, 1);
}

void CPhyMarvel88E331::ReadMdioData(unsigned int port, unsigned int device, unsigned int reg,
                                    unsigned int* value) {
  VHalReadConfig(device_, kMdioTag, Address(port, device, reg), value, 1);
}

bool CPhyMarvel88E331::IsConnected(unsigned int port) {
  unsigned int status = 0;
  ReadMdioData(port, kPcsDevice, kCopperStatus, &status);
  return (status & kLinkUp) != 0;
}

unsigned int CPhyMarvel88E331::GetSpeed(unsigned int) { return 0; }

void CPhyMarvel88E331::EnablePOE(unsigned int port, bool on) {
  WriteMdioData(port, 0, 6, on ? 0 : 16);
}

void CPhyMarvel88E331::RestartAutoNeg(unsigned int port) {
  unsigned int value = 0;
  ReadMdioData(port, kPhyXsDevice, kAutoNegControl, &value);
  value |= 4;
  WriteMdioData(port, kPhyXsDevice, kAutoNegControl, value);
  value |= 256;
  WriteMdioData(port, kPhyXsDevice, kAutoNegControl, value);
  for (int look = 0; look < 50; ++look) {
    unsigned int status = 0;
    ReadMdioData(port, kPhyXsDevice, kAutoNegStatus, &status);
    if (status & kAutoNegDone) {
      SleepMs(100);
      return;
    }
    SleepMs(100);
  }
}

void CPhyMarvel88E331::Reset(unsigned int port) {
  const std::string number = std::to_string(port);
  int control = DsnGetRegisterByName(design_, ("GigeConfigControl_" + number).c_str());
  if (control == 0)
    control = DsnGetRegisterByName(design_, ("oGigeConfigControl_" + number).c_str());
  if (control != 0) {
    VHalRegisterWrite(device_, control, 1);
    SleepMs(1000);
    VHalRegisterWrite(device_, control, 3);
    SleepMs(100);
    VHalRegisterWrite(device_, control, 2);
    SleepMs(100);
  }
  unsigned int value = 0;
  ReadMdioData(port, kPmaDevice, 0, &value);
  WriteMdioData(port, kPmaDevice, 0, value | kSoftwareReset);
  SleepMs(200);
  WriteMdioData(port, kAutoNegDevice, 32, 4577);
  SleepMs(200);
  WriteMdioData(port, kAutoNegDevice, 0, 12800);
  SleepMs(200);
  EnablePOE(port, true);
  WriteMdioData(port, kVendorDevice, 61505, 0);
  WriteMdioData(port, kPcsDevice, 32784, 3072);
  WriteMdioData(port, kPcsDevice, 32786, 768);
}
