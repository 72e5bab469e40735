#include "RegistryChange.h"

#include "ProcessState.h"
#include "RegistryEnvironment.h"
#include "RegistryName.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace wd {

namespace {

// A number that no other key of this registry has, so that a handle to a deleted key isn't taken for one to a later key
// of the same name. Zero is the root's.
std::uint64_t newIdentity() {
    static constinit std::atomic<std::uint64_t> count{0};
    std::uint64_t number = processState()->seed + 0x9E3779B97F4A7C15u * count.fetch_add(1, std::memory_order_relaxed);
    number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9u;
    number = (number ^ (number >> 27)) * 0x94D049BB133111EBu;
    number ^= number >> 31;
    return number == 0 ? 1 : number;
}

std::vector<std::uint64_t> newIdentities(std::string_view path) {
    std::vector<std::uint64_t> identities(1 + static_cast<std::size_t>(std::count(path.begin(), path.end(), '\\')));
    std::generate(identities.begin(), identities.end(), newIdentity);
    return identities;
}

std::string join(std::string_view parent, std::string_view name) {
    std::string path(parent);
    if (!path.empty())
        path += '\\';
    return path.append(name);
}

LONG store(Transaction& transaction, std::string_view path, const RecordEditor& editor) {
    const auto record = editor.build();
    if (!record)
        return ERROR_NOT_ENOUGH_MEMORY;
    transaction.put(path, *record);
    return ERROR_SUCCESS;
}

} // namespace

LONG findKey(Transaction& transaction, std::string_view path, RecordView& record) {
    std::string_view bytes;
    if (!transaction.find(path, bytes))
        return ERROR_FILE_NOT_FOUND;
    const auto view = RecordView::open(bytes);
    if (!view)
        return ERROR_REGISTRY_CORRUPT;
    record = *view;
    return ERROR_SUCCESS;
}

LONG findOpenKey(Transaction& transaction, std::string_view path, std::uint64_t identity, RecordView& record) {
    const LONG error = findKey(transaction, path, record);
    if (error == ERROR_FILE_NOT_FOUND)
        return ERROR_KEY_DELETED;
    if (error == ERROR_SUCCESS && record.identity() != identity)
        return ERROR_KEY_DELETED;
    return error;
}

SetValueChange::SetValueChange(KeyReference key, const RecordValue& value)
    : m_key(std::move(key)), m_folded(value.folded), m_written(value.written), m_data(value.data), m_type(value.type),
      m_form(value.form) {}

LONG SetValueChange::apply(Transaction& transaction) {
    RecordView record;
    if (const LONG error = findOpenKey(transaction, m_key.path, m_key.identity, record))
        return error;
    // Most values of a record that is rewritten are unchanged: then there is nothing to write, and nothing to sync.
    RecordValue stored;
    if (record.findValue(m_folded, stored) == Lookup::Found && stored.type == m_type && stored.form == m_form &&
        stored.data == m_data)
        return ERROR_SUCCESS;
    auto editor = RecordEditor::open(record.bytes());
    if (!editor)
        return ERROR_REGISTRY_CORRUPT;
    editor->setValue({m_folded, m_written, m_type, m_form, m_data});
    return store(transaction, m_key.path, *editor);
}

LONG DeleteValueChange::apply(Transaction& transaction) {
    RecordView record;
    if (const LONG error = findOpenKey(transaction, m_key.path, m_key.identity, record))
        return error;
    auto editor = RecordEditor::open(record.bytes());
    if (!editor)
        return ERROR_REGISTRY_CORRUPT;
    if (!editor->removeValue(m_folded))
        return ERROR_FILE_NOT_FOUND;
    return store(transaction, m_key.path, *editor);
}

CreateKeyChange::CreateKeyChange(KeyReference base, std::string_view path, std::string_view written)
    : m_base(std::move(base)), m_path(path), m_written(written), m_newIdentities(newIdentities(written)) {}

LONG CreateKeyChange::apply(Transaction& transaction) {
    RecordView record;
    if (const LONG error = findOpenKey(transaction, m_base.path, m_base.identity, record))
        return error;
    std::string_view rest = std::string_view(m_path).substr(m_base.path.empty() ? 0 : m_base.path.size() + 1);
    std::string_view written = m_written;
    std::string parent = m_base.path;
    while (!rest.empty()) {
        std::string_view behind = rest;
        const std::string child = join(parent, takeComponent(behind));
        const LONG error = findKey(transaction, child, record);
        if (error == ERROR_FILE_NOT_FOUND)
            return create(transaction, parent, rest, written);
        if (error != ERROR_SUCCESS)
            return error;
        takeComponent(written);
        rest = behind;
        parent = child;
    }
    m_created = false;
    m_identity = record.identity();
    return ERROR_SUCCESS;
}

// `parent` exists, nothing of `rest` does. The records are made from the parent down, each naming the next.
LONG CreateKeyChange::create(Transaction& transaction, std::string_view parent, std::string_view rest,
                             std::string_view written) {
    RecordView record;
    if (const LONG error = findKey(transaction, parent, record))
        return error;
    auto editor = RecordEditor::open(record.bytes());
    if (!editor)
        return ERROR_REGISTRY_CORRUPT;
    std::vector<std::pair<std::string, std::string>> records; // path and content
    std::string path(parent);
    const auto keep = [&] {
        auto content = editor->build();
        if (content)
            records.emplace_back(path, std::move(*content));
        return content.has_value();
    };
    for (std::size_t level = 0; !rest.empty(); ++level) {
        const RecordSubkey child{takeComponent(rest), takeComponent(written)};
        editor->addSubkey(child);
        if (!keep())
            return ERROR_NOT_ENOUGH_MEMORY;
        path = join(path, child.folded);
        m_identity = m_newIdentities.at(level);
        editor.emplace(child.written, m_identity);
    }
    if (!keep())
        return ERROR_NOT_ENOUGH_MEMORY;
    for (const auto& [where, content] : records)
        transaction.put(where, content);
    m_created = true;
    return ERROR_SUCCESS;
}

LONG DeleteKeyChange::apply(Transaction& transaction) {
    RecordView record;
    if (const LONG error = findOpenKey(transaction, m_base.path, m_base.identity, record))
        return error;
    if (const LONG error = findKey(transaction, m_path, record))
        return error;
    if (record.subkeyCount() != 0)
        return ERROR_ACCESS_DENIED;
    const std::string_view parent = parentPath(m_path);
    if (const LONG error = findKey(transaction, parent, record))
        return error == ERROR_FILE_NOT_FOUND ? static_cast<LONG>(ERROR_REGISTRY_CORRUPT) : error;
    auto editor = RecordEditor::open(record.bytes());
    if (!editor)
        return ERROR_REGISTRY_CORRUPT;
    editor->removeSubkey(lastComponent(m_path));
    if (const LONG error = store(transaction, parent, *editor))
        return error;
    transaction.erase(m_path);
    return ERROR_SUCCESS;
}

} // namespace wd
