// The tree and the calls for testing records that are described as rows.
#pragma once

#include "FieldCases.h"
#include "FreshLog.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <gtest/gtest.h>

#include <string>

// A handler of each kind, with a folder of its own.
inline void layDownHandlers() {
    struct Handler {
        const char* name;
        std::uint32_t type;
        const char* scan;
    };
    tree::clear();
    for (const Handler& handler :
         {Handler{"Mail in", 1, "In"}, {"Mail out", 2, "Out"}, {"Web", 3, "Web"}, {"Other", 7, "Other"}}) {
        const std::string key = std::string("ProtocolHandler\\").append(handler.name);
        tree::setNumber(key, "Type", handler.type);
        tree::setText(key, "Scan", handler.scan);
    }
}

class FieldRecord : public testing::Test {
  protected:
    FieldRecord() { layDownHandlers(); }

    // WDLT_CONFIG_DEFAULT unless given.
    template <class Record>
    std::int32_t read(std::uint32_t protocol, std::uint32_t scan, Record& record, std::uint64_t configType = 0) const {
        std::uint64_t size = sizeof record;
        return WDLT_CALL(library, WdltReadConfig)(protocol, scan, configType, &record, &size);
    }
    template <class Record>
    std::int32_t write(std::uint32_t protocol, std::uint32_t scan, Record& record, std::uint64_t configType = 0) const {
        return WDLT_CALL(library, WdltWriteConfig)(protocol, scan, configType, &record, sizeof record);
    }

    const TimeScale patient{"0.05"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

class FieldRecords : public FieldRecord, public testing::WithParamInterface<RecordCase> {};

inline std::string nameOf(const testing::TestParamInfo<RecordCase>& info) {
    return info.param.name;
}

inline Passages limitedTo(std::uint32_t limit) {
    return {{0u, 0u}, {limit - 1, limit - 1}, {limit, limit}, {limit + 1, limit}, {0xFFFFFFFFu, limit}};
}
