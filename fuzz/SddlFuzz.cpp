// Security descriptors as text, and access lists and SIDs as bytes: whatever they are, reading stays inside them, and
// what is accepted survives a round trip through text and through bytes.
#include "Sddl.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void demand(bool holds) {
    if (!holds)
        std::abort();
}

void checkText(std::string_view text) {
    wd::Descriptor descriptor;
    if (wd::parseSddl(text, descriptor) != ERROR_SUCCESS)
        return;
    wd::Descriptor again;
    demand(wd::parseSddl(wd::writeSddl(descriptor), again) == ERROR_SUCCESS);
    demand(again == descriptor);
    const std::vector<BYTE> bytes = wd::bytesOf(descriptor);
    demand(wd::readDescriptor(bytes.data(), again) == ERROR_SUCCESS);
    demand(again == descriptor);
}

void checkList(const wd::ListKind& kind, std::span<const BYTE> bytes) {
    wd::AceList list;
    if (wd::readList(kind, bytes, list) != ERROR_SUCCESS)
        return;
    std::vector<BYTE> written;
    wd::appendTo(written, list);
    demand(written.size() == wd::sizeOf(list) && written.size() <= wd::kMostListBytes);
    wd::AceList again;
    demand(wd::readList(kind, written, again) == ERROR_SUCCESS);
    demand(again == list);
}

void checkSid(std::span<const BYTE> bytes) {
    const auto sid = wd::Sid::fromBytes(bytes);
    if (!sid)
        return;
    demand(wd::Sid::fromText(sid->text()) == sid);
    demand(wd::Sid::fromText(sid->sddl()) == sid);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const BYTE> bytes(data, size);
    checkText({reinterpret_cast<const char*>(data), size});
    checkList(wd::kDacl, bytes);
    checkList(wd::kSacl, bytes);
    checkSid(bytes);
    return 0;
}
