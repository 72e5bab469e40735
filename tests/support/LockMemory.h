// Reads the shared objects of a reader/writer lock directly. Opens the objects only during a call, so that it doesn't
// keep the lock alive.
#pragma once

#include "TestObject.h"

#include <platform/robust.h>
#include <platform/win32.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

class LockMemory {
  public:
    explicit LockMemory(std::string base) : m_prefix("Global\\" + std::move(base)) {}

    // ~0 if the lock's memory doesn't exist.
    std::uint32_t count() const {
        const auto bytes = copy("_RW_MEMORY");
        std::uint32_t count = ~std::uint32_t{0};
        if (bytes.size() == sizeof count)
            std::memcpy(&count, bytes.data(), sizeof count);
        return count;
    }
    std::uint32_t readsInRows() const {
        struct Row {
            WD_TAG tag;
            std::uint32_t reads;
            std::uint32_t reserved;
        };
        const auto bytes = copy("_RW_HOLDERS");
        std::uint32_t sum = bytes.empty() ? ~std::uint32_t{0} : 0;
        for (std::size_t at = 0; at + sizeof(Row) <= bytes.size(); at += sizeof(Row)) {
            Row row{};
            std::memcpy(&row, bytes.data() + at, sizeof row);
            if (row.tag != 0)
                sum += row.reads;
        }
        return sum;
    }
    // Whether somebody sleeps until the token is free: a mark that is cleared when the token is released.
    bool hasSleepers() const {
        constexpr std::streamoff kWord = 64; // in the object's file
        constexpr std::uint64_t kContended = 2;
        const std::string name = m_prefix.substr(m_prefix.find('\\') + 1) + "_RW_EVENT";
        std::uint64_t word = 0;
        for (const std::string& file : objectFiles())
            if (file.ends_with(name))
                std::ifstream(objectsFolder() / file, std::ios::binary)
                    .seekg(kWord)
                    .read(reinterpret_cast<char*>(&word), sizeof word);
        return (word & kContended) != 0;
    }
    // Who has the token; 0 when it is free.
    WD_TAG taker() const {
        const Handle event(OpenEventA(EVENT_ALL_ACCESS, FALSE, (m_prefix + "_RW_EVENT").c_str()));
        return event ? WdEventTaker(event.get()) : ~WD_TAG{0};
    }

    bool isAtRest() const { return count() == 0 && readsInRows() == 0 && taker() == 0; }

  private:
    std::vector<std::byte> copy(const char* suffix) const {
        const std::string name = m_prefix + suffix;
        const Handle mapping(OpenFileMappingA(FILE_MAP_READ, FALSE, name.c_str()));
        const std::size_t size = name.ends_with("_RW_MEMORY") ? sizeof(std::uint32_t) : std::size_t{4096} * 16;
        const auto view = viewOf<std::byte>(mapping, size, FILE_MAP_READ);
        return view ? std::vector<std::byte>(view.get(), view.get() + size) : std::vector<std::byte>();
    }

    std::string m_prefix;
};
