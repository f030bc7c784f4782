#include "vesk_genicam/impl/net/GbeNetif.h"

#include <cstring>
#include <vector>

#include "lwip/ip4_addr.h"
#include "lwip/prot/ethernet.h"

std::mutex g_clsLock;
std::mutex g_clsMutexRcv;

namespace {

constexpr u16_t kNetConnMtu = 1520;
constexpr unsigned int kEthernetHeaderSize = SIZEOF_ETH_HDR;

IGbeNetifOwner* OwnerOf(netif* netif) { return static_cast<IGbeNetifOwner*>(netif->state); }

}  // namespace

err_t InitNetConn(netif* netif) {
  netif->name[0] = 'V';
  netif->name[1] = 'I';
  netif->mtu = kNetConnMtu;
  netif->hwaddr_len = ETH_HWADDR_LEN;
  if (IGbeNetifOwner* owner = OwnerOf(netif)) {
    std::memcpy(netif->hwaddr, owner->GetMacSource(), ETH_HWADDR_LEN);
  }
  netif->flags = NETIF_FLAG_BROADCAST | NETIF_FLAG_LINK_UP | NETIF_FLAG_ETHARP;
  netif->output = SendIpFrame;
  netif->linkoutput = SendEthernetFrame;
  return ERR_OK;
}

err_t SendIpFrame(netif* netif, pbuf* p, const ip4_addr_t*) {
  std::lock_guard<std::mutex> lock(g_clsLock);
  IGbeNetifOwner* owner = OwnerOf(netif);
  if (!owner) return ERR_OK;
  std::vector<unsigned char> frame(p->tot_len + kEthernetHeaderSize);
  std::memcpy(frame.data(), owner->GetMacDest(), ETH_HWADDR_LEN);
  std::memcpy(frame.data() + ETH_HWADDR_LEN, netif->hwaddr, ETH_HWADDR_LEN);
  frame[12] = ETHTYPE_IP >> 8;
  frame[13] = ETHTYPE_IP & 0xFF;
  pbuf_copy_partial(p, frame.data() + kEthernetHeaderSize, p->tot_len, 0);
  owner->SendPacket(frame.data(), static_cast<unsigned int>(frame.size()));
  return ERR_OK;
}

err_t SendEthernetFrame(netif* netif, pbuf* p) {
  IGbeNetifOwner* owner = OwnerOf(netif);
  // lwIP builds these frames in a single pbuf.
  if (owner) owner->SendPacket(static_cast<unsigned char*>(p->payload), p->len);
  return ERR_OK;
}

void RcvUdpFunct(void* arg, udp_pcb*, pbuf* p, const ip_addr_t*, u16_t) {
  if (arg) static_cast<IGbeNetifOwner*>(arg)->UpdateRecvData(p);
  pbuf_free(p);
}

void AddNetConn(netif* netif, dhcp* dhcp, autoip* autoip, IGbeNetifOwner* owner) {
  *netif = {};
  *dhcp = {};
  *autoip = {};
  ip4_addr_t placeholder;
  IP4_ADDR(&placeholder, 255, 255, 255, 0);
  netif_add(netif, &placeholder, &placeholder, &placeholder, static_cast<void*>(owner), InitNetConn,
            netif_input);
  netif_set_up(netif);
  autoip_set_struct(netif, autoip);
  dhcp_set_struct(netif, dhcp);
}

void InputNetConnFrame(netif* netif, const unsigned char* frame, unsigned int size) {
  if (!netif || size == 0 || size > 0xFFFF) return;
  pbuf* p = pbuf_alloc(PBUF_RAW, static_cast<u16_t>(size), PBUF_RAM);
  if (!p) return;
  pbuf_take(p, frame, static_cast<u16_t>(size));
  // lwIP frees what it accepts; what it refuses is ours.
  if (netif->input(p, netif) != ERR_OK) pbuf_free(p);
}
