#ifndef VESK_GENICAM_IMPL_NET_GBENETIF_H
#define VESK_GENICAM_IMPL_NET_GBENETIF_H

#include <mutex>

#include "lwip/autoip.h"
#include "lwip/dhcp.h"
#include "lwip/netif.h"
#include "lwip/pbuf.h"
#include "lwip/udp.h"
#include "vesk_genicam/impl/net/GbeNetifOwner.h"

// The glue between lwIP and a GigE port: one netif per port whose output leaves through the
// port's SendPacket, and the way received frames and UDP payloads come back.
//
// lwIP is not thread-safe beyond its memory pools. API threads send under the port mutex, the
// ports' ready threads run the timers, receive threads inject frames under g_clsMutexRcv, and
// SendIpFrame runs under g_clsLock; no lock covers lwIP's core as a whole.

// Serialises SendIpFrame across all ports of the process.
extern std::mutex g_clsLock;
// Held by a receive thread from building a frame's pbuf until lwIP has taken it.
extern std::mutex g_clsMutexRcv;

// The netif init callback: name "VI", MTU 1520, the owner's MAC, broadcast, ARP and link up,
// SendIpFrame and SendEthernetFrame as outputs. Always ERR_OK.
err_t InitNetConn(netif* netif);

// netif->output. Frames every IP packet for the owner's destination MAC itself instead of
// resolving it by ARP, so discovery goes out as a broadcast and no packet waits for an answer.
// Always ERR_OK: a failed send shows as the missing acknowledge.
err_t SendIpFrame(netif* netif, pbuf* p, const ip4_addr_t* ipaddr);

// netif->linkoutput, for the frames lwIP builds whole: ARP and the probes of AutoIP.
err_t SendEthernetFrame(netif* netif, pbuf* p);

// The receive callback of a port's UDP pcb; `arg` is the IGbeNetifOwner* or null.
void RcvUdpFunct(void* arg, udp_pcb* pcb, pbuf* p, const ip_addr_t* addr, u16_t port);

// Zeroes the three records and adds the netif for `owner`, up, with 255.255.255.0 as address,
// mask and gateway: a broadcast routes to it until AutoIP or DHCP gives the real address.
void AddNetConn(netif* netif, dhcp* dhcp, autoip* autoip, IGbeNetifOwner* owner);

// Hands one received Ethernet frame to lwIP, or drops it while `netif` is null (not added).
// The caller holds g_clsMutexRcv.
void InputNetConnFrame(netif* netif, const unsigned char* frame, unsigned int size);

#endif
