/* The compiler and platform side of lwIP: Linux x86-64 with glibc. Compiles as C. */
#ifndef VESK_GENICAM_IMPL_NET_ARCH_CC_H
#define VESK_GENICAM_IMPL_NET_ARCH_CC_H

#include <stdint.h>
#include <sys/types.h>

/* The library's own units include the system's network headers beside lwIP's. */
#define LWIP_DONT_PROVIDE_BYTEORDER_FUNCTIONS 1
#define LWIP_ERRNO_STDINCLUDE 1
#define LWIP_TIMEVAL_PRIVATE 0

/* One instruction instead of lwIP's shifting functions, and no link dependency for units that
 * only code packets. */
#define lwip_htons(x) ((u16_t)__builtin_bswap16((u16_t)(x)))
#define lwip_htonl(x) ((u32_t)__builtin_bswap32((u32_t)(x)))

typedef unsigned int sys_prot_t;

#ifdef __cplusplus
extern "C" {
#endif

/* The port layer (sys_arch.cpp). */
uint32_t vesk_lwip_rand(void);
void vesk_lwip_assert(const char* message, const char* file, int line);

#ifdef __cplusplus
}
#endif

#define LWIP_RAND() vesk_lwip_rand()
#define LWIP_PLATFORM_ASSERT(message) vesk_lwip_assert((message), __FILE__, __LINE__)

#endif
