/* lwIP's options for the GigE Vision ports: no operating-system layer (the ports' own threads
 * drive timers and input), one netif per port, memory from the C library. Compiles as C. */
#ifndef VESK_GENICAM_IMPL_NET_LWIPOPTS_H
#define VESK_GENICAM_IMPL_NET_LWIPOPTS_H

#define NO_SYS 1
#define SYS_LIGHTWEIGHT_PROT 1
#define LWIP_NETCONN 0
#define LWIP_SOCKET 0

/* A shared library has no static arena to give: pools and heap come from malloc. */
#define MEM_LIBC_MALLOC 1
#define MEMP_MEM_MALLOC 1
#define MEM_ALIGNMENT 8
/* Room for a whole 1518-byte frame in one pool pbuf. */
#define PBUF_POOL_BUFSIZE 1536

#define LWIP_IPV4 1
#define LWIP_IPV6 0
#define IP_REASSEMBLY 1
#define IP_FRAG 1
#define LWIP_ICMP 1
#define LWIP_RAW 1
#define LWIP_UDP 1
#define LWIP_TCP 1
#define LWIP_ARP 1
#define LWIP_ETHERNET 1
#define ETH_PAD_SIZE 0
#define LWIP_IGMP 1
#define LWIP_DHCP 1
#define LWIP_AUTOIP 1
/* A camera answers only once the address is bound; probing first would only delay it. */
#define DHCP_DOES_ARP_CHECK 0

/* netif_poll_all, which the ports' ready threads call, exists only with loopback. */
#define LWIP_NETIF_LOOPBACK 1
#define LWIP_HAVE_LOOPIF 0
#define LWIP_SINGLE_NETIF 0

/* Each port binds its command pcb to the same source port on a netif of its own. */
#define SO_REUSE 1

#define LWIP_STATS 0

#endif
