#ifndef PLATFORM_TEXT_H
#define PLATFORM_TEXT_H

#include <platform/base.h>

#include <shlwapi.h>

#endif
