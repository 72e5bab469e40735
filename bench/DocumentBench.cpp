// wdltctl as whole processes: one value read, compared with an empty process, and the whole configuration at once: dump,
// diff and load, compared with single calls of set and with the command line of SQLite storing as much, durably.
#include "Support.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kChanges = 100;

std::string folder;
std::string database;

std::string textOf(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

using Words = std::vector<std::string>;

void run(const Words& words) {
    if (const bench::Outcome outcome = bench::runProgram(words); outcome.status != 0)
        throw std::runtime_error(words[0] + ": " + outcome.output);
}
void sqlite(const std::string& script) {
    run({"sqlite3", database, script});
}

// Parts a text at its blanks.
Words wordsOf(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

struct Setting {
    std::string record; // with the word that selects one, as on the command line
    std::string field;
    std::uint64_t numbers[2];
};

// Numbers of records, which are as they are and another that is taken too.
std::vector<Setting> settings;

void put(Json& document, const Setting& setting, std::uint64_t number) {
    Json* place = &document["records"];
    for (const std::string& word : wordsOf(setting.record))
        place = &(*place)[word];
    (*place)[setting.field] = number;
}

void gather(const std::string& record, const Json& fields) {
    for (const auto& [name, value] : fields.items())
        if (value.is_object())
            gather(record + " " + name, value);
        else if (value.is_number_unsigned())
            settings.push_back({record, name, {value, value == 0 ? 1u : value.get<std::uint64_t>() - 1}});
}

bool isTaken(const Setting& setting) {
    Json document;
    put(document, setting, setting.numbers[1]);
    std::ofstream(folder + "/one.json") << document;
    return bench::runProgram({"wdltctl", "load", "--dry-run", folder + "/one.json"}).status == 1;
}

void prepare() {
    run({"wdltctl", "init", "--install", folder + "/install"});
    run({"wdltctl", "dump", folder + "/all.json"});
    const Json dump = Json::parse(textOf(folder + "/all.json"));
    for (const auto& [name, record] : dump["records"].items())
        gather(name, record);
    std::erase_if(settings, [](const Setting& each) { return !isTaken(each); });
    if (settings.size() < kChanges)
        throw std::runtime_error("too few numbers: " + std::to_string(settings.size()));
    settings.resize(kChanges);
    Json documents[2];
    std::string values = "create table setting (name text primary key, value integer) without rowid;";
    for (const Setting& setting : settings) {
        put(documents[0], setting, setting.numbers[0]);
        put(documents[1], setting, setting.numbers[1]);
        values += "insert into setting values ('" + setting.record + "." + setting.field + "', 0);";
    }
    std::ofstream(folder + "/0.json") << documents[0];
    std::ofstream(folder + "/1.json") << documents[1];
    database = folder + "/settings.db";
    sqlite("pragma journal_mode=wal; " + values);
}

void repeat(benchmark::State& state, const Words& words) {
    for (auto _ : state)
        run(words);
}

std::string update(const Setting& setting, int round) {
    return "update setting set value = " + std::to_string(setting.numbers[round]) + " where name = '" + setting.record +
           "." + setting.field + "';";
}

void emptyProcess(benchmark::State& state) {
    repeat(state, {"bench_empty_process"});
}
void get(benchmark::State& state) {
    repeat(state, {"wdltctl", "get", "system", "proxy-port"});
}
void dump(benchmark::State& state) {
    repeat(state, {"wdltctl", "dump"});
}
void diffOfNothing(benchmark::State& state) {
    repeat(state, {"wdltctl", "diff", folder + "/all.json"});
}
void loadOfNothing(benchmark::State& state) {
    repeat(state, {"wdltctl", "load", folder + "/all.json"});
}
void loadOfHundred(benchmark::State& state) {
    int round = 0;
    for (auto _ : state)
        run({"wdltctl", "load", folder + "/" + std::to_string(round ^= 1) + ".json"});
}
void hundredSets(benchmark::State& state) {
    int round = 0;
    for (auto _ : state) {
        round ^= 1;
        for (const Setting& setting : settings)
            run(wordsOf("wdltctl set " + setting.record + " " + setting.field + "=" +
                        std::to_string(setting.numbers[round])));
    }
}
void sqliteHundred(benchmark::State& state) {
    int round = 0;
    for (auto _ : state) {
        round ^= 1;
        std::string script = "pragma synchronous=full; begin;";
        for (const Setting& setting : settings)
            script += update(setting, round);
        sqlite(script + "commit;");
    }
}
void sqliteSingly(benchmark::State& state) {
    int round = 0;
    for (auto _ : state) {
        round ^= 1;
        for (const Setting& setting : settings)
            sqlite("pragma synchronous=full;" + update(setting, round));
    }
}

BENCHMARK(emptyProcess)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(get)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(dump)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(diffOfNothing)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(loadOfNothing)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(loadOfHundred)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(hundredSets)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(sqliteHundred)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(sqliteSingly)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    folder = home.path();
    prepare();
    return bench::run(argc, argv);
}
