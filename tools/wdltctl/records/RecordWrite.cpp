#include "RecordWrite.h"

#include "Directory.h"
#include "FreshValues.h"
#include "Installation.h"
#include "Owner.h"
#include "ToolError.h"
#include "Utf.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace wdlt {

std::string completeText(const Field& field, const std::string& text) {
    if (field.isDirectory && (!text.empty() || !field.freshText.empty()))
        return utf8FromUtf16(parseDirectory(text));
    return text;
}

namespace {

std::string folderOf(const std::string& path) {
    return folderIfSet(narrowPath(utf16FromArgument(path)));
}

} // namespace

void refuseOthersInstall(const std::string& path) {
    refuseOthers(homePath(), folderOf(path));
}

void checkInstall(const std::string& path) {
    refuseOthersInstall(path);
    std::error_code failure;
    if (!std::filesystem::is_directory(folderOf(path), failure))
        throw ToolError(ExitStatus::Usage, path + ": no such directory");
}

std::int32_t writeRecord(const Record& record, const std::string& which, std::vector<BYTE> bytes,
                         std::span<const Field> meant) {
    // A folder that is stored as an empty text reads as another one: unless it is meant, it stays empty.
    for (const Field& field : record.fields)
        if (field.isDirectory && std::ranges::find(meant, field.member, &Field::member) == meant.end() &&
            registryText(keyOf(record, which).path, field) == "")
            setField(field, bytes, "");
    return record.write(which, bytes);
}

} // namespace wdlt
