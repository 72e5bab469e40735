// The registry's four changes, each as an object that owns all it needs, so that a batch can make it again when the
// engine has thrown the transaction away. apply() does all checks and all allocations before it stores anything: a
// change that returns an error or throws has changed nothing.
#pragma once

#include "RegistryRecord.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wd {

class Transaction;

// A key as an open handle knows it: if the record's identity is another one, the key was deleted since.
struct KeyReference {
    std::string path;
    std::uint64_t identity = 0;
};

// The record of an open key: 0, ERROR_KEY_DELETED, or ERROR_REGISTRY_CORRUPT for bytes that aren't a record. After an
// engine failure (Transaction::failure) the result means nothing.
LONG findOpenKey(Transaction& transaction, std::string_view path, std::uint64_t identity, RecordView& record);
// The record of any key: 0, ERROR_FILE_NOT_FOUND, ERROR_REGISTRY_CORRUPT.
LONG findKey(Transaction& transaction, std::string_view path, RecordView& record);

class RegistryChange {
  public:
    RegistryChange() = default;
    RegistryChange(const RegistryChange&) = delete;
    RegistryChange& operator=(const RegistryChange&) = delete;
    virtual ~RegistryChange() = default;

    virtual LONG apply(Transaction& transaction) = 0;
};

class SetValueChange final : public RegistryChange {
  public:
    SetValueChange(KeyReference key, const RecordValue& value);
    LONG apply(Transaction& transaction) override;

  private:
    const KeyReference m_key;
    const std::string m_folded;
    const std::string m_written;
    const std::string m_data;
    const DWORD m_type;
    const Form m_form;
};

class DeleteValueChange final : public RegistryChange {
  public:
    DeleteValueChange(KeyReference key, std::string_view folded) : m_key(std::move(key)), m_folded(folded) {}
    LONG apply(Transaction& transaction) override;

  private:
    const KeyReference m_key;
    const std::string m_folded;
};

// Makes the key at `path`, which is `base` and the folded form of `written`, with every missing key in between.
class CreateKeyChange final : public RegistryChange {
  public:
    CreateKeyChange(KeyReference base, std::string_view path, std::string_view written);
    LONG apply(Transaction& transaction) override;

    // Valid after apply.
    bool created() const { return m_created; }
    std::uint64_t identity() const { return m_identity; }

  private:
    LONG create(Transaction& transaction, std::string_view parent, std::string_view rest, std::string_view written);

    const KeyReference m_base;
    const std::string m_path;
    const std::string m_written;
    const std::vector<std::uint64_t> m_newIdentities; // one per component: the same when the change is made again
    bool m_created = false;
    std::uint64_t m_identity = 0;
};

class DeleteKeyChange final : public RegistryChange {
  public:
    DeleteKeyChange(KeyReference base, std::string_view path) : m_base(std::move(base)), m_path(path) {}
    LONG apply(Transaction& transaction) override;

  private:
    const KeyReference m_base;
    const std::string m_path;
};

} // namespace wd
