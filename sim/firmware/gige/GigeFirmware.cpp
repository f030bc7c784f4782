#include "sim/firmware/gige/GigeFirmware.h"

#include <atomic>
#include <mutex>
#include <string>
#include <utility>

#include "sim/core/Board.h"
#include "sim/core/EthernetFrame.h"
#include "sim/firmware/gige/GigeDhcpServer.h"
#include "sim/firmware/gige/GigeFrameStream.h"
#include "sim/firmware/gige/GigePhy.h"

namespace vesk::sim {

namespace {

// What autonegotiation settles on with every simulated camera.
constexpr uint32_t kLinkSpeed = 1000;
constexpr int kKorvidQueueBase = 8;
// A transmit buffer stops taking words here: a frame of the largest size with its check sequence.
constexpr size_t kTxBufferLimit = 1522;
constexpr uint64_t kKa4LastWord = 1u << 16;
constexpr unsigned kCrcCountShift = 16;
constexpr uint64_t kCrcCountMask = 0xFFFFFF;
constexpr unsigned kMdioPortBits = 2;
constexpr unsigned kMdioRegisterBits = 16;
// The network of port n with a DHCP server is 192.168.(100 + n).0/24.
constexpr uint32_t kDhcpSubnets = 0xC0A86400;

int Ignore(uint64_t) { return 0; }

// The board types whose ports carry the 88X3310 PHY.
bool IsKorvidType(int type) { return type == 2898 || type == 2913; }

void AppendWord(Packet& bytes, uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
}

// One Ethernet port of the board: its transmitter, its counters and its PHY.
struct GigePort {
  explicit GigePort(LinkChannel& channel) : phy([&channel] { return channel.Locked(); }) {}

  std::mutex txMutex;  // never held while a frame goes out: the camera may answer at once
  Packet txBuffer;
  bool busy = false;  // a frame left since the transmitter's flag was last read
  GigeFrameStream stream;
  std::atomic<uint64_t> received{0};
  std::atomic<uint64_t> sent{0};
  std::atomic<uint64_t> crcErrors{0};
  GigePhy phy;
  std::unique_ptr<GigeDhcpServer> dhcp;  // on the port's network, if the rig put one there
};

// The firmware of a GigE Vision board: per port, frames from the host to the cable and from the
// cable into the port's receive queue, with the check sequence added and checked on the way, and
// the port's PHY behind MDIO.
class GigeFirmware : public FirmwareModel {
 public:
  explicit GigeFirmware(Board& board);
  ~GigeFirmware() override;

  void CableChanged(unsigned) override {}

 private:
  using Read = std::function<int(uint64_t&)>;

  void Install(const std::string& name, Read read, std::function<int(uint64_t)> write = Ignore);
  void InstallCounter(const std::string& name, const std::atomic<uint64_t>& counter);
  void InstallKorvid(unsigned port);
  void InstallKa4(unsigned port);
  void InstallKa4Mdio();
  int KorvidMdio(bool write, unsigned address, unsigned& value);
  uint64_t CrcErrors(unsigned port) const;
  uint64_t Stored(const std::string& name);

  void Transmit(unsigned port, const Packet& wire);
  void FromCamera(unsigned port, const Packet& wire);
  void Deliver(unsigned port, const Packet& frame);

  Board& board_;
  const unsigned form_;
  std::vector<std::unique_ptr<GigePort>> ports_;
};

GigeFirmware::GigeFirmware(Board& board) : board_(board), form_(board.Variant().form) {
  for (unsigned port = 0; port < board.PortCount(); ++port) {
    board.PortAt(port)->SetSpeed(kLinkSpeed);
    ports_.push_back(std::make_unique<GigePort>(*board.PortAt(port)));
    if (board.Described().dhcpPorts >> port & 1)
      ports_.back()->dhcp = std::make_unique<GigeDhcpServer>(kDhcpSubnets + (port << 8));
  }
  for (unsigned port = 0; port < board.PortCount(); ++port) {
    if (form_ == kGigeKorvid) {
      InstallKorvid(port);
    } else {
      InstallKa4(port);
    }
  }
  if (form_ == kGigeKorvid) {
    board.Config().SetHandler([this](bool write, unsigned address, unsigned& value) {
      return KorvidMdio(write, address, value);
    });
  } else {
    InstallKa4Mdio();
  }
  for (unsigned port = 0; port < board.PortCount(); ++port) {
    board.PortAt(port)->SetReceiver(
        [this, port](const Packet& packet) { FromCamera(port, packet); });
  }
}

GigeFirmware::~GigeFirmware() {
  board_.Config().SetHandler(nullptr);
  for (unsigned port = 0; port < board_.PortCount(); ++port)
    board_.PortAt(port)->SetReceiver(nullptr);
}

void GigeFirmware::Install(const std::string& name, Read read, std::function<int(uint64_t)> write) {
  board_.Registers().SetBehaviour(name, {std::move(read), std::move(write)});
}

void GigeFirmware::InstallCounter(const std::string& name, const std::atomic<uint64_t>& counter) {
  Install(name, [&counter](uint64_t& value) { return value = counter.load(), 0; });
}

uint64_t GigeFirmware::Stored(const std::string& name) {
  uint64_t value = 0;
  board_.Registers().Read(board_.Registers().IdOf(name), value);
  return value;
}

// Frames the firmware threw away for their check sequence, and what bursts spoiled on the line.
uint64_t GigeFirmware::CrcErrors(unsigned port) const {
  return ports_[port]->crcErrors.load() + board_.PortAt(port)->LineErrors();
}

void GigeFirmware::InstallKorvid(unsigned port) {
  GigePort& state = *ports_[port];
  const std::string number = std::to_string(port);
  Install(
      "GigeTxControlWriteData_" + number, [](uint64_t& value) { return value = 0, 0; },
      [this, &state, port](uint64_t word) {
        std::optional<Packet> frame;
        {
          std::lock_guard<std::mutex> lock(state.txMutex);
          frame = state.stream.Write(word);
          state.busy = state.busy || frame.has_value();
        }
        if (frame) Transmit(port, ethernet::WithFcs(std::move(*frame)));
        return 0;
      });
  // Not ready for the one look after a frame ended: it has left by the next.
  Install("GigeTxControlReady_" + number, [&state](uint64_t& value) {
    std::lock_guard<std::mutex> lock(state.txMutex);
    value = !std::exchange(state.busy, false);
    return 0;
  });
  Install("GigeMonitorStatus_" + number, [this, port](uint64_t& value) {
    value = (CrcErrors(port) & kCrcCountMask) << kCrcCountShift;
    return 0;
  });
  InstallCounter("GigeReceivedPacketCount_" + number, state.received);
}

void GigeFirmware::InstallKa4(unsigned port) {
  GigePort& state = *ports_[port];
  const std::string number = std::to_string(port);
  Install(
      "GigeBufferReset" + number, [](uint64_t& value) { return value = 0, 0; },
      [&state](uint64_t) {
        std::lock_guard<std::mutex> lock(state.txMutex);
        state.txBuffer.clear();
        return 0;
      });
  Install(
      "GigeWriteData" + number, [](uint64_t& value) { return value = 0, 0; },
      [&state](uint64_t word) {
        std::lock_guard<std::mutex> lock(state.txMutex);
        if (state.txBuffer.size() + 2 > kTxBufferLimit) return 0;
        state.txBuffer.push_back(static_cast<uint8_t>(word));
        state.txBuffer.push_back(static_cast<uint8_t>(word >> 8));
        return 0;
      });
  const std::string noCrc = "GigeTxDisableCrcGeneration" + number;
  Install(
      "GigeWriteComplete" + number, [](uint64_t& value) { return value = 0, 0; },
      [this, &state, port, noCrc](uint64_t) {
        Packet frame;
        {
          std::lock_guard<std::mutex> lock(state.txMutex);
          frame = std::exchange(state.txBuffer, {});
          state.busy = true;
        }
        // With generation off the host has put the check sequence in the frame itself.
        Transmit(port, Stored(noCrc) ? frame : ethernet::WithFcs(std::move(frame)));
        return 0;
      });
  // Busy for the one look after a send: the frame has left by the next.
  Install("GigeTxTransferActive" + number, [&state](uint64_t& value) {
    std::lock_guard<std::mutex> lock(state.txMutex);
    value = std::exchange(state.busy, false);
    return 0;
  });
  InstallCounter("GigeRecvPktCnt" + number, state.received);
  InstallCounter("CtrlPktReceivedCnt" + number, state.received);
  InstallCounter("CtrlPktSendUiqCnt" + number, state.sent);
  Install("GigeRecvErrCnt" + number,
          [this, port](uint64_t& value) { return value = CrcErrors(port), 0; });
  DataQueue* queue = board_.Queue(static_cast<int>(port));
  Install("GvcpFiFoNotEmpty_GigeTransceiver" + number,
          [queue](uint64_t& value) { return value = queue->Waiting() > 0, 0; });
}

// The PHY of the port in GigE_MdioPhyAddr, its register in GigE_MdioRegAddr: a write of
// GigE_Mdio writes GigE_MdioWR into it; MdioReadReg reads it.
void GigeFirmware::InstallKa4Mdio() {
  RegisterTable& registers = board_.Registers();
  const int phyAddress = registers.IdOf("GigE_MdioPhyAddr");
  const int regAddress = registers.IdOf("GigE_MdioRegAddr");
  const int writeData = registers.IdOf("GigE_MdioWR");
  auto target = [this, &registers, phyAddress, regAddress](unsigned& reg) -> GigePhy* {
    uint64_t phy = 0;
    uint64_t at = 0;
    registers.Read(phyAddress, phy);
    registers.Read(regAddress, at);
    reg = static_cast<unsigned>(at & 0x1F);
    return phy < ports_.size() ? &ports_[phy]->phy : nullptr;
  };
  auto read = [target](uint64_t& value) {
    unsigned reg = 0;
    GigePhy* phy = target(reg);
    value = phy ? phy->Read22(reg) : 0;
    return 0;
  };
  Install("MdioReadReg", read);
  Install("GigE_MdioRD", read);
  Install(
      "GigE_Mdio", [](uint64_t& value) { return value = 0, 0; },
      [target, &registers, writeData](uint64_t) {
        unsigned reg = 0;
        uint64_t value = 0;
        registers.Read(writeData, value);
        if (GigePhy* phy = target(reg)) phy->Write22(reg, static_cast<uint16_t>(value));
        return 0;
      });
}

// The configuration address of the 88X3310 of the Korvid boards: port in bits 0 and 1, register
// in bits 2 to 17, device above. The 88E151x of other boards with this design: the port's
// complement in bits 0 and 1, a clause 22 register in bits 2 to 9.
int GigeFirmware::KorvidMdio(bool write, unsigned address, unsigned& value) {
  const unsigned portMask = (1u << kMdioPortBits) - 1;
  const bool clause45 = IsKorvidType(board_.Described().type);
  const unsigned port = clause45 ? address & portMask : ~address & portMask;
  const unsigned reg =
      (address >> kMdioPortBits) & ((1u << (clause45 ? kMdioRegisterBits : 8)) - 1);
  const unsigned device = address >> (kMdioPortBits + kMdioRegisterBits);
  if (port >= ports_.size()) {
    if (!write) value = 0;
    return 0;
  }
  GigePhy& phy = ports_[port]->phy;
  if (clause45 && write) {
    phy.Write45(device, reg, static_cast<uint16_t>(value));
  } else if (clause45) {
    value = phy.Read45(device, reg);
  } else if (write) {
    phy.Write22(reg, static_cast<uint16_t>(value));
  } else {
    value = phy.Read22(reg);
  }
  return 0;
}

// The frame goes on the link to the camera, and to a DHCP server on the port's network while the
// link is up; the server answers at once.
void GigeFirmware::Transmit(unsigned port, const Packet& wire) {
  GigePort& state = *ports_[port];
  ++state.sent;
  Port& link = *board_.PortAt(port);
  if (state.dhcp && link.Locked()) {
    const std::optional<Packet> frame = ethernet::WithoutFcs(wire);
    std::optional<Packet> answer = frame ? state.dhcp->Answer(*frame) : std::nullopt;
    if (answer) {
      ++state.received;
      Deliver(port, *answer);
    }
  }
  link.ToCamera(wire);
}

void GigeFirmware::FromCamera(unsigned port, const Packet& wire) {
  std::optional<Packet> frame = ethernet::WithoutFcs(wire);
  if (!frame) {
    ++ports_[port]->crcErrors;
    return;
  }
  ++ports_[port]->received;
  Deliver(port, *frame);
}

// Ka4: a count word, then two bytes per word in bits 0 to 15, bit 16 on the frame's last word.
// Korvid: a header word with the count of whole words and, in bits 16 to 19, a mark of the bytes
// in a last partial word (1, 3, 7 for 1, 2, 3), then the words, four bytes each, low first.
void GigeFirmware::Deliver(unsigned port, const Packet& frame) {
  Packet words;
  int queue = static_cast<int>(port);
  if (form_ == kGigeKa4) {
    const auto count = static_cast<uint32_t>((frame.size() + 1) / 2);
    AppendWord(words, count);
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t high = 2 * i + 1 < frame.size() ? frame[2 * i + 1] : 0;
      AppendWord(words, frame[2 * i] | high << 8 | (i + 1 == count ? kKa4LastWord : 0));
    }
  } else {
    queue += kKorvidQueueBase;
    const size_t rest = frame.size() % 4;
    AppendWord(words, static_cast<uint32_t>(frame.size() / 4) | ((1u << rest) - 1)
                                                                    << kCrcCountShift);
    words.insert(words.end(), frame.begin(), frame.end());
    words.resize((words.size() + 3) / 4 * 4, 0);
  }
  board_.Queue(queue)->Push(words.data(), words.size());
}

}  // namespace

std::unique_ptr<FirmwareModel> MakeGigeFirmware(Board& board) {
  return std::make_unique<GigeFirmware>(board);
}

}  // namespace vesk::sim
