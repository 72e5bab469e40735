#include "RegTransfer.h"

#include "LayerError.h"
#include "RegistryKey.h"

#include <platform/registry_batch.h>

namespace wdlt {
namespace {

void carryOut(const RegKey& key) {
    if (key.isDeletion) {
        deleteTree(key.path);
        return;
    }
    const RegistryKey opened = RegistryKey::create(key.path);
    for (const RegValue& value : key.values) {
        if (value.isDeletion)
            opened.deleteValue(value.name);
        else
            opened.setValue(value);
    }
}

} // namespace

void importDocument(const RegDocument& document) {
    RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING); // an exception rolls it back
    for (const RegKey& key : document.keys)
        carryOut(key);
    if (const LONG error = batch.end())
        throw LayerError("the registry", error);
}

RegDocument exportSubtree(const std::u16string& path) {
    RegDocument document;
    walkKeys(path, [&](const RegistryKey& key, std::size_t) {
        document.keys.push_back({key.path(), key.values(), false});
    });
    return document;
}

} // namespace wdlt
