/* The charset that the texts of privacy items are stored in, with conversion from and to UTF-8. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace wdlt {

class ItemCharset {
  public:
    /* `charset` is one bit of charsets.h; anything else is a ToolError. */
    explicit ItemCharset(std::uint32_t charset);

    const char* name() const;
    /* nullopt for a text that the charset can't represent or that isn't valid. A ToolError without a converter. */
    std::optional<std::string> fromUtf8(const std::string& text) const;
    std::optional<std::string> toUtf8(const std::string& text) const;

  private:
    std::uint32_t m_charset;
};

} // namespace wdlt
