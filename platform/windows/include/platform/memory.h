#ifndef PLATFORM_MEMORY_H
#define PLATFORM_MEMORY_H

#include <platform/base.h>

#endif
