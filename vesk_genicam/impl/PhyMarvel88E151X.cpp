#include "vesk_genicam/impl/PhyMarvel88E151X.h"

#include <chrono>
#include <string>
#include <thread>

#include "vesk_genicam/impl/PollTimer.h"

vesk::tools::logging::ClassLogger CPhyMarvel88E151X::logger_{"vesk.genicam.PhyMarvel88E151X"};

namespace {

constexpr unsigned int kMdioTag = 0x4D44494F;
constexpr unsigned int kPortBits = 2;
constexpr unsigned int kPage = 22;
constexpr unsigned int kSpecificStatus = 17;
constexpr unsigned int kLinkUp = 0x0008;
constexpr unsigned int kSoftwareReset = 0x8000;
constexpr unsigned int kResetLimitMs = 1000;
constexpr unsigned int kResetPollMs = 10;

void SleepMs(unsigned int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

unsigned int Address(unsigned int port, unsigned int reg) {
  return (~port & 3) | (reg & 0xFF) << kPortBits;
}

}  // namespace

CPhyMarvel88E151X::CPhyMarvel88E151X(fpga_design* design, PLdevice* device)
    : design_(design), device_(device) {}

void CPhyMarvel88E151X::WriteMdioData(unsigned int port, unsigned int reg, unsigned int value) {
  VHalWriteConfig(device_, kMdioTag, Address(port, reg), &value, 1);
}

unsigned int CPhyMarvel88E151X::ReadMdioData(unsigned int port, unsigned int reg) {
  unsigned int value = 0;
  VHalReadConfig(device_, kMdioTag, Address(port, reg), &value, 1);
  return value;
}

void CPhyMarvel88E151X::WriteMdioPage(unsigned int port, unsigned int page, unsigned int reg,
                                      unsigned int value) {
  WriteMdioData(port, kPage, page);
  WriteMdioData(port, reg, value);
}

unsigned int CPhyMarvel88E151X::ReadMdioPage(unsigned int port, unsigned int page,
                                             unsigned int reg) {
  WriteMdioData(port, kPage, page);
  return ReadMdioData(port, reg);
}

int CPhyMarvel88E151X::GetGigeConfigCtrl(unsigned int port) {
  const std::string number = std::to_string(port);
  const int id = DsnGetRegisterByName(design_, ("GigeConfigControl_" + number).c_str());
  return id != 0 ? id : DsnGetRegisterByName(design_, ("oGigeConfigControl_" + number).c_str());
}

bool CPhyMarvel88E151X::IsConnected(unsigned int port) {
  return (ReadMdioPage(port, 0, kSpecificStatus) & kLinkUp) != 0;
}

unsigned int CPhyMarvel88E151X::GetSpeed(unsigned int port) {
  return 10u << (ReadMdioData(port, kSpecificStatus) >> 14 & 3);
}

void CPhyMarvel88E151X::Reset(unsigned int port) {
  const int control = GetGigeConfigCtrl(port);
  if (control == 0) return;
  for (unsigned int value : {1u, 3u, 2u}) {
    VHalRegisterWrite(device_, control, value);
    SleepMs(1000);
  }
  WriteMdioPage(port, 2, 21, ReadMdioPage(port, 2, 21) | 48);
  WriteMdioPage(port, 0, 0, ReadMdioPage(port, 0, 0) | kSoftwareReset);
  PollTimer timer(kResetLimitMs);
  while (ReadMdioPage(port, 0, 0) & kSoftwareReset) {
    if (timer.Expired()) {
      ReadMdioPage(port, 0, 0);
      logger_.Line(5, [&] {
        return "PHY id" + std::to_string(port) +
               " : Timeout occurred excuting PHY Software Reset !!!";
      });
      break;
    }
    SleepMs(kResetPollMs);
  }
  WriteMdioPage(port, 3, 18, ReadMdioPage(port, 3, 18) | 0x880);
  WriteMdioPage(port, 3, 16, 4196);
  WriteMdioPage(port, 7, 21, 0);
}
