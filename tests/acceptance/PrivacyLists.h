// The privacy lists through the exports, with the library's log.
#pragma once

#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "PrivacyFiles.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

class PrivacyLists : public privacy_files::PrivacyListTest {
  protected:
    std::int32_t readInto(std::uint64_t type, void* data, std::uint64_t& size) override {
        return WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_PRIVACY, type, data, &size);
    }
    std::int32_t writeFrom(std::uint64_t type, void* data, std::uint64_t size) override {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_PRIVACY, type, data, size);
    }
    // What a row says of the log: its line, or that no error stands there. Then the log is cleared for the next one.
    void expectLine(const char* line) {
        EXPECT_TRUE(line != nullptr ? library.logged(line) : !library.logged("!!! ")) << line;
        clearLog();
    }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};
