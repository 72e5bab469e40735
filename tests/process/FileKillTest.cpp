// Processes that die while they copy or replace a file, at each system call and at random: the target is one whole
// content or the other, at most one partial file lies beside it, and the next copy removes that.
#include <Child.h>
#include <TestFiles.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <poll.h>
#include <random>

namespace {

namespace fs = std::filesystem;

constexpr int kKilled = Child::kSignal + SIGKILL;
constexpr std::size_t kBytes = 150'000;

const std::string kOld(kBytes + 1, 'o');
const std::string kNew(kBytes, 'n');

class FileKill : public TestFiles {
  protected:
    // Prepares, lets a process die at every system call of `deed` in turn and looks; how often one died.
    int dieEverywhere(bool wasThere, const std::function<void()>& prepare, const std::function<DWORD()>& deed,
                      const fs::path& replacement = {});
};

int FileKill::dieEverywhere(bool wasThere, const std::function<void()>& prepare, const std::function<DWORD()>& deed,
                            const fs::path& replacement) {
    constexpr const char* kCalls[] = {"open",   "openat",   "close",      "pread",   "write",
                                      "fsync",  "stat",     "fstat",      "linkat",  "fchmod",
                                      "rename", "readlink", "fcntl_lock", "fstatat", "unlinkat"};
    int deaths = 0;
    for (const char* call : kCalls)
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(testing::Message() << call << ' ' << nth);
            fs::remove(at("target"));
            put("from", kNew);
            if (wasThere)
                put("target", kOld);
            prepare();
            const int status = Child([&] {
                                   WdTestFailCall(call, nth, 0);
                                   return static_cast<int>(deed());
                               }).wait();
            EXPECT_TRUE(status == 0 || status == kKilled) << status;
            const std::string content = get("target");
            const bool isNew = content == kNew;
            EXPECT_TRUE(isNew || (status == kKilled && (wasThere ? content == kOld : !fs::exists(at("target")))))
                << content.size() << " bytes";
            EXPECT_LE(partials().size(), status == kKilled && !isNew ? 1u : 0u);
            if (!replacement.empty()) {
                EXPECT_TRUE(isNew || fs::file_size(replacement) == kNew.size()) << "neither of the two has the content";
            }
            EXPECT_EQ(copy("from", "target"), 0);
            EXPECT_TRUE(get("target") == kNew);
            EXPECT_TRUE(partials().empty());
            if (status != kKilled || HasFailure())
                break;
            ++deaths;
        }
    return deaths;
}

TEST_F(FileKill, ACopyDiesAtEachSystemCall) {
    const auto copies = [&] { return copy("from", "target"); };
    const auto nothing = [] {};
    EXPECT_GT(dieEverywhere(true, nothing, copies), 15);
    EXPECT_GT(dieEverywhere(false, nothing, copies), 12);
    // Over what another death left.
    EXPECT_GT(dieEverywhere(
                  true, [&] { put(".target.new", "half"); }, copies),
              20);
}

TEST_F(FileKill, AReplacementDiesAtEachSystemCall) {
    for (const fs::path& replacement : {at("replacement"), fileInMemory()}) {
        if (replacement.empty())
            continue;
        const auto prepare = [&] { put(replacement, kNew); };
        const auto replaces = [&] { return replace("target", replacement); };
        EXPECT_GT(dieEverywhere(true, prepare, replaces, replacement), replacement == at("replacement") ? 12 : 20);
        fs::remove(replacement);
    }
}

struct Counts {
    std::atomic<unsigned> copies;
    std::atomic<unsigned> reads;
    std::atomic<bool> done;
};

TEST_F(FileKill, WritersDieAtRandomAndReadersSeeWholeContents) {
    constexpr unsigned kWriters = 3;
    constexpr unsigned kDeaths = 60;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto content = [](unsigned writer) { return std::string(kBytes + writer, static_cast<char>('a' + writer)); };
    const auto source = [&](unsigned writer) { return "from" + std::to_string(writer); };
    for (unsigned i = 0; i < kWriters; ++i)
        put(source(i), content(i));
    put("target", content(0));
    const Shared<Counts> counts;
    const auto startWriter = [&](unsigned writer) {
        return Child([&, writer] {
            while (!counts->done) {
                if (const DWORD error = copy(source(writer), "target"))
                    return static_cast<int>(error);
                ++counts->copies;
            }
            return 0;
        });
    };
    Child reader([&] {
        std::string buffer(2 * kBytes, '\0');
        while (!counts->done) {
            const Handle file = open(at("target"), GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ);
            DWORD size = 0;
            if (ReadFile(file.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &size, nullptr) == FALSE)
                return 1;
            const auto writer = static_cast<unsigned>(buffer[0] - 'a');
            if (writer >= kWriters || std::string_view(buffer).substr(0, size) != content(writer))
                return 2;
            ++counts->reads;
        }
        return 0;
    });
    std::vector<Child> writers;
    for (unsigned i = 0; i < kWriters; ++i)
        writers.push_back(startWriter(i));
    for (unsigned i = 0; i < kDeaths; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000)); // a moment, whichever
        const auto victim = static_cast<unsigned>(random() % kWriters);
        EXPECT_EQ(writers[victim].kill(), kKilled) << "ended by itself";
        EXPECT_LE(partials().size(), 1u);
        writers[victim] = startWriter(victim);
    }
    const unsigned before = counts->copies;
    while (counts->copies < before + kWriters) // the survivors get on
        ASSERT_EQ(poll(nullptr, 0, 1), 0);
    counts->done = true;
    for (Child& writer : writers)
        EXPECT_EQ(writer.wait(), 0);
    EXPECT_EQ(reader.wait(), 0);
    std::printf("%u deaths, %u copies, %u reads\n", kDeaths, counts->copies.load(), counts->reads.load());
    EXPECT_GT(counts->reads, 0u);
    EXPECT_EQ(copy(source(1), "target"), 0);
    EXPECT_TRUE(get("target") == content(1));
    EXPECT_TRUE(partials().empty());
}

} // namespace
