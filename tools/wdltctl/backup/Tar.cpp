#include "Archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <memory>
#include <stdexcept>

namespace wdlt {
namespace {

constexpr std::size_t kMostEntries = 64;

struct FreeArchive {
    void operator()(archive* each) const { archive_free(each); }
    void operator()(archive_entry* each) const { archive_entry_free(each); }
};

void expect(int result, archive* from) {
    if (result == ARCHIVE_OK)
        return;
    const char* const words = archive_error_string(from);
    throw std::runtime_error(words != nullptr ? words : "it can't be read or written");
}

la_ssize_t collect(archive*, void* bytes, const void* data, std::size_t size) {
    static_cast<std::string*>(bytes)->append(static_cast<const char*>(data), size);
    return static_cast<la_ssize_t>(size);
}

std::runtime_error tooMuch() {
    return std::runtime_error("more than " + std::to_string(kMostArchivedBytes >> 20) + " MiB");
}

/* The size is looked at before there is room for it. */
ArchiveEntry readEntry(archive* from, archive_entry* header, std::size_t room) {
    const char* const name = archive_entry_pathname(header);
    const auto size = archive_entry_size(header);
    if (name == nullptr || archive_entry_filetype(header) != AE_IFREG || archive_entry_hardlink(header) != nullptr)
        throw std::runtime_error("it has what is no file");
    if (size < 0 || static_cast<std::size_t>(size) > room)
        throw tooMuch();
    ArchiveEntry entry{name, std::string(static_cast<std::size_t>(size), '\0')};
    if (archive_read_data(from, entry.content.data(), entry.content.size()) != size)
        expect(ARCHIVE_FATAL, from);
    return entry;
}

std::vector<ArchiveEntry> unpackTar(std::string_view archived) {
    const std::unique_ptr<archive, FreeArchive> from(archive_read_new());
    expect(archive_read_support_filter_zstd(from.get()), from.get());
    expect(archive_read_support_format_tar(from.get()), from.get());
    expect(archive_read_open_memory(from.get(), archived.data(), archived.size()), from.get());
    std::vector<ArchiveEntry> entries;
    std::size_t room = kMostArchivedBytes;
    archive_entry* header = nullptr;
    for (int result = ARCHIVE_OK; (result = archive_read_next_header(from.get(), &header)) != ARCHIVE_EOF;) {
        expect(result, from.get());
        if (entries.size() == kMostEntries)
            throw std::runtime_error("too many files");
        entries.push_back(readEntry(from.get(), header, room));
        room -= entries.back().content.size();
    }
    return entries;
}

std::string packTar(std::span<const ArchiveEntry> entries) {
    std::string bytes;
    const std::unique_ptr<archive, FreeArchive> to(archive_write_new());
    expect(archive_write_set_format_ustar(to.get()), to.get());
    if (archive_libzstd_version() != nullptr) // else libarchive would start a program
        expect(archive_write_add_filter_zstd(to.get()), to.get());
    expect(archive_write_set_bytes_in_last_block(to.get(), 1), to.get());
    expect(archive_write_open(to.get(), &bytes, nullptr, collect, nullptr), to.get());
    std::size_t size = 0;
    for (const ArchiveEntry& entry : entries) {
        size += entry.content.size();
        if (size > kMostArchivedBytes)
            throw tooMuch();
        const std::unique_ptr<archive_entry, FreeArchive> header(archive_entry_new());
        archive_entry_set_pathname(header.get(), entry.name.c_str());
        archive_entry_set_filetype(header.get(), AE_IFREG);
        archive_entry_set_perm(header.get(), 0600);
        archive_entry_set_size(header.get(), static_cast<la_int64_t>(entry.content.size()));
        expect(archive_write_header(to.get(), header.get()), to.get());
        if (archive_write_data(to.get(), entry.content.data(), entry.content.size()) < 0)
            expect(ARCHIVE_FATAL, to.get());
    }
    expect(archive_write_close(to.get()), to.get());
    return bytes;
}

} // namespace
} // namespace wdlt

extern "C" __attribute__((visibility("default"))) const wdlt::TarCalls* WdTarCalls() {
    static constexpr wdlt::TarCalls kCalls = {wdlt::packTar, wdlt::unpackTar};
    return &kCalls;
}
