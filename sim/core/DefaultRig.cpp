#include "sim/core/DefaultRig.h"

namespace vesk::sim {

const char* DefaultRigText() {
  return R"(<rig>
  <!-- CoaXPress, queue form: packets through data queues, ports through the camera controller -->
  <!-- One four-link operator for a two-link and a one-link camera -->
  <board index="0" type="2656" serial="0x51a000" ports="4" design="cxp-camera-ctrl"
         operators="1 1.1 1.2 1.3"/>
  <!-- CoaXPress, register forms: transceiver registers with two two-link operators for one
       four-link camera, DRP on a first generation board, and a rate index (board 7) -->
  <board index="1" type="2917" serial="0x51a001" ports="4" design="cxp-transceiver-regs"
         operators="1 1.1 2 2.1"/>
  <board index="2" type="2641" serial="0x51a002" ports="4" design="cxp-drp"/>
  <!-- Camera Link HS: one camera of two links over the two channels of master id 1 -->
  <board index="3" type="2657" serial="0x51a003" ports="2" design="clhs" operators="1 1.1"/>
  <board index="4" type="1872" serial="0x51a004" ports="2" design="cl-base"/>
  <!-- GigE Vision, both port variants -->
  <board index="5" type="2898" serial="0x51a005" ports="4" design="gige-korvid"/>
  <board index="6" type="3650" serial="0x51a006" ports="4" design="gige-ka4"/>
  <board index="7" type="2915" serial="0x51a007" ports="2" design="cxp-rate-index"/>

  <camera id="cxp-dual" vendor="Vesk Simulation" modelName="CXP Dual" serial="SIM-CXP-0001"
          version="1.0" xml="zipped" speeds="1250 2500 3125 5000 6250 10000 12500">
    <link board="0" port="0"/>
    <link board="0" port="1"/>
  </camera>
  <camera id="cxp-single" vendor="Vesk Simulation" modelName="CXP Single" serial="SIM-CXP-0002"
          version="1.0" cxpRevision="1.1" speeds="1250 2500 3125 5000 6250">
    <link board="0" port="2"/>
  </camera>
  <camera id="cxp-quad" vendor="Vesk Simulation" modelName="CXP Quad" serial="SIM-CXP-0003"
          version="1.0" xml="zipped" speeds="1250 2500 3125 5000 6250">
    <link board="1" port="0"/>
    <link board="1" port="1"/>
    <link board="1" port="2"/>
    <link board="1" port="3"/>
  </camera>
  <camera id="cxp-drp" vendor="Vesk Simulation" modelName="CXP Gen1" serial="SIM-CXP-0004"
          version="1.0" cxpRevision="1.0" speeds="1250 2500 3125">
    <link board="2" port="0"/>
  </camera>
  <camera id="cxp-rate" vendor="Vesk Simulation" modelName="CXP Rate" serial="SIM-CXP-0005"
          version="1.0" speeds="1250 2500 3125 5000 6250 10000 12500">
    <link board="7" port="1"/>
  </camera>
  <camera id="clhs-dual" vendor="Vesk Simulation" modelName="CLHS Dual" serial="SIM-CLHS-0001"
          version="1.0" xml="zipped" speeds="10312">
    <link board="3" port="0"/>
    <link board="3" port="1"/>
  </camera>
  <camera id="cl-base" vendor="Vesk Simulation" modelName="CL Base" serial="SIM-CL-0001"
          version="1.0" xml="zipped">
    <link board="4" port="0"/>
  </camera>
  <camera id="gige-korvid" vendor="Vesk Simulation" modelName="GigE 4G" serial="SIM-GEV-0001"
          version="1.0" xml="zipped" speeds="1000">
    <link board="5" port="0"/>
  </camera>
  <camera id="gige-ka4" vendor="Vesk Simulation" modelName="GigE Ka4" serial="SIM-GEV-0002"
          version="1.0" speeds="1000">
    <link board="6" port="0"/>
  </camera>
</rig>
)";
}

}  // namespace vesk::sim
