/* Status codes of the library: 0 is success, a negative value one of these. One list generates the constants, their
   names and their meanings. C11 and C++11 or later. */
#ifndef WDLTCFG_STATUS_H
#define WDLTCFG_STATUS_H

#include <stdint.h>

/* Constant, value, meaning; the comment says what a caller can do about it. */
/* clang-format off */
#define WDLT_STATUS_LIST(STATUS)                                                                                       \
    STATUS(WDLT_OK, 0, "success")                                                                                      \
    /* No such address, or a record of the wrong size for a write: the caller's mistake; or the registry lacks */      \
    /* something that the address needs. The log says which. */                                                        \
    STATUS(WDLT_E_GENERAL, -1, "general failure")                                                                      \
    /* Call again with a buffer of the size, or room for the count, that the call has stored. */                       \
    STATUS(WDLT_E_BUFFER_SIZE, -2, "buffer size is wrong for the record")                                              \
    /* Correct the argument or the field; nothing was stored. */                                                       \
    STATUS(WDLT_E_INVALID_ARGUMENT, -3, "invalid argument")                                                            \
    /* Report it: the library was built without a key. */                                                              \
    STATUS(WDLT_E_CIPHER_KEY, -4, "no cipher key")                                                                     \
    /* Install the library named in the log, in this library's folder. */                                              \
    STATUS(WDLT_E_LIBRARY, -5, "a needed library can't be loaded or a cipher is not set up")                           \
    /* Treat the list as empty, or write it first. */                                                                  \
    STATUS(WDLT_E_FILE_NOT_FOUND, -6, "file not found")                                                                \
    /* Free memory and try again. */                                                                                   \
    STATUS(WDLT_E_NO_MEMORY, -7, "out of memory, or damaged padding in a protected value")                             \
    /* Check the permissions and integrity of the file that the log names, and the disk space. */                      \
    STATUS(WDLT_E_FILE, -8, "file can't be read or written, or is damaged")                                            \
    /* Check the permissions of the registry, and whether the key exists. */                                           \
    STATUS(WDLT_E_REGISTRY, -9, "registry failure")                                                                    \
    /* Report it: the charset library was used before it was started. */                                               \
    STATUS(WDLT_E_CHARSET_HANDLE, -10, "charset library is not started")                                               \
    /* Check the permissions and space of the temporary directory (TempPath) and the install directory. */             \
    STATUS(WDLT_E_TEMP_FILE, -13, "temporary file can't be made or put in place")                                      \
    /* Check the text against the charsets it is to be kept in. */                                                     \
    STATUS(WDLT_E_CHARSET, -14, "charset conversion failed")                                                           \
    /* Treat the setting as unset, or write it first. */                                                               \
    STATUS(WDLT_E_NOT_FOUND, -16, "key or value doesn't exist")                                                        \
    /* The change is stored; the service will see it after its next start. Call again to notify it now. */             \
    STATUS(WDLT_E_NO_ANSWER, -26, "stored, but the service did not answer in time")                                    \
    /* Only in an item's result, never returned: change that item's text. */                                           \
    STATUS(WDLT_E_ITEM_CONVERSION, -34, "item can't be converted")                                                     \
    /* Ask for the supported version (pass version 0) and use that. */                                                 \
    STATUS(WDLT_E_VERSION, -38, "record version is not supported")                                                     \
    /* Reinstall the charset library with its data. */                                                                 \
    STATUS(WDLT_E_CHARSET_START, -9999, "charset library failed to start")
/* clang-format on */

#ifdef __cplusplus
#define WDLT_STATUS_CONSTANT(name, value, meaning) constexpr int32_t name = value;
WDLT_STATUS_LIST(WDLT_STATUS_CONSTANT)
#else
#define WDLT_STATUS_CONSTANT(name, value, meaning) name = (value),
enum { WDLT_STATUS_LIST(WDLT_STATUS_CONSTANT) };
#endif
#undef WDLT_STATUS_CONSTANT

/* "WDLT_E_NOT_FOUND" for -16; "unknown status" for any other number. */
static inline const char* wdltStatusName(int32_t status) {
    switch (status) {
#define WDLT_STATUS_CASE(name, value, meaning)                                                                         \
    case value:                                                                                                        \
        return #name;
        WDLT_STATUS_LIST(WDLT_STATUS_CASE)
#undef WDLT_STATUS_CASE
    default:
        return "unknown status";
    }
}

/* "key or value doesn't exist" for -16; "unknown status" for any other number. */
static inline const char* wdltStatusText(int32_t status) {
    switch (status) {
#define WDLT_STATUS_CASE(name, value, meaning)                                                                         \
    case value:                                                                                                        \
        return meaning;
        WDLT_STATUS_LIST(WDLT_STATUS_CASE)
#undef WDLT_STATUS_CASE
    default:
        return "unknown status";
    }
}

#endif
