#include "Row.h"

#include <array>
#include <cstring>
#include <filesystem>

namespace {

using namespace std::literals;
namespace fs = std::filesystem;

constexpr DWORD kAccesses[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};

/* What each row finds. */
struct Fresh {
    const char* name;
    const char* content; // null: isn't there
};
constexpr Fresh kFresh[] = {{"file", "content"},
                            {"other", "other content"},
                            {"readonly", "kept"},
                            {"folder/inner", "inner"},
                            {"missing", nullptr}};
void freshFiles() {
    freshFolder();
    fs::create_directory("folder");
    for (const Fresh& file : kFresh)
        if (file.content != nullptr)
            writeFile(file.name, file.content);
    constexpr auto kWrite = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions("readonly", kWrite, fs::perm_options::remove);
}
/* What a call has changed of them. */
Outcome changes() {
    std::string text = "changed:";
    for (const Fresh& file : kFresh) {
        const bool exists = fs::is_regular_file(file.name);
        if (exists ? file.content == nullptr || readFile(file.name) != file.content : file.content != nullptr)
            text += " "s + file.name + (exists ? "=" + shown(readFile(file.name)) : " gone");
    }
    return {text};
}

HANDLE openFile(LPCSTR name, DWORD access, DWORD share = 0, DWORD disposition = OPEN_EXISTING) {
    return CreateFileA(name, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void createRows() {
    for (const char* name : {"missing", "file", "folder", "nosuch\\missing", "file\\missing"})
        for (DWORD disposition = 0; disposition <= 6; ++disposition)
            for (const DWORD access : std::initializer_list<DWORD>{0, 1, GENERIC_READ, GENERIC_WRITE,
                                                                   GENERIC_READ | GENERIC_WRITE, GENERIC_ALL}) {
                freshFiles();
                HANDLE handle = INVALID_HANDLE_VALUE;
                const bool always = disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
                const Outcome outcome = made([&] { return handle = openFile(name, access, 0, disposition); }, always);
                if (outcome.success)
                    CloseHandle(handle);
                row("files.create", name, disposition,
                    Hex{access})(outcome, Word{fs::is_regular_file(name) ? shown(readFile(name)) : "-"s});
            }
}

void sharingRows() {
    freshFiles();
    for (const DWORD access : kAccesses)
        for (DWORD share = 0; share < 4; ++share) {
            const Handle first(openFile("file", access, share));
            for (const DWORD second : kAccesses)
                for (DWORD secondShare = 0; secondShare < 4; ++secondShare) {
                    HANDLE handle = INVALID_HANDLE_VALUE;
                    row("files.share", Hex{access}, share, Hex{second},
                        secondShare)(made([&] { return handle = openFile("file", second, secondShare); }));
                    if (handle != INVALID_HANDLE_VALUE)
                        CloseHandle(handle);
                }
        }
}

void nameRows() {
    const std::string longest(255, 'n');
    const std::string tooLong(256, 'n');
    const std::string longPath = ".\\" + std::string(200, 'f') + "\\" + std::string(200, 'f');
    const std::array<const char*, 34> names = {nullptr,
                                               "",
                                               ".",
                                               "..",
                                               "\\",
                                               "file",
                                               "FILE",
                                               "File",
                                               ".\\file",
                                               "./file",
                                               "folder\\..\\file",
                                               "folder\\inner",
                                               "folder/inner",
                                               "folder\\\\inner",
                                               "folder\\",
                                               "file\\",
                                               "nosuch\\..\\file",
                                               "file.",
                                               "file ",
                                               " file",
                                               "f*",
                                               "f?le",
                                               "f<le",
                                               "f>le",
                                               "f\"le",
                                               "f|le",
                                               "f:le",
                                               "a\tb",
                                               "readonly",
                                               "missing",
                                               "nosuch\\missing",
                                               longest.c_str(),
                                               tooLong.c_str(),
                                               longPath.c_str()};
    freshFiles();
    row("files.plain-attributes")(Hex{GetFileAttributesA("file")});
    for (const char* name : names) {
        const DWORD ignored = FILE_ATTRIBUTE_NORMAL | FILE_ATTRIBUTE_ARCHIVE;
        row("files.attributes", name)(made([&] { return (GetFileAttributesA(name) + 1) & ~ignored; }));
        HANDLE handle = INVALID_HANDLE_VALUE;
        row("files.open", name)(made([&] { return handle = openFile(name, GENERIC_READ); }));
        if (handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);
    }
    for (const char* name : {static_cast<const char*>(nullptr), "", ".", "file", "file\\", "folder", "folder\\inner",
                             "folder\\", "missing", "nosuch\\missing", "file\\missing", "f*"}) {
        freshFiles();
        row("files.delete", name)(made([&] { return DeleteFileA(name); }), changes);
    }
    for (const char* name : names) {
        freshFiles();
        HANDLE handle = INVALID_HANDLE_VALUE;
        row("files.create-new", name)(made([&] { return handle = openFile(name, GENERIC_WRITE, 0, CREATE_NEW); }));
        if (handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);
    }
    for (const DWORD flags : {0u, 1u, 0x80u, 0x4000000u, 0x80000000u, 0x2000000u}) {
        freshFiles();
        HANDLE handle = CreateFileA("made", GENERIC_WRITE, 0, nullptr, CREATE_NEW, flags, nullptr);
        const bool opened = handle != INVALID_HANDLE_VALUE;
        CloseHandle(handle);
        row("files.flags", Hex{flags})(opened, Hex{GetFileAttributesA("made")});
        handle = CreateFileA("folder", GENERIC_READ, 0, nullptr, OPEN_EXISTING, flags, nullptr);
        row("files.folder-with-flags", Hex{flags})(handle);
        CloseHandle(handle);
    }
}

void readWriteRows() {
    char buffer[16] = "0123456789";
    for (const DWORD access : kAccesses)
        for (const DWORD count : {0u, 3u, 7u, 16u}) {
            freshFiles();
            const Handle file(openFile("file", access));
            DWORD moved = 77;
            const Outcome read = made([&] { return ReadFile(file, buffer, count, &moved, nullptr); });
            row("files.read", Hex{access}, count)(read, moved,
                                                  Word{read.success ? shown(std::string_view(buffer, moved)) : "-"s});
            moved = 77;
            std::memcpy(buffer, "0123456789abcdef", 16);
            const Outcome written = made([&] { return WriteFile(file, buffer, count, &moved, nullptr); });
            row("files.write", Hex{access}, count)(written, moved);
            row("files.written", Hex{access}, count)(SetFilePointer(file, 0, nullptr, FILE_END));
        }
    freshFiles();
    const Handle file(openFile("file", GENERIC_READ | GENERIC_WRITE));
    DWORD moved = 77;
    SetFilePointer(file, 0, nullptr, FILE_END);
    row("files.read-at-end")(made([&] { return ReadFile(file, buffer, 5, &moved, nullptr); }), moved);
    row("files.write-null", 0)(made([&] { return WriteFile(file, nullptr, 0, &moved, nullptr); }), moved);
    struct Move {
        LONG low;
        LONG high;
        DWORD method;
    };
    constexpr Move moves[] = {{3, 0, FILE_BEGIN},      {2, 0, FILE_CURRENT}, {-1, -1, FILE_CURRENT},
                              {-10, -1, FILE_CURRENT}, {0, 0, FILE_CURRENT}, {0, 0, FILE_END},
                              {-2, -1, FILE_END},      {5, 0, FILE_END},     {0, 1, FILE_BEGIN},
                              {-1, -1, FILE_BEGIN},    {-1, 0, FILE_BEGIN},  {0, 0, 3},
                              {0, 0, FILE_CURRENT}};
    int step = 0;
    for (const Move& move : moves) {
        LONG high = move.high;
        row("files.seek", ++step, move.low, move.high,
            move.method)(made([&] { return SetFilePointer(file, move.low, &high, move.method) + 1; }), high);
    }
    for (const LONG low : {4, -1, -100})
        for (const DWORD method : {FILE_BEGIN, FILE_CURRENT, FILE_END})
            row("files.seek-32", low, method)(made([&] { return SetFilePointer(file, low, nullptr, method) + 1; }));
    SetFilePointer(file, 12, nullptr, FILE_BEGIN);
    (void)WriteFile(file, "end", 3, &moved, nullptr);
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    (void)ReadFile(file, buffer, 16, &moved, nullptr);
    row("files.gap")(std::string_view(buffer, moved));
    for (HANDLE handle : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE}) {
        row("files.read-from", handle)(made([&] { return ReadFile(handle, buffer, 5, &moved, nullptr); }));
        row("files.write-to", handle)(made([&] { return WriteFile(handle, buffer, 5, &moved, nullptr); }));
        row("files.seek-in", handle)(made([&] { return SetFilePointer(handle, 0, nullptr, FILE_BEGIN) + 1; }));
    }
}

// With a folder, without which the other platform's runtime doesn't replace.
constexpr const char* kTargets[] = {".\\file",         ".\\other", ".\\missing", ".\\folder", ".\\readonly",
                                    "nosuch\\missing", ".\\f*",    "",           nullptr};

void copyAndReplaceRows() {
    for (const char* source : kTargets)
        for (const char* target : kTargets) {
            // Whether it may be written depends on who runs this.
            if (target != nullptr && target == ".\\readonly"sv)
                continue;
            for (const BOOL fails : {FALSE, TRUE}) {
                freshFiles();
                row("files.copy", source, target, fails)(made([&] { return CopyFileA(source, target, fails); }),
                                                         changes);
            }
            freshFiles();
            row("files.replace", target,
                source)(made([&] { return ReplaceFileA(target, source, nullptr, 0, nullptr, nullptr); }), changes);
        }
    freshFiles();
    CopyFileA("readonly", "copy", FALSE);
    row("files.copied-attributes")(Hex{GetFileAttributesA("copy")});
    freshFiles();
    ReplaceFileA(".\\file", "readonly", nullptr, 0, nullptr, nullptr);
    row("files.replaced-attributes")(Hex{GetFileAttributesA("file")});
}

/* Calls upon a file that somebody has open. */
void openRows() {
    for (const DWORD access : kAccesses)
        for (DWORD share = 0; share < 4; ++share) {
            const auto beside = [&](std::string_view call, auto body) {
                freshFiles();
                Outcome outcome;
                {
                    const Handle file(openFile("file", access, share));
                    outcome = made(body);
                }
                row(call, Hex{access}, share)(outcome, changes);
            };
            beside("files.open-delete", [] { return DeleteFileA("file"); });
            beside("files.open-copy-from", [] { return CopyFileA("file", "missing", TRUE); });
            beside("files.open-copy-onto", [] { return CopyFileA("other", "file", FALSE); });
            beside("files.open-replace", [] { return ReplaceFileA(".\\file", "other", nullptr, 0, nullptr, nullptr); });
            beside("files.open-replace-by",
                   [] { return ReplaceFileA(".\\other", "file", nullptr, 0, nullptr, nullptr); });
            beside("files.open-attributes", [] { return GetFileAttributesA("file") != INVALID_FILE_ATTRIBUTES; });
        }
}

void temporaryRows() {
    for (const char* folder : {".", "folder\\", "nosuch", "file", ""})
        for (const char* prefix : {"pre", "p", "", "prefix", static_cast<const char*>(nullptr), "a.b", "a\\b"})
            for (const UINT number : {0u, 1u, 0xABCDu, 0xFFFFu, 0x12345u}) {
                if (number == 0 && prefix != nullptr && std::strchr("pre", prefix[0]) == nullptr)
                    continue;
                freshFiles();
                char name[MAX_PATH + 1] = "untouched";
                const auto result = made([&] { return GetTempFileNameA(folder, prefix, number, name); });
                const bool exists = GetFileAttributesA(name) != INVALID_FILE_ATTRIBUTES;
                for (char& character : name)
                    character = character >= 'A' && character <= 'F' ? static_cast<char>(character + 32) : character;
                // Without a number the name is the system's own choice.
                row("files.temporary", folder, prefix,
                    number)(number != 0 ? result : Outcome{result.success ? "made" : result.text},
                            number != 0 ? std::string_view(name) : "", exists);
            }
}

} // namespace

void fileRows() {
    createRows();
    sharingRows();
    nameRows();
    readWriteRows();
    copyAndReplaceRows();
    openRows();
    temporaryRows();
    freshFolder();
}
