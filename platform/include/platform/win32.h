/* All of the Windows programming interface that the library is written against. */
#ifndef PLATFORM_WIN32_H
#define PLATFORM_WIN32_H

#include <platform/base.h>
#include <platform/files.h>
#include <platform/identity.h>
#include <platform/ini.h>
#include <platform/loader.h>
#include <platform/registry.h>
#include <platform/security.h>
#include <platform/sync.h>
#include <platform/text.h>

#endif
