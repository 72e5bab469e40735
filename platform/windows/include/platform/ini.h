#ifndef PLATFORM_INI_H
#define PLATFORM_INI_H

#include <platform/base.h>

#endif
