#include "vesk_genicam/impl/PhyMarvel88E.h"

#include <chrono>
#include <string>
#include <thread>

#include "templates/platform/RtTweakProperties.h"

using vesk::templates::platform::RtTweakProperties;

namespace {

constexpr unsigned char kControl = 0;
constexpr unsigned char kSpecificStatus = 17;
constexpr unsigned char kExtendedAddress = 29;
constexpr unsigned char kExtendedData = 30;
constexpr unsigned short kSoftwareReset = 0x8000;
// Software reset, auto-negotiation, full duplex, 1000 Mbit/s.
constexpr unsigned short kResetAutoNegotiation1000 = 0x9140;
constexpr unsigned short kLinkUp = 0x0400;
constexpr unsigned short kClassBit = 0x8000;

void SleepMs(unsigned int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

}  // namespace

CPhyMarvel88E::CPhyMarvel88E(fpga_design* design, PLdevice* device)
    : design_(design),
      device_(device),
      writeDataId_(DsnGetRegisterByName(design, "GigE_MdioWR")),
      strobeId_(DsnGetRegisterByName(design, "GigE_Mdio")),
      registerAddressId_(DsnGetRegisterByName(design, "GigE_MdioRegAddr")),
      phyAddressId_(DsnGetRegisterByName(design, "GigE_MdioPhyAddr")),
      readRegisterId_(DsnGetRegisterByName(design, "MdioReadReg")) {}

void CPhyMarvel88E::WriteId(int id, uint64_t value) { VHalRegisterWrite(device_, id, value); }

void CPhyMarvel88E::WriteNamed(const char* name, uint64_t value) {
  WriteId(DsnGetRegisterByName(design_, name), value);
}

void CPhyMarvel88E::WriteMdioData(unsigned char reg, unsigned short value) {
  WriteId(registerAddressId_, reg);
  WriteId(writeDataId_, value);
  WriteId(strobeId_, 0);
  SleepMs(100);
}

void CPhyMarvel88E::ReadMdioData(unsigned char reg, unsigned short* value) {
  if (!value) return;
  WriteId(registerAddressId_, reg);
  WriteId(writeDataId_, 0);
  SleepMs(50);
  uint64_t read = 0;
  VHalRegisterRead(device_, readRegisterId_, &read);
  *value = static_cast<unsigned short>(read);
  SleepMs(50);
}

void CPhyMarvel88E::SelectPhy(unsigned int port) { WriteId(phyAddressId_, port); }

unsigned short CPhyMarvel88E::ReadSpecificStatus(unsigned int port) {
  SelectPhy(port);
  unsigned short status = 0;
  ReadMdioData(kSpecificStatus, &status);
  return status;
}

bool CPhyMarvel88E::IsConnected(unsigned int port) {
  return (ReadSpecificStatus(port) & kLinkUp) != 0;
}

unsigned int CPhyMarvel88E::GetSpeed(unsigned int port) {
  const unsigned short status = ReadSpecificStatus(port);
  if (!(status & kLinkUp)) return 0;
  return 10u << (status >> 14);
}

// The chip's errata values go in through the extended register pair, then the class bit of the
// port as the mask asks, then a software reset that the chip must finish.
void CPhyMarvel88E::Reset(unsigned int port) {
  const int classMask = RtTweakProperties::property<int>("GIGE::DriverClassPortMask", 0, nullptr);
  SelectPhy(port);
  SleepMs(100);
  WriteMdioData(kExtendedAddress, 27);
  WriteMdioData(kExtendedData, 0x418F);
  WriteMdioData(kExtendedAddress, 22);
  WriteMdioData(kExtendedData, 0xA2DA);
  WriteMdioData(kExtendedAddress, 11);
  unsigned short value = 0;
  ReadMdioData(kExtendedData, &value);
  if (classMask >> port & 1) {
    value |= kClassBit;
  } else {
    value &= static_cast<unsigned short>(~kClassBit);
  }
  WriteMdioData(kExtendedAddress, 11);
  WriteMdioData(kExtendedData, value);
  WriteMdioData(kControl, kResetAutoNegotiation1000);
  unsigned short control = kSoftwareReset;
  while (control & kSoftwareReset) ReadMdioData(kControl, &control);
  WriteNamed("GigE_TxStart", 1);
  WriteNamed("GigE_RxEnable", 1);
  WriteNamed(("GigeTxStart" + std::to_string(port)).c_str(), 1);
  SleepMs(500);
}
