/* The charsets in which privacy items are searched for: the bits of PrivacyControlData's dwCharSetEntry and
   dwDefaultCharSet and of PrivacySearchRecord's dwCharSet. One list generates the constants and their names. C11 and
   C++11 or later. */
#ifndef WDLTCFG_CHARSETS_H
#define WDLTCFG_CHARSETS_H

#include <stdint.h>

/* Constant, bit number, name. */
/* clang-format off */
#define WDLT_CHARSET_LIST(CHARSET)                                                                                     \
    CHARSET(WDLT_CHARSET_UCS_2, 0, "ucs-2") /* 16-bit units, little-endian; all others are byte strings */             \
    CHARSET(WDLT_CHARSET_US_ASCII, 1, "us-ascii") /* a text that it can't represent is no failure */                   \
    CHARSET(WDLT_CHARSET_ISO_686, 2, "iso-686")                                                                        \
    CHARSET(WDLT_CHARSET_UTF_8, 3, "utf-8")                                                                            \
    CHARSET(WDLT_CHARSET_ISO_8859_1, 4, "iso-8859-1")                                                                  \
    CHARSET(WDLT_CHARSET_ISO_8859_2, 5, "iso-8859-2")                                                                  \
    CHARSET(WDLT_CHARSET_ISO_8859_3, 6, "iso-8859-3")                                                                  \
    CHARSET(WDLT_CHARSET_ISO_8859_4, 7, "iso-8859-4")                                                                  \
    CHARSET(WDLT_CHARSET_ISO_8859_5, 8, "iso-8859-5")                                                                  \
    CHARSET(WDLT_CHARSET_ISO_8859_6, 9, "iso-8859-6")                                                                  \
    CHARSET(WDLT_CHARSET_ISO_8859_7, 10, "iso-8859-7")                                                                 \
    CHARSET(WDLT_CHARSET_ISO_8859_8, 11, "iso-8859-8")                                                                 \
    CHARSET(WDLT_CHARSET_ISO_8859_9, 12, "iso-8859-9")                                                                 \
    CHARSET(WDLT_CHARSET_ISO_8859_10, 13, "iso-8859-10")                                                               \
    CHARSET(WDLT_CHARSET_ISO_8859_13, 14, "iso-8859-13")                                                               \
    CHARSET(WDLT_CHARSET_ISO_8859_14, 15, "iso-8859-14")                                                               \
    CHARSET(WDLT_CHARSET_ISO_8859_15, 16, "iso-8859-15")                                                               \
    CHARSET(WDLT_CHARSET_ISO_2022_JP, 17, "iso-2022-jp")                                                               \
    CHARSET(WDLT_CHARSET_ISO_2022_KR, 18, "iso-2022-kr")                                                               \
    CHARSET(WDLT_CHARSET_ISO_2022_CN, 19, "iso-2022-cn")                                                               \
    CHARSET(WDLT_CHARSET_ISO_2022_CN_EXT, 20, "iso-2022-cn-ext")                                                       \
    CHARSET(WDLT_CHARSET_EUC_JP, 21, "euc-jp")                                                                         \
    CHARSET(WDLT_CHARSET_EUC_KR, 22, "euc-kr")                                                                         \
    CHARSET(WDLT_CHARSET_EUC_TW, 23, "euc-tw")                                                                         \
    CHARSET(WDLT_CHARSET_SHIFT_JIS, 24, "Shift_JIS")                                                                   \
    CHARSET(WDLT_CHARSET_BIG5, 25, "big5")                                                                             \
    CHARSET(WDLT_CHARSET_GB2312, 26, "gb2312")                                                                         \
    CHARSET(WDLT_CHARSET_HZ_GB_2312, 27, "hz-gb-2312")                                                                 \
    CHARSET(WDLT_CHARSET_UTF_16BE, 28, "UTF-16BE")                                                                     \
    CHARSET(WDLT_CHARSET_UTF_16LE, 29, "UTF-16LE")
/* clang-format on */

#ifdef __cplusplus
#define WDLT_CHARSET_CONSTANT(constant, bit, name) constexpr uint32_t constant = UINT32_C(1) << (bit);
WDLT_CHARSET_LIST(WDLT_CHARSET_CONSTANT)
#else
#define WDLT_CHARSET_CONSTANT(constant, bit, name) constant = 1 << (bit),
enum { WDLT_CHARSET_LIST(WDLT_CHARSET_CONSTANT) };
#endif
#undef WDLT_CHARSET_CONSTANT

/* "utf-8" for WDLT_CHARSET_UTF_8; "" for anything but one of the bits. */
static inline const char* wdltCharsetName(uint32_t charset) {
    switch (charset) {
#define WDLT_CHARSET_CASE(constant, bit, name)                                                                         \
    case UINT32_C(1) << (bit):                                                                                         \
        return name;
        WDLT_CHARSET_LIST(WDLT_CHARSET_CASE)
#undef WDLT_CHARSET_CASE
    default:
        return "";
    }
}

#endif
