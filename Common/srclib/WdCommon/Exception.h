// The exceptions of the WdCommon classes. They are thrown as pointers to heap objects; whoever catches one destroys it
// through the virtual destructor.
#pragma once

#include <platform/base.h>

#include <memory>
#include <string>

namespace WdCommon {

namespace Exception {

class Base {
  public:
    Base() = default;
    virtual ~Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
};

// What the three exceptions in use carry.
class WithCode : public Base {
  public:
    WithCode(DWORD errorCode, const char* sourcePath, DWORD line)
        : m_errorCode(errorCode), m_line(line), m_sourcePath(sourcePath) {}

    DWORD errorCode() const { return m_errorCode; }
    DWORD line() const { return m_line; }
    const std::string& sourcePath() const { return m_sourcePath; }

  private:
    DWORD m_errorCode; // a Windows code
    DWORD m_line;
    std::string m_sourcePath;
};

// Throws an exception of the class E as a pointer: the catcher owns it.
template <class E>
[[noreturn]] void raise(DWORD errorCode, const char* sourcePath, DWORD line) {
    // NOLINTNEXTLINE(misc-throw-by-value-catch-by-reference)
    throw std::make_unique<E>(errorCode, sourcePath, line).release();
}

} // namespace Exception

namespace Storage {
class Exception final : public WdCommon::Exception::WithCode {
    using WithCode::WithCode;
};
} // namespace Storage

namespace String {
class Exception final : public WdCommon::Exception::WithCode {
    using WithCode::WithCode;
};
} // namespace String

namespace AccessControl {
class Exception final : public WdCommon::Exception::WithCode {
    using WithCode::WithCode;
};
} // namespace AccessControl

} // namespace WdCommon
