#include "Loader.h"

#include <platform/module.h>

HMODULE WdModuleFromAddress(const void* address) {
    return wd::moduleOf(address);
}
