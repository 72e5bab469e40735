#ifndef PLATFORM_REGISTRY_H
#define PLATFORM_REGISTRY_H

#include <platform/base.h>

#endif
