#include "Process.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <platform/win32.h>

namespace wdlt {
namespace {

UINT g_consolePage = 0; // another program's, which gets it back

} // namespace

void startProcess() {
    for (std::FILE* stream : {stdin, stdout, stderr})
        _setmode(_fileno(stream), _O_BINARY);
    g_consolePage = GetConsoleOutputCP();
    if (g_consolePage != 0 && SetConsoleOutputCP(CP_UTF8) != FALSE)
        std::atexit([] { SetConsoleOutputCP(g_consolePage); });
}

bool isTerminal() {
    return _isatty(_fileno(stderr)) != 0;
}

void endProcess(const std::string& lastLine, int status) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), lastLine.data(), static_cast<DWORD>(lastLine.size()), &written, nullptr);
    std::_Exit(status);
}

} // namespace wdlt
