// A tree for the web plug-in features: the HTTP handler, the HTTPS filter's item with its files, and the plug-in
// manager, all switched off. And the library on that tree, with its log.
#pragma once

#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "TimeScale.h"
#include "Tree.h"

#include <wdltcfg/records.h>

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>

inline const std::string kHandlerKey = "ProtocolHandler\\Web";
inline const std::string kUrlFilterItemKey = "Scan\\Web\\URLFilter";
inline const std::string kHttpsKey = "Scan\\Web\\HttpsFilter";
inline const std::string kPluginManagerKey = "PluginManager";
inline const std::string kDrsKey = "PluginManager\\DRS";
inline const std::string kWhiteListKey = kDrsKey + "\\WhiteList";
inline const std::string kDrsSettingsKey = "Scan\\Common\\URLFilter\\config";

inline void layOutWebTree() {
    tree::clear();
    tree::setNumber(kHandlerKey, "Type", 3);
    tree::setNumber(kHandlerKey, "Enable", 0);
    tree::setText(kHandlerKey, "Scan", "Web");
    tree::setNumber(kHttpsKey, "Enable", 0);
    for (const char* const name : {"HostFilterAlertFile", "HostFilterErrorFile", "PrivacyDataAlertFile",
                                   "UrlFilterAlertFile", "UrlFilterCredAlertFile"})
        tree::setText(kHttpsKey, name, std::string(name).append(".htm"));
    tree::setNumber(kPluginManagerKey, "enable", 0);
    tree::setText(kPluginManagerKey, "filename", "plugin.dll");
}

class WebFeatures : public testing::Test {
  protected:
    WebFeatures() { layOutWebTree(); }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

// Everything below the service's key as text, to check that a write changed nothing.
inline std::string dumpTree(const std::string& key = tree::path("")) {
    std::string text = "[" + key + "]";
    const TestKey handle = TestKey::open(key.c_str());
    for (DWORD index = 0; handle; ++index) {
        char name[256];
        DWORD length = sizeof name;
        DWORD type = 0;
        std::string data(8192, '\0');
        auto size = static_cast<DWORD>(data.size());
        if (RegEnumValueA(handle.get(), index, name, &length, nullptr, &type, reinterpret_cast<BYTE*>(data.data()),
                          &size) != 0)
            break;
        data.resize(size);
        text.append(name).append(":").append(std::to_string(type)).append("=").append(data).append(";");
    }
    for (const std::string& name : tree::subkeys(key))
        text += dumpTree(key + "\\" + name);
    return text;
}
