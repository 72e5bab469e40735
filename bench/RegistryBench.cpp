// Named values: our registry, SQLite in WAL mode and raw LMDB, each holding the same tree of 40 keys with 10 values.
#include "Support.h"

#include <platform/registry_batch.h>
#include <platform/registry_state.h>
#include <platform/win32.h>

#include <lmdb.h>
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int kKeys = 40;
constexpr int kValues = 10;
constexpr int kRecordValues = 23; // as many as the largest settings record has

std::string keyName(int key) {
    return "SOFTWARE\\Halvermoor\\PLK\\Wardlet\\Scan\\Common\\Key" + std::to_string(key) + "\\config";
}
std::string valueName(int value) {
    return "Value" + std::to_string(value);
}

void check(bool good, const char* what) {
    if (good)
        return;
    std::fprintf(stderr, "benchmark set-up failed: %s\n", what);
    std::abort();
}

void setNumber(const std::string& key, const std::string& name, DWORD number) {
    HKEY handle = nullptr;
    check(RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr) ==
              0,
          "RegCreateKeyExA");
    check(RegSetValueExA(handle, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number) ==
              0,
          "RegSetValueExA");
    RegCloseKey(handle);
}

class Sqlite {
  public:
    explicit Sqlite(const std::filesystem::path& folder) {
        check(sqlite3_open((folder / "values.db").c_str(), &m_db) == SQLITE_OK, "sqlite3_open");
        exec("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
             "CREATE TABLE keys(id INTEGER PRIMARY KEY, path TEXT UNIQUE COLLATE NOCASE);"
             "CREATE TABLE vals(key INTEGER, name TEXT COLLATE NOCASE, type INTEGER, data BLOB, PRIMARY KEY(key, name))"
             " WITHOUT ROWID; BEGIN;");
        for (int key = 0; key < kKeys; ++key) {
            exec("INSERT INTO keys VALUES(" + std::to_string(key) + ", '" + keyName(key) + "')");
            for (int value = 0; value < kValues; ++value)
                exec("INSERT INTO vals VALUES(" + std::to_string(key) + ", '" + valueName(value) +
                     "', 4, x'01000000')");
        }
        exec("COMMIT");
        prepare("SELECT id FROM keys WHERE path = ?", &m_findKey);
        prepare("SELECT type, data FROM vals WHERE key = ? AND name = ?", &m_findValue);
        prepare("INSERT OR REPLACE INTO vals VALUES(?, ?, 4, ?)", &m_store);
    }
    ~Sqlite() {
        sqlite3_finalize(m_findKey);
        sqlite3_finalize(m_findValue);
        sqlite3_finalize(m_store);
        sqlite3_close(m_db);
    }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    DWORD read(const std::string& key, const std::string& name) {
        sqlite3_bind_text(m_findKey, 1, key.c_str(), static_cast<int>(key.size()), SQLITE_STATIC);
        check(sqlite3_step(m_findKey) == SQLITE_ROW, "no key");
        const auto id = sqlite3_column_int64(m_findKey, 0);
        sqlite3_reset(m_findKey);
        sqlite3_bind_int64(m_findValue, 1, id);
        sqlite3_bind_text(m_findValue, 2, name.c_str(), static_cast<int>(name.size()), SQLITE_STATIC);
        check(sqlite3_step(m_findValue) == SQLITE_ROW, "no value");
        DWORD number = 0;
        std::memcpy(&number, sqlite3_column_blob(m_findValue, 1), sizeof number);
        sqlite3_reset(m_findValue);
        return number;
    }
    void write(int key, const std::string& name, DWORD number) {
        sqlite3_bind_int(m_store, 1, key);
        sqlite3_bind_text(m_store, 2, name.c_str(), static_cast<int>(name.size()), SQLITE_STATIC);
        sqlite3_bind_blob(m_store, 3, &number, sizeof number, SQLITE_STATIC);
        check(sqlite3_step(m_store) == SQLITE_DONE, "store");
        sqlite3_reset(m_store);
    }
    void exec(const std::string& text) {
        check(sqlite3_exec(m_db, text.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, text.c_str());
    }

  private:
    void prepare(const char* text, sqlite3_stmt** statement) {
        check(sqlite3_prepare_v2(m_db, text, -1, statement, nullptr) == SQLITE_OK, text);
    }

    sqlite3* m_db = nullptr;
    sqlite3_stmt* m_findKey = nullptr;
    sqlite3_stmt* m_findValue = nullptr;
    sqlite3_stmt* m_store = nullptr;
};

// Bare LMDB: one record per value, one transaction per call.
class Lmdb {
  public:
    explicit Lmdb(const std::filesystem::path& folder) {
        std::filesystem::create_directory(folder / "raw");
        check(mdb_env_create(&m_env) == 0, "mdb_env_create");
        mdb_env_set_mapsize(m_env, std::size_t{16} << 20);
        check(mdb_env_open(m_env, (folder / "raw").c_str(), MDB_NOTLS, 0600) == 0, "mdb_env_open");
        MDB_txn* txn = nullptr;
        check(mdb_txn_begin(m_env, nullptr, 0, &txn) == 0, "mdb_txn_begin");
        check(mdb_dbi_open(txn, nullptr, 0, &m_dbi) == 0, "mdb_dbi_open");
        for (int key = 0; key < kKeys; ++key)
            for (int value = 0; value < kValues; ++value)
                put(txn, keyName(key) + "\\" + valueName(value), 1);
        check(mdb_txn_commit(txn) == 0, "mdb_txn_commit");
        check(mdb_txn_begin(m_env, nullptr, MDB_RDONLY, &m_reader) == 0, "reader");
        mdb_txn_reset(m_reader);
    }
    ~Lmdb() {
        mdb_txn_abort(m_reader);
        mdb_env_close(m_env);
    }
    Lmdb(const Lmdb&) = delete;
    Lmdb& operator=(const Lmdb&) = delete;

    DWORD read(const std::string& name) {
        check(mdb_txn_renew(m_reader) == 0, "renew");
        MDB_val key{name.size(), const_cast<char*>(name.data())};
        MDB_val data{};
        check(mdb_get(m_reader, m_dbi, &key, &data) == 0, "mdb_get");
        DWORD number = 0;
        std::memcpy(&number, data.mv_data, sizeof number);
        mdb_txn_reset(m_reader);
        return number;
    }
    void write(const std::string& prefix, int count, DWORD number) {
        MDB_txn* txn = nullptr;
        check(mdb_txn_begin(m_env, nullptr, 0, &txn) == 0, "mdb_txn_begin");
        for (int value = 0; value < count; ++value)
            put(txn, prefix + valueName(value), number);
        check(mdb_txn_commit(txn) == 0, "mdb_txn_commit");
    }

  private:
    void put(MDB_txn* txn, const std::string& name, DWORD number) {
        MDB_val key{name.size(), const_cast<char*>(name.data())};
        MDB_val data{sizeof number, &number};
        check(mdb_put(txn, m_dbi, &key, &data, 0) == 0, "mdb_put");
    }

    MDB_env* m_env = nullptr;
    MDB_dbi m_dbi = 0;
    MDB_txn* m_reader = nullptr;
};

Sqlite* g_sqlite;
Lmdb* g_lmdb;

void registryRead(benchmark::State& state) {
    const std::string key = keyName(17);
    for (auto _ : state) {
        HKEY handle = nullptr;
        DWORD number = 0;
        DWORD size = sizeof number;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &handle);
        RegQueryValueExA(handle, "Value7", nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
        RegCloseKey(handle);
        benchmark::DoNotOptimize(number);
    }
}

void sqliteRead(benchmark::State& state) {
    const std::string key = keyName(17);
    const std::string name = valueName(7);
    for (auto _ : state)
        benchmark::DoNotOptimize(g_sqlite->read(key, name));
}

void lmdbRead(benchmark::State& state) {
    const std::string name = keyName(17) + "\\" + valueName(7);
    for (auto _ : state)
        benchmark::DoNotOptimize(g_lmdb->read(name));
}

void registryWrite(benchmark::State& state) {
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyName(17).c_str(), 0, KEY_ALL_ACCESS, &key);
    DWORD number = 0;
    for (auto _ : state) {
        ++number;
        RegSetValueExA(key, "Value7", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    }
    RegCloseKey(key);
}

void registryBatchWrite(benchmark::State& state) {
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyName(18).c_str(), 0, KEY_ALL_ACCESS, &key);
    DWORD number = 0;
    for (auto _ : state) {
        ++number;
        const RegistryBatch batch;
        for (int value = 0; value < kRecordValues; ++value)
            RegSetValueExA(key, valueName(value).c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                           sizeof number);
    }
    RegCloseKey(key);
}

void sqliteWrite(benchmark::State& state) {
    DWORD number = 0;
    for (auto _ : state)
        g_sqlite->write(17, "Value7", ++number);
}

void registryStateLookedAt(benchmark::State& state) {
    WdRegistryState known{};
    check(WdGetRegistryState(&known) != FALSE, "WdGetRegistryState");
    for (auto _ : state)
        benchmark::DoNotOptimize(WdIsRegistryState(&known));
}

void registryStateTaken(benchmark::State& state) {
    WdRegistryState taken{};
    for (auto _ : state)
        benchmark::DoNotOptimize(WdGetRegistryState(&taken));
}

void sqliteBatchWrite(benchmark::State& state) {
    DWORD number = 0;
    for (auto _ : state) {
        ++number;
        g_sqlite->exec("BEGIN IMMEDIATE");
        for (int value = 0; value < kRecordValues; ++value)
            g_sqlite->write(18, valueName(value), number);
        g_sqlite->exec("COMMIT");
    }
}

void lmdbWrite(benchmark::State& state) {
    DWORD number = 0;
    for (auto _ : state)
        g_lmdb->write("single\\", 1, ++number);
}

void lmdbBatchWrite(benchmark::State& state) {
    DWORD number = 0;
    for (auto _ : state)
        g_lmdb->write("batch\\", kRecordValues, ++number);
}

BENCHMARK(registryRead);
BENCHMARK(registryStateLookedAt);
BENCHMARK(registryStateTaken);
BENCHMARK(sqliteRead);
BENCHMARK(lmdbRead);
BENCHMARK(registryWrite)->UseRealTime();
BENCHMARK(sqliteWrite)->UseRealTime();
BENCHMARK(lmdbWrite)->UseRealTime();
BENCHMARK(registryBatchWrite)->UseRealTime();
BENCHMARK(sqliteBatchWrite)->UseRealTime();
BENCHMARK(lmdbBatchWrite)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    for (int key = 0; key < kKeys; ++key)
        for (int value = 0; value < kValues; ++value) {
            const RegistryBatch batch;
            setNumber(keyName(key), valueName(value), 1);
        }
    Sqlite sqlite(home.path());
    Lmdb lmdb(home.path());
    g_sqlite = &sqlite;
    g_lmdb = &lmdb;
    return bench::run(argc, argv);
}
