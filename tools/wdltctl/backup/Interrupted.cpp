#include "Interrupted.h"

#include "ChangeLock.h"
#include "Display.h"
#include "Files.h"
#include "Installation.h"
#include "LayerError.h"
#include "Replacement.h"
#include "RunTool.h"
#include "ToolError.h"

#include <filesystem>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <system_error>
#include <unistd.h>

namespace wdlt {
namespace {

/* `finish` is given the home and the journal's content, and returns what was done. */
constexpr struct {
    std::string_view verb;
    std::string (*finish)(const std::string& home, const std::string& journal);
} kInterruptible[] = {
    {"restore", finishRestore},
};

bool isLeft(const std::string& journal) {
    return ::access(journal.c_str(), F_OK) == 0;
}

void finish(const std::string& home, std::string_view verb,
            std::string (*finishIt)(const std::string&, const std::string&)) {
    const std::string journal = journalOf(home, verb);
    std::string done;
    try {
        const ChangeLock lock; // whoever is still at it has this
        if (!isLeft(journal))
            return;
        done = finishIt(home, readFile(journal));
        endJournal(home, verb);
    } catch (const ToolError& error) {
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("a {} was killed half way, and can't be completed: {}. Its journal is {}", verb,
                                    error.what(), displayNarrow(journal)),
                        {.path = journal});
    }
    printRemark(fmt::format("a {} was killed half way: {}", verb, done));
}

} // namespace

std::string journalOf(const std::string& home, std::string_view verb) {
    return fmt::format("{}/{}.journal", home, verb);
}

void beginJournal(const std::string& home, std::string_view verb, std::string_view content) {
    const std::string journal = journalOf(home, verb);
    if (WdReplaceContent(journal.c_str(), content.data(), static_cast<DWORD>(content.size())) == FALSE)
        throw LayerError(journal, static_cast<LONG>(GetLastError()));
}

void endJournal(const std::string& home, std::string_view verb) {
    const std::string journal = journalOf(home, verb);
    if (std::error_code error; !std::filesystem::remove(journal, error) && error)
        throw ToolError(
            ExitStatus::Partial,
            fmt::format("{}: {}; as long as it is there, the next verb does what it holds", journal, error.message()),
            {.path = journal});
}

void finishInterrupted() {
    const std::string home = homePath();
    for (const auto& each : kInterruptible)
        if (isLeft(journalOf(home, each.verb)))
            finish(home, each.verb, each.finish);
}

void dropInterrupted(const std::string& home) {
    for (const auto& each : kInterruptible)
        if (isLeft(journalOf(home, each.verb)))
            endJournal(home, each.verb);
}

} // namespace wdlt
