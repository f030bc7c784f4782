#ifndef VESK_TESTS_UNIT_GENAPI_PROBE_CAMERA_H
#define VESK_TESTS_UNIT_GENAPI_PROBE_CAMERA_H

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "genapi/GenApi.h"
#include "tests/support/TestPort.h"
#include "tests/unit/genapi/MemoryPort.h"

namespace vesk::test {

// A camera description with one node for each behaviour under test, over plain memory. All
// registers are 32-bit little-endian unless the node says otherwise; in the text, "@" stands for
// the length and port that most of them share.
inline const std::string& ProbeDescription() {
  static const std::string text = [] {
    std::string xml = DescriptionWith(R"(<Category Name="Root" NameSpace="Standard">
    <pFeature>Values</pFeature><pFeature>Access</pFeature>
  </Category>
  <Category Name="Values">
    <pFeature>Gain</pFeature><pFeature>Doubled</pFeature><pFeature>Ratio</pFeature>
    <pFeature>Enabled</pFeature><pFeature>Label</pFeature><pFeature>Mode</pFeature>
    <pFeature>Start</pFeature><pFeature>Block</pFeature>
  </Category>
  <Category Name="Access">
    <pFeature>ReadOnly</pFeature><pFeature>WriteOnly</pFeature><pFeature>Missing</pFeature>
  </Category>

  <Integer Name="Gain" NameSpace="Standard">
    <ToolTip>Amplification</ToolTip>
    <Description>Analog gain of the sensor.</Description>
    <DisplayName>Sensor Gain</DisplayName>
    <Visibility>Expert</Visibility>
    <pValue>GainReg</pValue><Min>0</Min><Max>100</Max><Inc>2</Inc><Unit>dB</Unit>
  </Integer>
  <IntReg Name="GainReg"><Address>0x000</Address><AccessMode>RW</AccessMode>@
    <Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <IntSwissKnife Name="Doubled"><pVariable Name="G">Gain</pVariable><Formula>G*2</Formula>
  </IntSwissKnife>
  <Converter Name="Rate">
    <FormulaTo>1000000/FROM</FormulaTo><FormulaFrom>1000000/TO</FormulaFrom>
    <pValue>ZeroReg</pValue>
  </Converter>
  <IntReg Name="ZeroReg"><Address>0x0D0</Address><AccessMode>RO</AccessMode>@</IntReg>

  <Float Name="Ratio"><pValue>RatioReg</pValue><Min>-10.0</Min><Max>10.0</Max></Float>
  <FloatReg Name="RatioReg">
    <Address>0x080</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Endianess>LittleEndian</Endianess>
  </FloatReg>
  <SwissKnife Name="Half"><pVariable Name="G">Gain</pVariable><Formula>G/2.0</Formula>
  </SwissKnife>
  <MaskedIntReg Name="LowNibble"><Address>0x0E4</Address><AccessMode>RW</AccessMode>@
    <LSB>0</LSB><MSB>3</MSB></MaskedIntReg>

  <Boolean Name="Enabled"><pValue>BoolReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue>
  </Boolean>
  <IntReg Name="BoolReg"><Address>0x090</Address><AccessMode>RW</AccessMode>@</IntReg>

  <StringReg Name="Label">
    <Address>0x070</Address><Length>16</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  </StringReg>

  <Enumeration Name="Mode">
    <EnumEntry Name="Slow"><Value>1</Value></EnumEntry>
    <EnumEntry Name="Fast"><Value>2</Value></EnumEntry>
    <EnumEntry Name="Hidden"><pIsAvailable>Zero</pIsAvailable><Value>3</Value></EnumEntry>
    <pValue>ModeReg</pValue>
  </Enumeration>
  <IntReg Name="ModeReg"><Address>0x0A0</Address><AccessMode>RW</AccessMode>@</IntReg>

  <Command Name="Start"><pValue>StartReg</pValue><CommandValue>5</CommandValue></Command>
  <IntReg Name="StartReg"><Address>0x060</Address><AccessMode>RW</AccessMode>@
    <Cachable>NoCache</Cachable></IntReg>
  <Command Name="Fire"><pValue>FireReg</pValue><CommandValue>1</CommandValue></Command>
  <IntReg Name="FireReg"><Address>0x064</Address><AccessMode>WO</AccessMode>@</IntReg>

  <Register Name="Block">
    <Address>0x0B0</Address><Length>6</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  </Register>

  <IntReg Name="ReadOnly"><Address>0x010</Address><AccessMode>RO</AccessMode>@</IntReg>
  <IntReg Name="WriteOnly"><Address>0x014</Address><AccessMode>WO</AccessMode>@</IntReg>
  <IntReg Name="ReadWrite"><Address>0x018</Address><AccessMode>RW</AccessMode>@</IntReg>
  <Integer Name="Zero"><Value>0</Value></Integer>
  <Integer Name="One"><Value>1</Value></Integer>
  <Integer Name="Missing"><pIsImplemented>Zero</pIsImplemented><Value>1</Value></Integer>
  <Integer Name="Unavailable"><pIsAvailable>Zero</pIsAvailable><Value>1</Value></Integer>
  <Integer Name="Locked"><pIsLocked>One</pIsLocked><pValue>ReadWrite</pValue></Integer>
  <Integer Name="LockedWriteOnly"><pIsLocked>One</pIsLocked><pValue>WriteOnly</pValue></Integer>
  <Integer Name="Imposed"><ImposedAccessMode>RO</ImposedAccessMode><pValue>ReadWrite</pValue>
  </Integer>
  <Integer Name="Through"><pValue>ReadOnly</pValue></Integer>
  <Integer Name="Flagged"><pIsAvailable>Flag</pIsAvailable><pValue>ReadWrite</pValue></Integer>
  <IntReg Name="Flag"><Address>0x0C0</Address><AccessMode>RW</AccessMode>@</IntReg>
  <Integer Name="Polled"><pIsAvailable>Ready</pIsAvailable><pValue>ReadWrite</pValue></Integer>
  <IntReg Name="Ready"><Address>0x0C4</Address><AccessMode>RO</AccessMode>@
    <Cachable>NoCache</Cachable></IntReg>

  <IntReg Name="NoCacheReg"><Address>0x020</Address><AccessMode>RW</AccessMode>@
    <Cachable>NoCache</Cachable></IntReg>
  <IntReg Name="WriteThroughReg"><Address>0x024</Address><AccessMode>RW</AccessMode>@
    <Cachable>WriteThrough</Cachable></IntReg>
  <IntReg Name="WriteAroundReg"><Address>0x028</Address><AccessMode>RW</AccessMode>@
    <Cachable>WriteAround</Cachable></IntReg>
  <IntReg Name="DefaultCacheReg"><Address>0x02C</Address><AccessMode>RW</AccessMode>@</IntReg>

  <IntReg Name="Status"><Address>0x030</Address><AccessMode>RO</AccessMode>@
    <pInvalidator>Trigger</pInvalidator></IntReg>
  <Integer Name="Trigger"><pValue>TriggerReg</pValue></Integer>
  <IntReg Name="TriggerReg"><Address>0x034</Address><AccessMode>RW</AccessMode>@</IntReg>
  <Integer Name="Selector">
    <pValue>SelectorReg</pValue><Min>0</Min><Max>3</Max><pSelected>Selected</pSelected>
  </Integer>
  <IntReg Name="SelectorReg"><Address>0x040</Address><AccessMode>RW</AccessMode>@</IntReg>
  <IntReg Name="Selected"><Address>0x050</Address><pIndex Offset="4">Selector</pIndex>
    <AccessMode>RW</AccessMode>@</IntReg>
)");
    for (size_t at = xml.find('@'); at != xml.npos; at = xml.find('@', at)) {
      xml.replace(at, 1, "<Length>4</Length><pPort>Device</pPort>");
    }
    return xml;
  }();
  return text;
}

// The probe description connected to a fresh memory port.
struct ProbeCamera {
  ProbeCamera() {
    map._LoadXMLFromString(ProbeDescription());
    map._Connect(&port, "Device");
  }

  template <class T>
  GenApi::CPointer<T> Get(const char* name) const {
    return GenApi::CPointer<T>(map._GetNode(name));
  }
  // Throws for a node that is not there, so that a test fails instead of crashing.
  GenApi::INode* Node(const char* name) const {
    if (GenApi::INode* node = map._GetNode(name)) return node;
    throw std::invalid_argument(std::string("no node ") + name);
  }

  MemoryPort port;
  GenApi::CNodeMapRef map;
};

// Runs call and returns the description of the GenICam exception of type E that it threw.
template <class E, class Call>
std::string DescriptionOf(Call call) {
  try {
    call();
  } catch (const E& error) {
    return error.GetDescription();
  } catch (const GenICam::GenericException& error) {
    ADD_FAILURE() << "other GenICam exception: " << error.GetDescription();
    return "";
  }
  ADD_FAILURE() << "no exception";
  return "";
}

}  // namespace vesk::test

#endif
