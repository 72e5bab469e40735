#include "Row.h"

namespace {

using Wide = std::basic_string<WCHAR>;

HMODULE loaded(const char* name) {
    return LoadLibraryA(name);
}

} // namespace

void loaderRows() {
    // X.dll stands for libX.so here.
    for (const char* name : {"text.dll", "libtext.so"})
        writeFile(name, "not a library");
    for (const char* name : {"empty.dll", "libempty.so"})
        writeFile(name, "");
    for (const char* name : {"", "nosuch", "nosuch.dll", ".\\nosuch.dll", ".\\nosuch\\nosuch.dll", ".\\text.dll",
                             ".\\empty.dll", ".\\", ".", static_cast<const char*>(nullptr)})
        row("loader.load", name)(made([&] { return loaded(name); }));
    const HMODULE library = loaded(kLibrary);
    row("loader.load-twice")(library != nullptr, loaded(kLibrary) == library, FreeLibrary(library));
    for (const char* name : {"CloseHandle", "closehandle", "CloseHandl", "CloseHandle ", ""})
        row("loader.entry", name)(made([&] { return GetProcAddress(library, name) != nullptr; }));
    row("loader.free")(made([&] { return FreeLibrary(library); }));
    row("loader.free-null")(made([] { return FreeLibrary(nullptr); }));

    WCHAR path[400];
    const DWORD whole = GetModuleFileNameW(nullptr, path, 400);
    const Wide expected(path, whole);
    struct Room {
        Word name;
        DWORD units;
    };
    for (const Room& room : {Room{{"0"}, 0}, {{"1"}, 1}, {{"2"}, 2}, {{"length"}, whole}, {{"length+1"}, whole + 1}}) {
        DWORD length = 0;
        DWORD error = 0;
        (void)made([&] { return length = GetModuleFileNameW(nullptr, path, room.units), error = GetLastError(), 1; });
        const bool isCut = room.units <= whole;
        const Wide text(path, room.units == 0 ? 0 : std::char_traits<WCHAR>::length(path));
        row("loader.file-name", room.name)(length == (isCut ? room.units : whole), error == kUntouched ? 0 : error,
                                           text == expected.substr(0, isCut && room.units != 0 ? room.units - 1
                                                                      : isCut                  ? 0
                                                                                               : whole));
    }
    writeFile("short.txt", "");
    const WCHAR* const names[] = {WTEXT("short.txt"),
                                  WTEXT(".\\short.txt"),
                                  WTEXT("./short.txt"),
                                  WTEXT("missing"),
                                  WTEXT("nosuch\\short.txt"),
                                  WTEXT(""),
                                  nullptr};
    for (const WCHAR* name : names)
        for (const DWORD room : {0u, 5u, 9u, 10u, 12u, 40u}) {
            WCHAR buffer[40] = {};
            row("loader.short-path", name, room)(made([&] { return GetShortPathNameW(name, buffer, room); }),
                                                 [&] { return Wide(buffer); });
        }
}
