/* Types and error codes of the platform interface: here they are the system's own. */
#ifndef PLATFORM_BASE_H
#define PLATFORM_BASE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h> /* before windows.h, which else brings an older one */

#include <windows.h>

/* The layer's own calls are linked into each module that uses them. */
#define WD_API extern "C"
#define WD_EXPORT __declspec(dllexport)

/* A UTF-16 literal, of a text or a unit. */
#define WTEXT(literal) L##literal
using WideString = std::basic_string<WCHAR>;
using WideStringView = std::basic_string_view<WCHAR>;

#endif
