#ifndef PLATFORM_SYNC_H
#define PLATFORM_SYNC_H

#include <platform/base.h>

#endif
