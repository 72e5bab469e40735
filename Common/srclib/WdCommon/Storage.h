// A named set of numbers and texts in an INI file or a registry key; the debug log keeps its settings in one. A storage
// object belongs to one call and needs no lock. An operation that fails throws a Storage::Exception by pointer, the Try
// forms don't; an operation that a class doesn't support returns false.
#pragma once

#include "WdCommon/Exception.h"

#include <platform/registry.h>

#include <span>
#include <string>
#include <vector>

namespace WdCommon::Storage {

inline constexpr DWORD kRegistry = 0;
inline constexpr DWORD kIniFile = 1;
inline constexpr DWORD kRegistryToo = 4;

// The address of a storage. Owns nothing.
struct Key {
    Key(DWORD kind, const char* folder, const char* file) : dwKind(kind), pszPath(file) { pszRoot.folder = folder; }
    Key(DWORD kind, HKEY root, const char* path) : dwKind(kind), pszPath(path) { pszRoot.key = root; }
    Key(const Key&) = default;
    Key& operator=(const Key&) = default;
    virtual ~Key() = default;

    DWORD dwKind;
    union {
        const char* folder; // of an INI file
        HKEY key;           // the open root of registry storage
    } pszRoot{};
    const char* pszPath; // name of the INI file, or path of the key
};

class Base {
  public:
    Base() = default;
    virtual ~Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;

    // In vtable order.
    virtual bool OpenRead(const Key& key, const char* section) = 0;
    virtual bool OpenCreate(const Key& key, const char* section) = 0;
    virtual bool OpenWrite(const Key& key, const char* section);
    virtual bool OpenEnum(const Key& key, const char* section);
    virtual bool Close(int flush) = 0;
    virtual bool Flush() = 0;
    virtual bool TryGetBinary(const char* name, std::vector<BYTE>& data, DWORD& error);
    virtual bool GetBinary(const char* name, std::vector<BYTE>& data);
    // `error` is ERROR_SUCCESS after a success. After a failure `out` is the default.
    virtual bool TryGetString(std::string& out, const char* name, const char* defaultText, DWORD& error);
    virtual bool GetString(std::string& out, const char* name, const char* defaultText) = 0;
    virtual DWORD TryGetNumber(const char* name, DWORD defaultNumber, DWORD& error);
    virtual DWORD GetNumber(const char* name, DWORD defaultNumber) = 0;
    virtual bool SetBinary(const char* name, std::span<const BYTE> data);
    virtual bool SetString(const char* name, const char* value) = 0;
    virtual bool SetNumber(const char* name, DWORD value) = 0;
    // All names at once.
    virtual bool EnumSections(std::vector<std::string>& names);
    virtual bool EnumValues(std::vector<std::string>& names);
};

// A missing file or name is no failure here: it gives the default. The Try forms are those of Base.
class IniFile final : public Base {
  public:
    bool OpenRead(const Key& key, const char* section) override;
    bool OpenCreate(const Key& key, const char* section) override;
    bool Close(int flush) override;
    bool Flush() override;
    bool GetString(std::string& out, const char* name, const char* defaultText) override;
    DWORD GetNumber(const char* name, DWORD defaultNumber) override;
    bool SetString(const char* name, const char* value) override;
    bool SetNumber(const char* name, DWORD value) override;

  private:
    void requireOpen() const;
    void requireName(const char* name) const;
    bool write(const char* name, const char* value) const;

    std::string m_path;
    std::string m_section;
};

// An absent value is a failure here.
class Registry final : public Base {
  public:
    ~Registry() override;

    bool OpenRead(const Key& key, const char* section) override;
    bool OpenCreate(const Key& key, const char* section) override;
    bool OpenWrite(const Key& key, const char* section) override;
    bool OpenEnum(const Key& key, const char* section) override;
    bool Close(int flush) override;
    bool Flush() override;
    bool TryGetBinary(const char* name, std::vector<BYTE>& data, DWORD& error) override;
    bool GetBinary(const char* name, std::vector<BYTE>& data) override;
    bool TryGetString(std::string& out, const char* name, const char* defaultText, DWORD& error) override;
    bool GetString(std::string& out, const char* name, const char* defaultText) override;
    DWORD TryGetNumber(const char* name, DWORD defaultNumber, DWORD& error) override;
    DWORD GetNumber(const char* name, DWORD defaultNumber) override;
    bool SetBinary(const char* name, std::span<const BYTE> data) override;
    bool SetString(const char* name, const char* value) override;
    bool SetNumber(const char* name, DWORD value) override;
    bool EnumSections(std::vector<std::string>& names) override;
    bool EnumValues(std::vector<std::string>& names) override;

  private:
    void open(const Key& key, const char* section, REGSAM access);
    void setAddress(const Key& key, const char* section);
    HKEY requireKey() const;
    DWORD query(const char* name, std::vector<BYTE>& data) const;
    void set(const char* name, DWORD type, const void* data, std::size_t size) const;

    HKEY m_key = nullptr;
    HKEY m_root = nullptr;
    std::string m_path;
};

// The folder with a separator at its end, as a file name needs it; an empty folder stays empty.
std::string withSeparator(const char* folder);

} // namespace WdCommon::Storage
