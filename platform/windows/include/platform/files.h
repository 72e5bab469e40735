#ifndef PLATFORM_FILES_H
#define PLATFORM_FILES_H

#include <platform/base.h>

#endif
