/* Prints a row: the name of a call, its arguments, and what it gave. Nothing that changes from run to run is shown. */
#ifndef CONFORMANCE_ROW_H
#define CONFORMANCE_ROW_H

#include "World.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/* A mask or a code that is read more easily so. */
struct Hex {
    unsigned long value;
};
/* Shown as it is, without quotes. */
struct Word {
    std::string_view text;
};
struct Bytes {
    const void* data;
    std::size_t size;
};

std::string shown(Hex number);
inline std::string shown(Word word) {
    return std::string(word.text);
}
std::string shown(Bytes bytes);
/* In quotes; what isn't printable ASCII as \xNN or \uNNNN, a run of one character as its number. */
std::string shown(std::string_view text);
std::string shown(std::basic_string_view<WCHAR> text);
inline std::string shown(const std::string& text) {
    return shown(std::string_view{text});
}
inline std::string shown(const char* text) {
    return text == nullptr ? "null" : shown(std::string_view{text});
}
inline std::string shown(const WCHAR* text) {
    return text == nullptr ? "null" : shown(std::basic_string_view<WCHAR>{text});
}
inline std::string shown(const void* handle) {
    return handle == nullptr ? "null" : handle == INVALID_HANDLE_VALUE ? "invalid" : "handle";
}
template <class Number>
requires std::is_integral_v<Number> std::string shown(Number number) {
    return std::to_string(number);
}

/* What a call gave, shown already. */
struct Outcome {
    std::string text;
    bool success = true;
};
inline std::string shown(const Outcome& outcome) {
    return outcome.text;
}

/* What is looked at when the row is printed, after the calls among its results. */
template <class Look>
requires std::is_invocable_v<Look> std::string shown(Look look) {
    return shown(look());
}

inline constexpr DWORD kUntouched = 7777;

/* Makes a call. Behind its result stands the last error where it failed, or with `always` where it set one. */
template <class Call>
Outcome made(Call call, bool always = false) {
    SetLastError(kUntouched);
    const auto result = call();
    const DWORD error = GetLastError();
    bool success = static_cast<bool>(result);
    if constexpr (std::is_pointer_v<decltype(result)>)
        success = success && result != INVALID_HANDLE_VALUE;
    std::string text = shown(result);
    if (!success || (always && error != kUntouched))
        text += error == kUntouched ? " no-error" : " error " + std::to_string(error);
    return {text, success};
}

/* One line: `row("area.call", arguments...)(results...)`. The part before the arrow names it, and is there once. */
class Row {
  public:
    template <class... Items>
    explicit Row(std::string_view name, const Items&... arguments) : m_text(name) {
        ((m_text += ' ', m_text += shown(arguments)), ...);
    }
    template <class... Items>
    void operator()(const Items&... results) {
        std::string line;
        ((line += ' ', line += shown(results)), ...);
        print(line);
    }

  private:
    void print(const std::string& results);

    std::string m_text;
};
template <class... Items>
Row row(std::string_view name, const Items&... arguments) {
    return Row(name, arguments...);
}

/* False when a row was there twice. */
bool allRowsAreDifferent();

/* An open handle, closed at the end. */
class Handle {
  public:
    explicit Handle(HANDLE handle) : m_handle(handle) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { CloseHandle(m_handle); }
    operator HANDLE() const { return m_handle; } // NOLINT(google-explicit-constructor)

  private:
    HANDLE m_handle;
};

/* The parts of a list, which ~ separates. */
std::vector<std::string> each(std::string_view list);

/* A file of the scratch folder, which is the current one. */
void writeFile(const char* name, std::string_view content);
std::string readFile(const char* name);
/* Empties the scratch folder. */
void freshFolder();

void registryRows();
void objectRows();
void fileRows();
void textRows();
/* What depends on the system's code page. */
void systemPageRows();
void iniRows();
void loaderRows();
void securityRows();

#endif
