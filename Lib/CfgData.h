// One address with the bytes read from it or to be written to it. Owns the bytes, and wipes them: they may hold secrets
// that are enciphered everywhere else.
#pragma once

#include <platform/base.h>

#include <cstdint>
#include <memory>

class CCfgData {
  public:
    CCfgData(std::uint32_t itsProtocol, std::uint32_t itsScan, std::uint32_t itsInput, std::uint64_t itsConfigType)
        : protocol(itsProtocol), scan(itsScan), input(itsInput), configType(itsConfigType) {}
    CCfgData(std::uint32_t itsProtocol, std::uint32_t itsScan, std::uint64_t itsConfigType)
        : CCfgData(itsProtocol, itsScan, 0, itsConfigType) {}
    virtual ~CCfgData() { Free(); }
    CCfgData(const CCfgData&) = delete;
    CCfgData& operator=(const CCfgData&) = delete;

    // Copies the bytes. WDLT_E_NO_MEMORY when memory is exhausted; the old bytes then stay.
    [[nodiscard]] std::int32_t SetData(const void* bytes, std::uint64_t byteCount);
    // Takes over the buffer, without a copy.
    void TakeData(std::unique_ptr<BYTE[]> bytes, std::uint64_t byteCount);
    BYTE* GetData() const { return data.get(); } // null when empty
    std::uint64_t GetSize() const { return size; }
    // Cuts the bytes to those that were filled; wipes the rest.
    void Shorten(std::uint64_t byteCount);
    void Free();

    std::uint32_t protocol;
    std::uint32_t scan;
    std::uint32_t input;
    std::uint64_t configType;

  private:
    std::uint64_t size = 0;
    std::unique_ptr<BYTE[]> data;
};
