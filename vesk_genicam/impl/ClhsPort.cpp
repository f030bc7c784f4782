// The frame of CClhsPort: construction, the firmware registers by name, the transceiver and
// X-Core reset sequences, the link signal, and the camera's identity and XML.
#include "vesk_genicam/impl/ClhsPort.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "templates/container/ManagedDataArray.h"
#include "templates/patterns/GenericLockGuard.h"
#include "templates/platform/RecursiveMutexGuard.h"
#include "vesk_genicam/impl/BoardLocks.h"
#include "vesk_genicam/impl/GencpIdentity.h"
#include "vesk_genicam/impl/PollTimer.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/ZipReader.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

using vesk::templates::container::ManagedDataArray;
using vesk::templates::patterns::GenericLockGuard;
using vesk::templates::platform::RecursiveMutexGuard;

// The port logs under the controller's name.
vesk::tools::logging::ClassLogger CClhsPort::logger_{"vesk.genicam.ClhsController"};

namespace {

constexpr unsigned int kRegisterTimeoutMs = 200;
constexpr unsigned int kGtxWaitMs = 9;
constexpr unsigned int kManifestAddress = 0x1D0;
constexpr unsigned int kEntrySize = 64;
// Larger than any camera description; a manifest that claims more is not believed.
constexpr uint32_t kMaxXmlSize = 64u << 20;
constexpr uint32_t kCounterBits = 0xFF0000;

enum LedState : unsigned int { LedReset = 5 };

std::string Hex(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
  return text;
}

}  // namespace

struct CClhsPort::ManifestEntry {
  uint32_t version = 0;
  uint32_t schema = 0;
  uint64_t address = 0;
  uint64_t size = 0;
  bool IsZip() const { return (schema & 63) == 1; }
};

CClhsPort::CClhsPort(unsigned int portId, ECLHS_INTERFACE_TYPE type, PLdevice* device,
                     fpga_design* design)
    : device_(device),
      design_(design),
      type_(type),
      boardIndex_(VHalGetBoardIndex(device, 0)),
      portId_(portId),
      registerLock_(BoardLockName(boardIndex_, "-reg_lock").c_str(), false) {
  InitReg();
  if (registers_.pcsPacketCounter > 0) lastPacketCounter_ = ReadPacketCounter();
  ReadMasterMask();
}

void CClhsPort::ReadMasterMask() {
  const std::string name = "VESK_CLHS_PORT_MASTER_MASK_" + std::to_string(boardIndex_);
  const char* text = std::getenv(name.c_str());
  if (!text) return;
  char* end = nullptr;
  errno = 0;
  const unsigned long mask = std::strtoul(text, &end, 10);
  if (*text == '\0' || *end != '\0' || errno != 0 || mask > 0xFFFFFFFF) {
    logger_.Line(4, [&] {
      return "Failed to set CLHS port master mask from environment variable " + name +
             ": Invalid value " + text;
    });
    masterMask_ = 1;
    return;
  }
  masterMask_ = static_cast<uint32_t>(mask);
  logger_.Line(3, [&] { return "Using " + name + " = 0x" + Hex(masterMask_); });
}

int CClhsPort::LookupAt(const char* name, unsigned int channel) const {
  return DsnGetRegisterByName(design_, (name + std::to_string(channel)).c_str());
}

void CClhsPort::InitReg() {
  registerLock_.enter();
  GenericLockGuard guard(&registerLock_);
  registers_.gtxSetup = LookupAt("GtxSetup_", portId_);
  registers_.ledWrite = LookupAt("LEDModeWrite_", portId_);
  LookupCommandPath(portId_);
  const int status = DsnGetRegisterByName(design_, "GtxStatus");
  if (status > 0) registers_.gtxStatus = status;
  // A design with "GtxStatus_0" as well still reads the board-wide register.
}

void CClhsPort::LookupCommandPath(unsigned int channel) {
  Registers& r = registers_;
  r.pcsSetup = LookupAt("PcsSetup_", channel);
  r.pcsPacketCounter = LookupAt("PcsPacketCounter_", channel);
  r.coreReset = LookupAt("ClhsControlCoreReset_", channel);
  r.txData = LookupAt("ClhsTxCmdData_", channel);
  r.txCommand = LookupAt("ClhsTxCmdCommand_", channel);
  r.txStatus = LookupAt("ClhsTxCmdStatus_", channel);
  r.txRevision = LookupAt("ClhsTxRevision_", channel);
  r.rxData = LookupAt("ClhsRxCmdData_", channel);
  r.rxStatus = LookupAt("ClhsRxCmdStatus_", channel);
  r.linkRxStatus = LookupAt("ClhsLinkRxStatus_", channel);
}

void CClhsPort::RemapReg(unsigned int channel) {
  RecursiveMutexGuard scope(&portScope_);
  LookupCommandPath(channel);
}

void CClhsPort::Reset() {
  RecursiveMutexGuard scope(&portScope_);
  speed_ = kNoLinkSpeed;
  portType_ = PortTypeUnconnected;
  logicPort_ = 0xFFFFFFFF;
  portPL_ = 0xFFFFFFFF;
  logicPLPort_ = 0xFFFFFFFF;
  RemapReg(portId_);
}

void CClhsPort::SetPortType(EPORT_TYPE type, uint32_t logicalPort) {
  portType_ = type;
  logicPort_ = logicalPort;
}

uint64_t CClhsPort::ReadRegister(int id) {
  uint64_t value = 0;
  VHalRegisterRead(device_, id, &value);
  return value;
}

void CClhsPort::WriteRegister(int id, uint64_t value) { VHalRegisterWrite(device_, id, value); }

uint32_t CClhsPort::ReadPacketCounter() {
  return static_cast<uint32_t>(ReadRegister(registers_.pcsPacketCounter)) & kCounterBits;
}

void CClhsPort::SetLEDState(unsigned int state) { WriteRegister(registers_.ledWrite, state); }

int CClhsPort::ResetCtrlCore(unsigned int value) {
  WriteRegister(registers_.coreReset, value);
  return 0;
}

unsigned int CClhsPort::GetResetReg() {
  return static_cast<unsigned int>(ReadRegister(registers_.coreReset));
}

bool CClhsPort::IsBootstrapAddress(uint64_t address) {
  switch (address) {
    case 0x10000:
    case 0x10004:
    case 0x10008:
    case 0x10010:
    case 0x10014:
    case 0x10018:
    case 0x1001C:
    case 0x10128:
    case 0x10174:
      return true;
    default:
      return false;
  }
}

bool CClhsPort::SetStatusReg(unsigned int value, unsigned int mask, unsigned int expected) {
  WriteRegister(registers_.gtxSetup, value);
  PollTimer timer(kGtxWaitMs);
  while (!timer.Expired()) {
    if ((ReadRegister(registers_.gtxStatus) & mask) == expected) return true;
  }
  return false;
}

int CClhsPort::ResetCLHSCommandPort() {
  ResetCtrlCore(5);
  CUtility::SleepMs(2);
  ResetCtrlCore(0);
  return 0;
}

void CClhsPort::DoCoreReset() {
  RecursiveMutexGuard scope(&portScope_);
  const bool boardStatus = type_ > ClhsIfPortStatus;
  const unsigned int start = boardStatus ? 7 : 28;
  const unsigned int mask = boardStatus ? (portId_ == 0 ? 3 : 5) : 15;
  const unsigned int expected = boardStatus ? 0 : 3;
  const unsigned int end = boardStatus ? 1 : 16;
  SetLEDState(LedReset);
  logger_.Line(3, [&] { return "Resetting XCore on channels: " + std::to_string(portId_); });
  WriteRegister(registers_.txRevision, 0);
  CUtility::SleepMs(2);
  ResetCtrlCore(63);
  // A failed wait shows later as a missing link; the reset goes on.
  if (!SetStatusReg(start, mask, expected))
    logger_.Line(4, [] { return "Failed to initiate GTX reset"; });
  if (!SetStatusReg(end, mask, mask))
    logger_.Line(4, [] { return "Failed to wait for GTX reset to finish"; });
  ResetCtrlCore(50);
  CUtility::SleepMs(10);
  WriteRegister(registers_.txRevision, (masterMask_ >> portId_ & 1) ? 0xB0014 : 0x30014);
  logger_.Line(3, [] { return "End DoCoreReset"; });
}

bool CClhsPort::PhyConnect() {
  RecursiveMutexGuard scope(&portScope_);
  const bool boardStatus = type_ > ClhsIfPortStatus;
  const unsigned int start = boardStatus ? 2 : 4;
  const unsigned int mask = boardStatus && portId_ == 0 ? 2 : 4;
  SetLEDState(LedReset);
  logger_.Line(3, [] { return "Start PhyConnect"; });
  if (!SetStatusReg(start, mask, 0)) {
    logger_.Line(
        4, [&] { return "Failed to initiate GTX reset on channel " + std::to_string(portId_); });
  }
  if (!SetStatusReg(0, mask, mask)) {
    logger_.Line(4, [&] {
      return "Failed to wait for GTX reset to finish on channel " + std::to_string(portId_);
    });
  }
  logger_.Line(3, [&] { return "Release XCore reset on port " + std::to_string(logicPort_); });
  ResetCtrlCore(0);
  CUtility::SleepMs(2);
  lastPacketCounter_ = ReadPacketCounter();
  return true;
}

// A link is up when no loss bit is set and the PCS counter stands still over three looks; a
// moving counter means the receiver is still hunting.
bool CClhsPort::CheckForReceiveLinkSignal() {
  RecursiveMutexGuard scope(&portScope_);
  const unsigned int mask = type_ <= ClhsIfPortStatus ? 48 : (portId_ == 0 ? 40 : 80);
  if (ReadRegister(registers_.gtxStatus) & mask) return false;
  for (int look = 0; look < 3; ++look) {
    const uint32_t counter = ReadPacketCounter();
    if (counter != lastPacketCounter_) {
      lastPacketCounter_ = counter;
      return false;
    }
  }
  speed_ = kLinkSpeed;
  return true;
}

int CClhsPort::SaveCameraInfo() {
  std::lock_guard<std::mutex> lock(cameraInfoMutex_);
  cameraInfo_.Reset();
  // No user id on this interface.
  GencpIdentity::Read(*this, cameraInfo_, false, logger_, "");
  return 0;
}

int CClhsPort::ReadManifest(uint64_t& table, uint64_t& count) {
  uint32_t magic = 0;
  int status = ReadPacket(0, reinterpret_cast<unsigned char*>(&magic), 4, kRegisterTimeoutMs);
  if (status != 0) return status;
  magic_ = magic;
  unsigned char bytes[8];
  status = ReadPacket(kManifestAddress, bytes, 8, kRegisterTimeoutMs);
  if (status != 0) return status;
  table = CUtility::BigEndian(bytes, 8);
  status = ReadPacket(static_cast<unsigned int>(table), bytes, 8, kRegisterTimeoutMs);
  if (status != 0) return status;
  count = CUtility::BigEndian(bytes, 8);
  return count == 0 ? MLO_ERR_DEVICE_INVALID_ADDRESS : 0;
}

int CClhsPort::ReadEntry(uint64_t address, ManifestEntry& entry) {
  unsigned char bytes[kEntrySize];
  const int status =
      ReadPacket(static_cast<unsigned int>(address), bytes, kEntrySize, kRegisterTimeoutMs);
  if (status != 0) return status;
  entry.version = static_cast<uint32_t>(CUtility::BigEndian(bytes, 4));
  entry.schema = static_cast<uint32_t>(CUtility::BigEndian(bytes + 4, 4));
  entry.address = CUtility::BigEndian(bytes + 8, 8);
  entry.size = CUtility::BigEndian(bytes + 16, 8);
  return 0;
}

int CClhsPort::GetXmlInfo() {
  RecursiveMutexGuard scope(&portScope_);
  uint64_t table = 0;
  uint64_t count = 0;
  int status = ReadManifest(table, count);
  ManifestEntry entry;
  if (status == 0) status = ReadEntry(table + 8, entry);
  if (status != 0) return status;
  xmlName_ = "0;0;Local:ManifestXmlFile_" + std::to_string(entry.version >> 24) + "." +
             std::to_string(entry.version >> 16 & 0xFF) + "." +
             std::to_string(entry.version & 0xFFFF) + "." + (entry.IsZip() ? "zip" : "xml") + ";" +
             Hex(entry.address) + ";" + Hex(entry.size);
  xmlSize_ = static_cast<uint32_t>(entry.size);
  return 0;
}

std::string CClhsPort::GetXmlName() {
  RecursiveMutexGuard scope(&portScope_);
  return xmlName_;
}

int CClhsPort::LoadXML(std::string& xml, unsigned int index) {
  RecursiveMutexGuard scope(&portScope_);
  uint64_t table = 0;
  uint64_t count = 0;
  int status = ReadManifest(table, count);
  if (status != 0) return status;
  if (index >= count) return MLO_ERR_DEVICE_INVALID_ADDRESS;
  // Entries are 64 bytes apart, but the index steps by 8 as it always has: only entry 0 is
  // found where it stands.
  ManifestEntry entry;
  status = ReadEntry(table + index * 8 + 8, entry);
  if (status != 0) return status;
  const uint32_t type = entry.schema & 63;
  if ((type != 0 && type != 1) || entry.size > kMaxXmlSize) return MLO_ERR_INTERNAL;
  const auto size = static_cast<uint32_t>(entry.size);
  auto file = ManagedDataArray::Create(size + 1);
  std::memset(file->data, 0, size + 1);
  status = ReadPacket(static_cast<unsigned int>(entry.address),
                      reinterpret_cast<unsigned char*>(file->data), size, kRegisterTimeoutMs);
  if (status != 0) return status;
  if (entry.IsZip()) {
    CZipReader zip(file);
    if (!zip.HasFiles()) return MLO_ERR_INTERNAL;
    file = zip.GetFile(0);
    if (!file) return MLO_ERR_INTERNAL;
    logger_.Line(3,
                 [&] { return "XML type: Zip - Index 0 - Size: " + std::to_string(file->size); });
  }
  xml.assign(file->data, strnlen(file->data, file->size));
  return 0;
}
