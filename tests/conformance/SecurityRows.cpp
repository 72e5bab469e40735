#include "Row.h"

#include <memory>
#include <vector>

namespace {

using namespace std::literals;

struct Free {
    void operator()(void* memory) const { LocalFree(memory); }
};
using Memory = std::unique_ptr<void, Free>;

std::string textOf(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION parts) {
    LPSTR text = nullptr;
    DWORD length = 0;
    const Outcome outcome = made([&] {
        return ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, parts, &text, &length);
    });
    const Memory kept(text);
    return outcome.success
               ? shown(text) + (length == std::string_view(text).size() + 1 ? "" : " length " + std::to_string(length))
               : outcome.text;
}

void descriptorTextRows() {
    for (const std::string& text :
         each("~D:~D:(A;;GA;;;WD)~O:BAG:BAD:(A;;GA;;;WD)S:(ML;;NW;;;LW)~O:SY~G:SY~O:BAO:SY~D:D:~O:~O:XX~O:S-1-5-18~O:S-"
              "1-5-32-544G:S-1-5-11~X:BA~BA~D:(~D:()~D:(A)~D:(A;;GA;;;)~D:(A;;GA;;;WD~D:(A;;GA;;;WD))~D:(A;;GA;;;WD)(A;"
              ";GR;;;BA)~D:(D;;GA;;;WD)~D:(X;;GA;;;WD)~D:(AU;SA;GA;;;WD)~D:(OA;;GA;;;WD)~D:(A;;GA;x;;WD)~D:(A;"
              "OICINPIOID;GA;;;WD)~D:(A;XX;GA;;;WD)~D:(A;O;GA;;;WD)~D:P(A;;GA;;;WD)~D:AI(A;;GA;;;WD)~D:AR(A;;GA;;;WD)~"
              "D:PAIAR(A;;GA;;;WD)~D:NO_ACCESS_CONTROL~D:X(A;;GA;;;WD)~d:(a;;ga;;;wd)~ D:(A;;GA;;;WD)~D: "
              "(A;;GA;;;WD)~D:(A; ;GA;;;WD)~D:( A;;GA;;;WD)~D:(A;;GA;;; WD)~D:(A;;GA;;;WD) ~D:(A;;GA;;;WD) "
              "(A;;GR;;;BA)~S:(ML;;NW;;;LW)~S:(ML;;NWNRNX;;;HI)~S:(ML;;GA;;;ME)~S:(A;;GA;;;WD)~S:(AU;SAFA;GA;;;WD)~S:P("
              "ML;;NW;;;SI)~D:(ML;;NW;;;LW)~S:~O:BAD:(A;;GA;;;WD)G:SY")) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        DWORD size = 0;
        const Outcome outcome = made([&] {
            return ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                                        &size);
        });
        const Memory kept(descriptor);
        row("security.text", text)(outcome, size, Word{outcome.success ? textOf(descriptor, 0xF) : "-"});
    }
    PSECURITY_DESCRIPTOR whole = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA("O:BAG:SYD:(A;;GA;;;WD)S:P", SDDL_REVISION_1, &whole, nullptr);
    const Memory keptWhole(whole);
    for (SECURITY_INFORMATION parts = 0; parts < 0x10; ++parts)
        row("security.parts", Hex{parts})(Word{textOf(whole, parts)});
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    for (const DWORD revision : {0u, 1u, 2u}) {
        descriptor = nullptr;
        row("security.text-revision", revision)(made([&] {
            return ConvertStringSecurityDescriptorToSecurityDescriptorA("D:", revision, &descriptor, nullptr);
        }));
        LocalFree(descriptor);
    }
    row("security.text-null")(
        made([&] { return ConvertStringSecurityDescriptorToSecurityDescriptorA(nullptr, 1, &descriptor, nullptr); }));
}

void rightRows() {
    for (const std::string& rights :
         each("GA~GR~GW~GX~GRGWGX~GXGWGR~RC~SD~WD~WO~RCSDWDWO~CC~DC~LC~SW~RP~WP~DT~LO~CR~CCDCLCSWRPWPDTLOCRSDRCWDWO~FA~"
              "FR~FW~FX~KA~KR~KW~KX~NR~NW~NX~0x1~0x1F0003~0X1F~1~31~010~0~0x0~~0xFFFFFFFF~4294967295~4294967296~"
              "0x100000000~-1~020000000000~GAX~XX~G~ga~GA GR~0x1GA~GA0x1~0x")) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        const std::string text = "D:(A;;"s + rights + ";;;WD)";
        const Outcome outcome = made([&] {
            return ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                                        nullptr);
        });
        const Memory kept(descriptor);
        row("security.rights", rights)(outcome,
                                       Word{outcome.success ? textOf(descriptor, DACL_SECURITY_INFORMATION) : "-"});
    }
}

void sidRows() {
    for (const std::string& text :
         each("WD~BA~SY~CO~CG~AU~AN~IU~NU~SU~LS~NS~BU~BG~PU~AO~BO~SO~PO~RC~WR~PS~LW~ME~MP~HI~SI~AC~OW~RD~NO~RU~ED~LA~"
              "LG~DA~XX~wd~S-1-1-0~s-1-1-0~S-1-5-18~S-1-5-32-544~S-1-0xF-1~S-1-16-4096~S-0x1-1-0~S-1-0x5-0x12~S-1-5-1-"
              "2-3-4-5-6-7-8-9-10-11-12-13-14-15~S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16~S-1-5~S-1-5-~S-1~S-~S~~S-"
              "2-5-18~S-1-5-4294967295~S-1-5-4294967296~S-1-281474976710655-1~S-1-281474976710656-1~S-1-5-18 ~ "
              "S-1-5-18~S-1-5-18x~S-1-5--1~S-1-4294967296-1")) {
        PSID sid = nullptr;
        const Outcome outcome = made([&] { return ConvertStringSidToSidA(text.c_str(), &sid); });
        const Memory kept(sid);
        const auto bytes = outcome.success ? 8u + 4u * static_cast<const SID*>(sid)->SubAuthorityCount : 0u;
        row("security.sid", text)(outcome, Bytes{sid, bytes});
    }
}

struct Account {
    explicit Account(const char* text) {
        PSID made = nullptr;
        ConvertStringSidToSidA(text, &made), sid.reset(made);
    }
    Memory sid;
};

std::string listText(PACL list) {
    SECURITY_DESCRIPTOR descriptor{};
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    return textOf(&descriptor, DACL_SECURITY_INFORMATION);
}

void listRows() {
    const Account everybody("WD");
    const Account admins("BA");
    const Account system("SY");
    const auto entry = [](const Account& account, DWORD rights, ACCESS_MODE mode, DWORD inheritance) {
        EXPLICIT_ACCESS_A access{};
        access.grfAccessPermissions = rights;
        access.grfAccessMode = mode;
        access.grfInheritance = inheritance;
        access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        access.Trustee.ptstrName = static_cast<LPSTR>(account.sid.get());
        return access;
    };
    for (const char* old : {static_cast<const char*>(nullptr), "D:", "D:(A;;GR;;;WD)", "D:(D;;GW;;;BA)(A;;GR;;;WD)",
                            "D:(A;;GR;;;SY)(A;;GW;;;SY)(A;;GA;;;BA)", "D:(A;ID;GR;;;WD)(D;;GA;;;WD)"}) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        BOOL present = FALSE;
        BOOL defaulted = FALSE;
        PACL list = nullptr;
        if (old != nullptr && ConvertStringSecurityDescriptorToSecurityDescriptorA(old, 1, &descriptor, nullptr))
            GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted);
        const Memory kept(descriptor);
        const auto told = [&](std::string_view what, std::vector<EXPLICIT_ACCESS_A> entries) {
            PACL result = nullptr;
            const DWORD code = SetEntriesInAclA(static_cast<DWORD>(entries.size()),
                                                entries.empty() ? nullptr : entries.data(), list, &result);
            const Memory keptResult(result);
            row("security.entries", old, Word{what})(code, Word{code != 0           ? "-"
                                                                : result == nullptr ? "no list"
                                                                                    : listText(result)});
        };
        told("nothing", {});
        told("everybody", {entry(everybody, GENERIC_ALL, SET_ACCESS, 0)});
        told("two", {entry(system, GENERIC_READ, SET_ACCESS, 0), entry(admins, GENERIC_ALL, SET_ACCESS, 0)});
        told("twice", {entry(system, GENERIC_READ, SET_ACCESS, 0), entry(system, GENERIC_WRITE, SET_ACCESS, 0)});
        told("inherited", {entry(admins, GENERIC_READ, SET_ACCESS, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE)});
        told("rights-0", {entry(admins, 0, SET_ACCESS, 0)});
        for (const int mode : {0, 1, 3, 4, 7})
            told("mode-" + std::to_string(mode), {entry(admins, GENERIC_READ, static_cast<ACCESS_MODE>(mode), 0)});
    }
    PACL result = nullptr;
    EXPLICIT_ACCESS_A nobody = entry(admins, GENERIC_ALL, SET_ACCESS, 0);
    nobody.Trustee.ptstrName = nullptr;
    row("security.entries-null-sid")(SetEntriesInAclA(1, &nobody, nullptr, &result));
}

void descriptorRows() {
    SECURITY_DESCRIPTOR descriptor{};
    for (const DWORD revision : {0u, 1u, 2u})
        row("security.initialize", revision)(made([&] { return InitializeSecurityDescriptor(&descriptor, revision); }));
    InitializeSecurityDescriptor(&descriptor, 1);
    BOOL present = 7;
    BOOL defaulted = 7;
    PACL list = nullptr;
    const auto told = [&](std::string_view step) {
        row("security.dacl",
            Word{step})(made([&] { return GetSecurityDescriptorDacl(&descriptor, &present, &list, &defaulted); }),
                        present, list != nullptr, defaulted, Hex{descriptor.Control});
    };
    told("fresh");
    for (const BOOL is : {FALSE, TRUE})
        for (const BOOL byDefault : {FALSE, TRUE}) {
            row("security.set-dacl", is,
                byDefault)(made([&] { return SetSecurityDescriptorDacl(&descriptor, is, nullptr, byDefault); }));
            told(std::to_string(is) + "-" + std::to_string(byDefault));
        }
    row("security.null-dacl")(Word{listText(nullptr)});
    PSECURITY_DESCRIPTOR inOnePiece = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA("D:(A;;GA;;;WD)", 1, &inOnePiece, nullptr);
    const Memory kept(inOnePiece);
    row("security.set-dacl-in-one-piece")(
        made([&] { return SetSecurityDescriptorDacl(inOnePiece, TRUE, nullptr, FALSE); }));
    row("security.sacl")(made([&] { return GetSecurityDescriptorSacl(inOnePiece, &present, &list, &defaulted); }),
                         present);
    char name[] = "no such object";
    PSECURITY_DESCRIPTOR read = nullptr;
    row("security.of-missing")(GetNamedSecurityInfoA(name, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                                     nullptr, nullptr, nullptr, &read));
    row("security.of-null")(GetNamedSecurityInfoA(nullptr, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                                  nullptr, nullptr, nullptr, &read));
    row("security.set-of-missing")(
        SetNamedSecurityInfoA(name, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr));
    row("security.set-of-null")(
        SetSecurityInfo(nullptr, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr));
}

} // namespace

void securityRows() {
    descriptorTextRows();
    rightRows();
    sidRows();
    listRows();
    descriptorRows();
}
