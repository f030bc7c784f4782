#ifndef VESK_TESTS_SUPPORT_TEST_PORT_H
#define VESK_TESTS_SUPPORT_TEST_PORT_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "vesk_genicam/impl/CameraInfo.h"
#include "vesk_genicam/impl/IPortInterface.h"

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

// A small camera description with a register, a command "AcquisitionStart" and a place where a
// tool tip may go.
inline std::string TestCameraDescription(const std::string& toolTip = "<ToolTip>Width</ToolTip>") {
  return DescriptionWith(R"(<Category Name="Root" NameSpace="Standard">
    <pFeature>Width</pFeature>
    <pFeature>AcquisitionStart</pFeature>
  </Category>
  <Integer Name="Width" NameSpace="Standard">
    )" + toolTip + R"(
    <pValue>WidthReg</pValue>
  </Integer>
  <IntReg Name="WidthReg">
    <Address>0x100</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess>
  </IntReg>
  <Command Name="AcquisitionStart" NameSpace="Standard">
    <pValue>StartReg</pValue>
    <CommandValue>1</CommandValue>
  </Command>
  <IntReg Name="StartReg">
    <Address>0x104</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Cachable>NoCache</Cachable>
  </IntReg>)");
}

// A port over plain memory, serving a camera description from LoadXML. Every fact a driver or
// camera object reads is a public field; calls are counted.
class TestPort : public IPortInterface {
 public:
  explicit TestPort(uint32_t id = 0) : portId(id) {}

  void Read(void* buffer, int64_t address, int64_t length) override {
    if (failure) failure();
    auto* bytes = static_cast<uint8_t*>(buffer);
    for (int64_t i = 0; i < length; ++i) bytes[i] = memory[address + i];
  }
  void Write(const void* buffer, int64_t address, int64_t length) override {
    if (failure) failure();
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    for (int64_t i = 0; i < length; ++i) memory[address + i] = bytes[i];
  }

  EPORT_TYPE GetPortType() override { return portType; }
  uint32_t GetPortId() override { return portId; }
  uint32_t GetPortPL() override { return portPL; }
  uint32_t GetLogicPort() override { return logicPort; }
  uint32_t GetLogicPLPort() override { return logicPLPort; }
  uint32_t GetSpeed() override { return speed; }
  uint32_t GetPLOperatorIndex() override { return operatorIndex; }
  uint32_t GetPLOperatorSize() override { return operatorSize; }
  bool IsConnected() override { return speed != kNoLinkSpeed; }
  bool IsTransceiverSynchronized() override { return synchronized; }
  bool IsBootstrapAddress(uint64_t) override { return false; }
  uint32_t GetMaxControlPacketSize() override { return controlPacketSize; }
  uint32_t GetMaxCoreControlPacketSize() override { return controlPacketSize; }
  uint32_t GetMaxStreamPacketSize() override { return streamPacketSize; }
  ICameraInfo* GetCameraInfo() override {
    ++infoReads;
    return &info;
  }
  int SaveCameraInfo() override { return 0; }
  int UpdateCameraInfo() override {
    ++infoUpdates;
    return 0;
  }
  int LoadXML(std::string& text, unsigned int flags) override {
    ++xmlLoads;
    lastXmlFlags = flags;
    if (xmlCode) return xmlCode;
    text = xml;
    return 0;
  }
  void UpdatePreAcquisition() override { ++preparations; }
  int ReadPacket(unsigned int address, unsigned char* data, unsigned int length,
                 unsigned int timeoutMs) override {
    timeouts.push_back(timeoutMs);
    if (packetCode) return packetCode;
    Read(data, address, length);
    return 0;
  }
  int WritePacket(unsigned int address, unsigned char* data, unsigned int length,
                  unsigned int timeoutMs) override {
    timeouts.push_back(timeoutMs);
    if (packetCode) return packetCode;
    Write(data, address, length);
    return 0;
  }

  uint32_t Get32(int64_t address) {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(memory[address + i]) << (8 * i);
    return value;
  }
  void PutBig32(int64_t address, uint32_t value) {
    for (int i = 0; i < 4; ++i) memory[address + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
  }
  uint32_t GetBig32(int64_t address) {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = (value << 8) | memory[address + i];
    return value;
  }

  EPORT_TYPE portType = PortTypeUnconnected;
  uint32_t portId;
  uint32_t portPL = 0;
  uint32_t logicPort = 0xFFFFFFFF;
  uint32_t logicPLPort = 0xFFFFFFFF;
  uint32_t speed = kNoLinkSpeed;
  uint32_t operatorIndex = 0;
  uint32_t operatorSize = 1;
  bool synchronized = false;
  uint32_t controlPacketSize = 1024;
  uint32_t streamPacketSize = 8192;
  CCameraInfo info;
  std::string xml = TestCameraDescription();
  int xmlCode = 0;
  int packetCode = 0;
  int xmlLoads = 0;
  unsigned int lastXmlFlags = 0xFFFFFFFF;
  int infoReads = 0;
  int infoUpdates = 0;
  int preparations = 0;
  // Runs before every memory access; may throw to play a failing transport.
  std::function<void()> failure;
  // Of every packet, in order.
  std::vector<unsigned int> timeouts;
  std::map<int64_t, uint8_t> memory;
};

}  // namespace vesk::test

#endif
