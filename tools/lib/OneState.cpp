#include "OneState.h"

#include "LayerError.h"

#include <platform/home.h>
#include <platform/registry_batch.h>

namespace wdlt {

std::uint64_t registryGeneration() {
    ULONGLONG number = 0;
    if (const LONG error = WdRegistryGeneration(&number))
        throw LayerError("the registry", error);
    return number;
}

std::uint64_t stateOf(HKEY) {
    return registryGeneration();
}

void asOneChange(const std::function<void()>& body) {
    RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING); // an exception rolls it back
    body();
    if (const LONG error = batch.end())
        throw LayerError("the registry", error);
}

void countWrite() {}

} // namespace wdlt
