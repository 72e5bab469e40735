#include "HostListDB.h"

#include <wdltcfg/records.h>

namespace {

constexpr wdlt::LengthListDB::Kind kHostListKind{
    .store = {"CHostListDB", WDLT_MAX_HOST_RECORDS, true},
    .mutexName = "WDPE_HostList_Access_Mutex",
    .guid = "Halvermoor:Wardlet:HostFilter:01",
    .slotBytes = sizeof(WdpeHosfHostRecord),
    .mostPlainBytes = sizeof(WdpeHosfHostRecord),
    .mostCipherBytes = 322,
    .holdsTexts = false,
    .readLines =
        {
            .lengthUnread = "CHostListDB: Failed to read a size of hostrecord",
            .lengthTooLarge = "CHostListDB: A record size is too large (size=%lu, file=%s)",
            .recordUnread = "CHostListDB: Failed to read a hostrecord",
            .recordUndeciphered = "CHostListDB::Read(): Failed to decrypt a record (err=%d, file=%s)",
            .recordTooLarge = "CHostListDB::Read(): A decrypted record is too large (size=%d, file=%s)",
        },
    .recordEmpty = "",        // never logged: every slot
    .recordUnterminated = "", // is a whole record
    .recordUnenciphered = "CHostListDB: Failed to encrypt a record (err=%d)",
    .lengthUnwritten = "CHostListDB: Failed to write a size of Host record",
    .recordUnwritten = "CHostListDB: Failed to write a host record",
};

} // namespace

CHostListDB::CHostListDB() : LengthListDB(kHostListKind) {}
