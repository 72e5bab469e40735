#ifndef PLATFORM_SECURITY_H
#define PLATFORM_SECURITY_H

#include <platform/base.h>

#include <aclapi.h>
#include <sddl.h>

#endif
