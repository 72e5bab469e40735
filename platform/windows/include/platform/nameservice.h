/* The system's own name service: getaddrinfo, freeaddrinfo and the address structures. */
#ifndef PLATFORM_NAMESERVICE_H
#define PLATFORM_NAMESERVICE_H

#include <platform/base.h>

#include <ws2tcpip.h>

/* getaddrinfo, with the start of the sockets library that each process owes it. */
WD_API int WdGetAddrInfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found);
#define getaddrinfo WdGetAddrInfo

#endif
