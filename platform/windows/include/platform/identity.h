#ifndef PLATFORM_IDENTITY_H
#define PLATFORM_IDENTITY_H

#include <platform/base.h>

#endif
