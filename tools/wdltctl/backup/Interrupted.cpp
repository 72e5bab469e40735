#include "Interrupted.h"

#include "ChangeLock.h"
#include "Display.h"
#include "Files.h"
#include "Installation.h"
#include "Journal.h"
#include "LayerError.h"
#include "Replacement.h"
#include "RunTool.h"
#include "ToolError.h"

#include <fmt/format.h>
#include <platform/file_content.h>

namespace wdlt {
namespace {

std::string journalIn(const std::string& home) {
    return home + "/restore.journal";
}

} // namespace

void beginJournal(const std::string& home, std::string_view content) {
    const std::string journal = journalIn(home);
    if (WdReplaceContent(journal.c_str(), content.data(), static_cast<DWORD>(content.size())) == FALSE)
        throw LayerError(journal, static_cast<LONG>(GetLastError()));
}

void endJournal(const std::string& home) {
    try {
        removeFile(journalIn(home));
    } catch (const ToolError& error) {
        throw ToolError(ExitStatus::Partial,
                        fmt::format("{}; as long as it is there, the next verb restores what it holds", error.what()),
                        error.place());
    }
}

void finishInterrupted() {
    const std::string home = homePath();
    const std::string journal = journalIn(home);
    if (!isThere(journal))
        return;
    std::string done;
    try {
        const ChangeLock lock; // whoever is still at it has this
        if (!isThere(journal))
            return;
        if (!isRegularFile(journal))
            throw ToolError(ExitStatus::Unknown, "it is no file");
        done = finishRestore(home, readFile(journal));
        endJournal(home);
    } catch (const ToolError& error) {
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("a restore was killed half way, and can't be completed: {}. Its journal is {}",
                                    error.what(), displayFile(journal)),
                        {.path = journal});
    }
    printRemark("a restore was killed half way: " + done);
}

void dropInterrupted(const std::string& home) {
    endJournal(home);
    Journal::remove();
}

} // namespace wdlt
