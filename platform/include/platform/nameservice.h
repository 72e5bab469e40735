/* The system's own name service: getaddrinfo, freeaddrinfo and the address structures. Callers pass AI_NUMERICHOST, so
   that no call waits for a name server. */
#ifndef PLATFORM_NAMESERVICE_H
#define PLATFORM_NAMESERVICE_H

#include <netdb.h>
#include <netinet/in.h>

#endif
