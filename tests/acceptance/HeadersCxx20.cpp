// The public headers in C++20, records.h first and by itself: its layouts are checked by the file itself.
#include <wdltcfg/records.h>

#include <wdltcfg/wdltcfg.h>

#include <cstdint>
#include <type_traits>

static_assert(std::is_same_v<decltype(WdchSystemRedirect::image), char16_t[300]>);
static_assert(std::is_trivially_copyable_v<WdchSystemProtocolHandler> &&
              std::is_standard_layout_v<WdchSystemProtocolHandler>);
static_assert(std::is_same_v<decltype(WDLT_E_GENERAL), const std::int32_t>);
static_assert(std::is_same_v<decltype(WdltReadConfig),
                             std::int32_t(std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint64_t*)>);
static_assert(WDLT_PROTOCOL_SYSTEM_HTTP == 10003 && WDLT_SCAN_TEST_MANAGER == 0x80000000);
static_assert(WDLT_CHARSET_UCS_2 == 1 && WDLT_CHARSET_UTF_16LE == 0x20000000);
