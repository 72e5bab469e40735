// The settings of the URL filter that a read needs.
#pragma once

#include "Tree.h"

#include <string>

inline const std::string kUrlKey = "Scan\\Common\\URLFilter\\config";

inline void setUrlFilter() {
    for (const char* const name : {"Mode", "EnableServerLookup", "EnableProxy", "EnableCategoryChk", "EnablePharm",
                                   "CategoryNonBlock", "PharmingNonBlock", "NotifyAll", "EnableCredibilityChk",
                                   "CredibilityNonBlock", "EnablePhishChk", "PhishNonBlock"})
        tree::setNumber(kUrlKey, name, 0);
    for (const char* const name : {"BlockCategoryGroups", "BlockPhishCategoryGrps"})
        tree::setText(kUrlKey, name, "");
}
