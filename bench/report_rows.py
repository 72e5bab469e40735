"""What docs/performance.md tells: each row of its tables with what stands beside it, and its pictures' lines.

A name is PROGRAM/BENCHMARK, or PROGRAM/BENCHMARK:FIELD for another field of the result than its time; what stands
beside a row is of the same program unless it says another. "{}" stands for each of a row's sizes."""
from typing import NamedTuple


class Beside(NamedTuple):
    words: str
    name: str
    target: float = 0  # highest ratio to reach; 0 is none


class Row(NamedTuple):
    words: str
    name: str
    beside: tuple[Beside, ...] = ()
    within: float = 0  # to reach: seconds, or KiB of a field that ends so; 0 is none
    sizes: tuple[int, ...] = ()


class Line(NamedTuple):
    words: str
    name: str  # without "{}", a level line
    beside: bool = False  # what the line before it is compared with: drawn in its colour, dashed


class Picture(NamedTuple):
    title: str
    axis: str
    sizes: tuple[int, ...]
    lines: tuple[Line, ...]


US, MS = 1e-6, 1e-3
ROUND_TRIP = Beside("a byte to another process and back through pipes", "pipesBackAndForth")
A_LINE = Beside("a formatted line and one `write`", "plainLine")
EMPTY = Beside("an empty C++ process", "emptyProcess")
ONE_READ = Beside("one registry read (open, query, close)", "registryRead")
BARE_COMMIT = Beside("one value written to the registry, durable", "bareCommit")
PROCESSES = (1, 2, 4, 8)


def locks(words: str, name: str, words_beside: str, name_beside: str, target: float = 0) -> tuple[Row, Row]:
    """The rows of a lock: what is to be reached holds for one process, which has it to itself."""
    beside = Beside(words_beside, name_beside + "_{}")
    row = Row(words + ", processes: {}", f"sync/{name}_{{}}", (beside._replace(target=target),), sizes=(1,))
    return row, row._replace(beside=(beside,), sizes=PROCESSES[1:])


TABLES: dict[str, tuple[Row, ...]] = {
    "registry": (
        Row("opening a key, querying a value, closing", "registry/registryRead",
            (Beside("the same from SQLite in WAL mode, two look-ups", "sqliteRead", 0.17),
             Beside("raw LMDB, one look-up with its read transaction", "lmdbRead")), within=1 * US),
        Row("a look whether the registry's state is still one", "registry/registryStateLookedAt",
            (ONE_READ,)),
        Row("its state taken, in a read transaction", "registry/registryStateTaken", (ONE_READ,)),
        Row("one durable write", "registry/registryWrite",
            (Beside("raw LMDB", "lmdbWrite", 1.5), Beside("SQLite", "sqliteWrite"))),
        Row("23 values in one batch, durable", "registry/registryBatchWrite",
            (Beside("raw LMDB, one transaction", "lmdbBatchWrite", 1.5),
             Beside("SQLite, one transaction", "sqliteBatchWrite"), Beside("one durable write", "registryWrite", 1.5))),
    ),
    "calls": (
        Row("the system record read through `WdltReadConfig`", "config/systemRecordRead",
            (Beside("its seven values directly from the registry", "registrySevenReads", 1.7),)),
        Row("the system record written through `WdltWriteConfig`, durable", "config/systemRecordWrite",
            (Beside("one durable write", "registryOneWrite", 1.5),)),
        Row("`WdltPvsIsEnabled`, handlers: {}", "switch/pvsIsEnabled_{}", (ONE_READ._replace(target=24),),
            sizes=(1, 4)),
        Row("`WdltPvsIsEnabled`, handlers: {}", "switch/pvsIsEnabled_{}", (ONE_READ._replace(target=32),),
            sizes=(16,)),
        Row("`WdltPvsEnable` off and on again, durable, no service, handlers: {}", "switch/pvsEnableBothWays_{}",
            (Beside("four durable writes", "registryFourWrites", 1.5),), sizes=(1, 4, 16)),
        Row("a change notified to the service and answered, without the pause of 100 ms", "switch/notification",
            (ROUND_TRIP,)),
        Row("a log call, log off", "log/logOff", (A_LINE,)),
        Row("a log call, its level filtered out", "log/logHeldBack", (A_LINE,)),
        Row("a log call, line written", "log/logOn", (A_LINE,)),
    ),
    "locks": (
        *locks("read lock and unlock", "readLock", "a process-shared pthread rwlock", "pthreadReadLock", 10),
        *locks("write lock and unlock", "writeLock", "a process-shared pthread rwlock", "pthreadWriteLock"),
        *locks("a mutex created, locked, released and closed", "mutexMadeAndClosed", "a pthread mutex", "pthreadMutex",
               180),
        *locks("a mutex kept open, locked and released", "mutexKept", "a pthread mutex", "pthreadMutexAgain"),
        Row("an event set for another process and one back", "sync/eventBackAndForth_2",
            (Beside("two process-shared semaphores", "semaphoreBackAndForth_2"),)),
    ),
    "stores": (
        Row("the list read", "store/readList",
            (Beside("the file read and its records deciphered", "plainReadAndCipher"),)),
        Row("the list written, durable", "store/writeList",
            (Beside("the file replaced by the same bytes, with two syncs", "plainReplace", 1.5),)),
        Row("`CheckIfUrlRecordExists`, 1 URL, the list as before", "store/checkUrls_1",
            (Beside("each record deciphered, decoded and compared as it is read", "naiveCheck_1"),
             Beside("RE2, compiling all patterns into one set for the search", "re2SetCompiledAnew_1"),
             Beside("RE2 with a precompiled set", "re2Set_1")), within=15 * US),
        Row("the same, the list changed since the search before", "store/checkUrlsChanged_1",
            (Beside("each record deciphered, decoded and compared as it is read", "naiveCheck_1"),), within=300 * US),
        Row("`CheckIfUrlRecordExists`, 100 URLs", "store/checkUrls_100",
            (Beside("each record decoded and compared afresh for each URL", "naiveCheck_100"),
             Beside("RE2, compiling the set for the search", "re2SetCompiledAnew_100"),
             Beside("RE2 with a precompiled set", "re2Set_100"))),
        Row("one URL matched against 500 compiled records", "store/matchEachRecord",
            (Beside("RE2, one compiled expression per record", "re2EachRecord"),
             Beside("RE2 with the set", "re2Set_1"))),
        Row("a record of {} bytes enciphered", "store/padEncrypt_{}", (Beside("Nettle alone", "rawEncrypt_{}"),),
            sizes=(48, 2048)),
        Row("a record of {} bytes deciphered", "store/padDecrypt_{}", (Beside("Nettle alone", "rawDecrypt_{}"),),
            sizes=(48, 2048)),
        Row("`CopyFileA`, 26 KB", "store/copyFile",
            (Beside("the file read and the target replaced, with two syncs", "plainCopy", 1.5),)),
    ),
    "filter": (
        Row("`WdltUrlfReadConfig`", "filter/settingsRead", within=12 * US),
        Row("`WdltUrlfWriteConfig`, durable: read, one of 23 values changed, written", "filter/settingsWritten",
            (BARE_COMMIT._replace(target=1.5),)),
        Row("`WdltUrlfReadRecordList`, records: {}", "filter/listRead_{}",
            (Beside("the list's megabyte allocated, cleared and copied", "megabyteCopied"),), within=1 * MS,
            sizes=(0, 50, 500)),
        Row("`WdltUrlfWriteRecordList`, durable, records: {}", "filter/listWritten_{}",
            (BARE_COMMIT._replace(target=2.2),), sizes=(0, 50, 500)),
        Row("`WdltUrlfIsRecordExists`, answered by the service", "filter/urlAskedOfTheService", (ROUND_TRIP,)),
        Row("`WdltUrlfIsRecordExists` without a service, records: {}", "filter/urlAskedOfTheFile_{}",
            (Beside("the list read", "listRead_{}"),), within=15 * US, sizes=(0, 50, 500)),
    ),
    "rules": (
        Row("`WdltAddDRSWhiteListItem`, rules: {}", "rules/addedByExport_{}",
            (Beside("the same key and values alone, one transaction", "addedPlainly_{}"),), sizes=(1, 10, 100, 1000)),
        Row("CPU time of `WdltAddDRSWhiteListItem`, rules: {}", "rules/addedByExport_{}:cpu_time",
            (Beside("`WdltGetAllDRSWhiteListItem`", "listRead_{}"),), sizes=(1, 10, 100, 1000)),
        Row("`WdltGetAllDRSWhiteListItem`, rules: {}", "rules/listRead_{}", sizes=(1, 10, 100, 1000)),
    ),
    "privacy": (
        Row("items written, durable, charsets: {}", "privacy/writeItems{}",
            (Beside("161 values in one transaction", "writeValues"),
             Beside("backup, new file and replacement of as many bytes", "putInPlace{}"),
             Beside("the conversions, including loading the library", "convert{}")), sizes=(1, 8, 30)),
        Row("960 patterns enciphered, as 30 charsets take", "privacy/encipher960",
            (Beside("items written, charsets: 30", "writeItems30"),)),
        Row("search data of 30 charsets read, 960 records", "privacy/readSearch",
            (Beside("960 patterns deciphered", "decipher960"),)),
        Row("items read", "privacy/readItems"),
        Row("32 items verified in 30 charsets", "privacy/verifyItems",
            (Beside("their 960 conversions", "convert30", 1.2),)),
        Row("the conversions for 1 charset", "privacy/convert1",
            (Beside("loading and starting the charset library", "startConverter"),)),
    ),
    "processes": (
        Row("a process that loads the library, reads the system record and ends", "process/readingProcess",
            (EMPTY._replace(target=2.3),)),
        Row("its peak memory above an empty process", "process/readingProcess:above_empty_KiB", within=3072),
        Row("`wdltctl get system proxy-port`", "document/get", (EMPTY._replace(target=7.8),)),
        Row("`wdltctl dump`", "document/dump", (EMPTY._replace(target=15.6),)),
        Row("`wdltctl diff`, nothing differs", "document/diffOfNothing", (Beside("`wdltctl dump`", "dump", 1.2),)),
        Row("`wdltctl load`, nothing differs", "document/loadOfNothing",
            (Beside("`wdltctl diff`", "diffOfNothing"),)),
        Row("`wdltctl load` of 100 changes, durable", "document/loadOfHundred",
            (Beside("`wdltctl set` a hundred times", "hundredSets"),
             Beside("the command line of SQLite, 100 updates in one transaction, durable", "sqliteHundred"))),
        Row("`wdltctl set` a hundred times", "document/hundredSets",
            (Beside("the command line of SQLite a hundred times", "sqliteSingly"),)),
    ),
}

PICTURES: dict[str, Picture] = {
    "lists": Picture("URL lists: cost against their size", "records in the list", (1, 10, 50, 100, 500), (
        Line("list written, durable", "filter/listWritten_{}"),
        Line("one durable write", "filter/bareCommit", beside=True),
        Line("list read", "filter/listRead_{}"),
        Line("its megabyte copied", "filter/megabyteCopied", beside=True),
        Line("URL asked, no service", "filter/urlAskedOfTheFile_{}"))),
    "handlers": Picture("A feature: cost against the number of handlers", "handlers", (1, 2, 4, 8, 16), (
        Line("WdltPvsEnable, off and on", "switch/pvsEnableBothWays_{}"),
        Line("four durable writes", "switch/registryFourWrites", beside=True),
        Line("WdltPvsIsEnabled", "switch/pvsIsEnabled_{}"),
        Line("one registry read", "switch/registryRead", beside=True))),
    "rules": Picture("DRS's white list: cost against its size", "rules in the list", (1, 10, 100, 1000), (
        Line("rule added, durable", "rules/addedByExport_{}"),
        Line("key and values alone", "rules/addedPlainly_{}", beside=True),
        Line("CPU time of adding", "rules/addedByExport_{}:cpu_time"),
        Line("list read", "rules/listRead_{}"))),
    "processes": Picture("Locks: cost against the number of processes", "processes on the same lock", PROCESSES, (
        Line("read lock", "sync/readLock_{}"),
        Line("pthread rwlock, reading", "sync/pthreadReadLock_{}", beside=True),
        Line("write lock", "sync/writeLock_{}"),
        Line("pthread rwlock, writing", "sync/pthreadWriteLock_{}", beside=True),
        Line("mutex made and closed", "sync/mutexMadeAndClosed_{}"),
        Line("pthread mutex", "sync/pthreadMutex_{}", beside=True),
        Line("mutex kept open", "sync/mutexKept_{}"))),
}
