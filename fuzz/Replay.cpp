// Stands in for the fuzzer where there is none: runs a target on each file of its corpus, as it is and with random
// changes. Arguments: the corpus folders; options of the fuzzer (with a dash) are ignored.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

constexpr int kChangedInputs = 100; // per file

void run(const std::string& input) {
    // A buffer of exact size, so that a sanitizer notices a read past the end.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

std::string changed(std::string input, std::mt19937& random) {
    for (auto changes = 1 + random() % 3; changes > 0; --changes) {
        const std::size_t at = random() % (input.size() + 1);
        switch (random() % 5) {
        case 0:
            input.resize(at);
            break;
        case 1:
            input.erase(at, 1 + random() % 8);
            break;
        case 2:
            input.insert(at, 1, static_cast<char>(random()));
            break;
        case 3: {
            const std::string piece = input.substr(at, 1 + random() % 8);
            input.insert(random() % (input.size() + 1), piece);
            break;
        }
        default:
            if (at < input.size())
                input[at] = static_cast<char>(input[at] ^ static_cast<char>(1U << random() % 8));
        }
    }
    return input;
}

} // namespace

int main(int argc, char** argv) {
    const char* const given = std::getenv("WDLT_SEED");
    const auto seed =
        given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::printf("WDLT_SEED=%u\n", seed);
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-')
            continue;
        for (const auto& entry : fs::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string content{std::istreambuf_iterator<char>(file), {}};
            std::printf("%s\n", entry.path().filename().c_str());
            if (!file.is_open())
                return 1;
            std::fflush(stdout); // the target may crash
            run(content);
            std::mt19937 random(seed);
            for (int round = 0; round < kChangedInputs; ++round)
                run(changed(content, random));
            ++files;
        }
    }
    return files > 0 ? 0 : 1;
}
