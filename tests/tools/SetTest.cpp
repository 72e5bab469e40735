// Fields at their limits, and what set and reset say.
#include "Catalog.h"
#include "Typed.h"

namespace {

using wdlt::Field;
using wdlt::FieldKind;

bool isSet(const Field& field) {
    return !field.isReadOnly && !field.isKept;
}

json lowest(const Field& field) {
    if (field.kind == FieldKind::Number)
        return field.isSigned ? json(INT32_MIN) : json(wdlt::rangeOf(field).low);
    if (field.kind == FieldKind::NameList)
        return json::array();
    return field.isDirectory ? "/\\" : "x";
}

std::uint64_t most(const Field& field) {
    if (field.kind != FieldKind::Number)
        return field.kind == FieldKind::NameList ? field.slotBytes - 1 : wdlt::mostBytes(field);
    return field.isSigned ? INT32_MAX : wdlt::rangeOf(field).high;
}

json highest(const Field& field) {
    if (field.kind == FieldKind::Number)
        return most(field);
    std::string text(most(field), 'm');
    if (field.kind == FieldKind::NameList)
        return std::vector<std::string>(field.bytes / field.slotBytes, text);
    if (field.isDirectory) {
        text.front() = '/';
        text.back() = '\\';
    }
    return text;
}

std::string assigned(const Field& field, const json& value) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    if (value.is_array()) {
        text.clear();
        for (const json& name : value)
            text += (text.empty() ? "" : ",") + name.get<std::string>();
    }
    return ' ' + std::string(field.member) + '=' + text;
}

// One more than the most is refused, as a number or as a text's length.
void expectLimit(const std::string& set, const Field& field) {
    if (most(field) == UINT32_MAX || field.isFlag)
        return;
    const std::string text =
        field.kind == FieldKind::Number ? std::to_string(most(field) + 1) : "/" + std::string(most(field), 'm');
    EXPECT_EQ(typed(set + assigned(field, text)).status, 2) << set << field.member;
}

std::string recordOf(const wdlt::Settings& settings) {
    return settings.name == "handler" ? "handler SMTP" : std::string(settings.name);
}

TEST_F(Wdltctl, WhatSetTakesIsWhatGetShows) {
    std::map<std::string, json> fresh;
    for (const wdlt::Settings& settings : wdlt::kSettings)
        if (!settings.name.empty())
            fresh[recordOf(settings)] = doneJson("--secrets get " + recordOf(settings));
    for (const wdlt::Settings& settings : wdlt::kSettings) {
        if (settings.name.empty())
            continue;
        const std::string record = recordOf(settings);
        const json before = fresh[record];
        std::string left; // by reset
        for (const auto& value : {lowest, highest}) {
            json expected = before;
            std::string line = "set " + record;
            left.clear();
            for (const Field& field : settings.fields) {
                if (!isSet(field))
                    continue;
                expected[std::string(field.member)] = value(field);
                line += assigned(field, value(field));
                if (!field.hasFresh || (field.isDirectory && !field.freshText.empty()))
                    left += assigned(field, before[std::string(field.member)]);
            }
            EXPECT_EQ(typed(line).status, 0) << line;
            EXPECT_EQ(doneJson("--secrets get " + record), expected) << record;
        }
        for (const Field& field : settings.fields)
            if (isSet(field))
                expectLimit("set " + record, field);
        done("reset " + record);
        if (!left.empty())
            done("set " + record + left);
        EXPECT_EQ(doneJson("--secrets get " + record), before) << record;
    }
}

TEST_F(Wdltctl, SetSaysWhatIsStored) {
    const std::string password = "--secrets get urlf-proxy szProxyPassword";
    const std::string file = TestHome::instance().write("secret", "from a file\n");
    done("wdltreg delete " + kBase + "\\ProtocolHandler\\SMTP\\config MaxSessionCount");
    expectOutcomes({
        {"set http-manager szUrlHistoryFile=a\\b.dat dwMaxUrlHistoryCount=7", 0,
         "szUrlHistoryFile      b.dat: a\\b.dat without its folder\ndwMaxUrlHistoryCount  7\n", ""},
        {"set sal szBlockImages=", 0, "szBlockImages  \n", ""},
        {"set sal szBlockImages=x", 0, "szBlockImages  x\n", ""},
        {"set sal szBlockImages=", 0, "szBlockImages  x: an empty text was asked for\n", ""},
        {"set smtp dwWaitTime=61", 0, "dwWaitTime  61\n", "MaxSessionCount: had no value"},
        {"set virus-common dwKeepNumber=4", 0, "dwKeepNumber  4\n", "",
         "wdltreg query " + kBase + "\\Scan\\Common\\Virus\\config PatternPath", "REG_SZ \n"},
        {"set urlf-proxy szProxyPassword=@-", 0, "szProxyPassword  (secret)\n", "", password, "@p4 ss\n", "@p4 ss\r\n"},
        {"set urlf-proxy szProxyPassword=(secret)", 0, "", "szProxyPassword: unchanged", password, "@p4 ss\n"},
        {"set urlf-proxy szProxyUser=@me szProxyPassword=@" + file, 0, "szProxyUser      @me\n", "", password,
         "from a file\n"},
        {"set system installPath=/other", 0, "installPath  /other\\\n",
         "left behind in " + install() + ": Privacy.dat"},
    });
}

TEST_F(Wdltctl, ResetMendsWhatCannotBeRead) {
    const std::string config = kBase + "\\ProtocolHandler\\HTTP\\config ";
    done("set system proxyPort=1 bmFlag=0");
    done("set virus smtp dwSecondAction=5");
    done("wdltreg set " + config + "MaxLineSize sz broken");
    done("wdltreg delete " + config + "MaxHeaderCount");
    done("wdltreg delete " + kBase + "\\Scan\\Common\\MailManager\\config EntPerMsg");
    expectOutcomes({
        {"reset http dwMaxHeaderCount", 6, "", "http can't be read", "wdltreg query " + config + "MaxHeaderCount",
         "REG_DWORD 256 (0x00000100)\n"},
        {"reset http", 0, "dwMaxLineSize                 16384\n", "", "get http dwMaxLineSize", "16384\n"},
        {"reset mail", 0, "dwAddressCacheDirection  0\n", "EntPerMsg: couldn't be read", "get mail dwEntPerMsg",
         "1024\n"},
        {"reset virus smtp second-action --json", 0, "\"dwSecondAction\": 101", ""},
        {"reset system", 0, "proxyPort  6999\nbmFlag     1\n", "", "get system installPath", install() + "\\\n"},
        {"reset system logPath", 0, "logPath  C:\\Program Files\\Wardlet\\Log\\\n", ""},
    });
}

} // namespace
