// Apart from LogFile.cpp, so that only tests which link the log itself need it.
#include "LogFile.h"

#include "TestHome.h"
#include "WdCommon/DebugLog.h"

#include <filesystem>
#include <stdexcept>

LogFile::LogFile(unsigned level) {
    std::filesystem::remove_all(TestHome::instance().path() / "log");
    writeSettings(level);
    // Without a folder the settings are read from the home, and the trace library from the layer's directory.
    if (!wdlt::startLog("Test", {WdCommon::Storage::kIniFile, "", "Wardlet.ini"}))
        throw std::runtime_error("the log didn't start");
}

LogFile::~LogFile() {
    wdlt::stopLog();
}
