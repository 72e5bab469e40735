#include "Row.h"

#include <algorithm>
#include <iterator>

namespace {

using namespace std::literals;

// With a folder: a plain name is looked for elsewhere.
constexpr char kFile[] = ".\\rows.ini";

Outcome text(const char* section, const char* name, const char* standIn, DWORD room = 200, const char* file = kFile) {
    char buffer[208];
    std::fill(std::begin(buffer), std::end(buffer), '#');
    const DWORD length = GetPrivateProfileStringA(section, name, standIn, buffer, room, file);
    return {std::to_string(length) + " " + (room == 0 ? "-" : shown(std::string_view(buffer, length + 1)))};
}

void contentRows() {
    for (
        const std::string& content : each(
            "[s]\nn=v\n~[s]\r\nn=v\r\n~[s]\rn=v\r~[s]\nn=v~[S]\nN=v\n~[s]\n n = v \n~[s]\nn=\"v\"\n~[s]\nn=\"v\n~[s]\nn='v w'\n~[s]\nn=\" v \"\n~[s]\nn=v;comment\n~[s]\nn=v ; comment\n~[s]\n;n=no\nn=v\n~[s]\n;n=no\n~[s]\nn=\n~[s]\nn\n~[s]\nn =v=w\n~[s]\nn=1\nn=2\n~[s]\nx=1\n[s]\nn=2\n~n=v\n[s]\n~[s\nn=v\n~ [s]\nn=v\n~[ s ]\nn=v\n~[s] tail\nn=v\n~[s][t]\nn=v\n~[t]\nn=other\n[s]\nn=v\n~[s]\n[t]\nn=other\n~[s]\n\n\nn=v\n~[s]\n\tn\t=\tv\t\n~\xEF\xBB\xBF[s]\nn=v\n~[s]\nn=v\x1A\nm=w\n~[s]\nn=a\0b\n~[s]\n#n=no\n~[s]\nn=\"\"\n~[s]\nn=\"a\"b\"\n~[s]\nn=%PATH%\n~[s]\n=v\n~~\n~[]\nn=v\n"sv)) {
        writeFile("rows.ini", content);
        row("ini.content", content)(text("s", "n", "none"));
    }
    writeFile("rows.ini", "[Section]\nfirst=1\nsecond= two \n;third=3\n[other]\nx=y\n[Empty]\n");
    for (const char* section :
         {"Section", "SECTION", " Section", "Section ", "none", "", "Empty", static_cast<const char*>(nullptr)})
        for (const char* name :
             {"first", "FIRST", " first", "first ", "second", "third", ";third", "", static_cast<const char*>(nullptr)})
            for (const char* standIn : {"none", " none \t", "'none'", "", static_cast<const char*>(nullptr)}) {
                if (standIn != nullptr && standIn != "none"sv && section != nullptr && section != "Section"sv)
                    continue;
                row("ini.text", section, name, standIn)(text(section, name, standIn));
            }
    for (const DWORD room : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 12u, 20u, 28u})
        for (const char* name : {"second", "none", static_cast<const char*>(nullptr)})
            row("ini.room", name, room)(text("Section", name, "stand-in", room),
                                        text(name == nullptr ? nullptr : "none", name, "stand-in", room));
    for (const char* file : {".\\missing.ini", ".\\nosuch\\rows.ini", ".\\", ""})
        row("ini.file", file)(text("s", "n", "none", 20, file), GetPrivateProfileIntA("s", "n", 7, file));
}

void numberRows() {
    for (const std::string& number :
         each("0~7~-7~+7~ 7 "
              "~007~010~0x1F~0X1F~0x~0xFFFFFFFF~0x1FFFFFFFF~0xg~-0x10~4294967295~4294967296~2147483648~-2147483649~"
              "99999999999999999999~7x~x7~7 8~7;8~\"7\"~\" 7\"~'7'~~-~--7~- 7~1.5~1e3~0b1~0o17~7\x1A")) {
        writeFile("rows.ini", "[s]\nn="s + number + "\n");
        row("ini.number", number)(GetPrivateProfileIntA("s", "n", 42, kFile));
    }
    row("ini.number-missing", -1)(GetPrivateProfileIntA("s", "m", -1, kFile));
    row("ini.number-null", Word{"section"})(GetPrivateProfileIntA(nullptr, "n", 42, kFile));
    row("ini.number-null", Word{"name"})(GetPrivateProfileIntA("s", nullptr, 42, kFile));
}

constexpr char kStart[] = "; head\r\n[s]\r\nn=v\r\n;n=c\r\nm=\"w\"\r\n[t]\r\nx=y\r\n";

void writeRows() {
    const auto write = [](std::string_view call, const char* start, const char* section, const char* name,
                          const char* value) {
        freshFolder();
        if (start != nullptr)
            writeFile("rows.ini", start);
        row(call,
            start == nullptr  ? "absent"
            : start == kStart ? ""
                              : start,
            section, name, value)(made([&] { return WritePrivateProfileStringA(section, name, value, kFile); }),
                                  [] { return readFile("rows.ini"); });
    };
    for (const char* value : {"new", "", " blanks ", "\"quoted\"", "'single'", "a;b", "a=b", "a\nb", "a\r\nb",
                              static_cast<const char*>(nullptr)}) {
        for (const char* name : {"n", "N", "m", "new", static_cast<const char*>(nullptr)})
            write("ini.write", kStart, "s", name, value);
        write("ini.write", kStart, "S", "n", value);
        write("ini.write", kStart, "none", "n", value);
    }
    for (const char* odd :
         {"", " ", " n", "n ", "a=b", ";c", "[b", "b]", "a\nb", "x y", static_cast<const char*>(nullptr)}) {
        write("ini.write-odd-name", kStart, "s", odd, "z");
        write("ini.write-odd-section", kStart, odd, "z", "z");
    }
    for (const char* start : {static_cast<const char*>(nullptr), "", "[s]", "[s]\r\n", "[s]\r\nn=v", "[s]\nn=v\n",
                              "[s]\r\n n = v \r\n\r\n[t]\r\n", "[s]\rn=v\r", "text", "[s]\r\nn=1\r\nn=2\r\n",
                              "[s]\r\nn=1\r\n[s]\r\nn=2\r\n", "[s]\r\nn=v\x1A"}) {
        write("ini.write-into", start, "s", "n", "z");
        write("ini.write-into", start, "u", "n", "z");
        write("ini.write-into", start, "s", "n", nullptr);
        write("ini.write-into", start, "s", nullptr, nullptr);
    }
    writeFile("rows.ini", kStart);
    row("ini.flush")(made([] { return WritePrivateProfileStringA(nullptr, nullptr, nullptr, kFile); }));
    for (const char* file : {".\\nosuch\\rows.ini", ".\\", ""})
        row("ini.write-file", file)(made([&] { return WritePrivateProfileStringA("s", "n", "v", file); }));
    for (const DWORD share : {0u, 1u, 2u, 3u}) {
        const Handle open(CreateFileA(kFile, GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
        row("ini.open", share)(text("t", "x", "none"),
                               made([] { return WritePrivateProfileStringA("t", "x", "z", kFile); }),
                               [] { return text("t", "x", "none"); });
    }
}

} // namespace

void iniRows() {
    contentRows();
    numberRows();
    writeRows();
}
